# String resources, for this library and for everyone who uses it.

# Compiles a text file of string resources into a source that defines one table.
#   hbtools_compile_resources(<out-var> <text file> <symbol>)
function(hbtools_compile_resources out text symbol)
  set(compiler hbtools::hbres)
  if(TARGET hbres)
    set(compiler hbres)
  endif()
  get_filename_component(text ${text} ABSOLUTE)
  set(source ${CMAKE_CURRENT_BINARY_DIR}/${symbol}.cpp)
  add_custom_command(OUTPUT ${source}
    COMMAND ${compiler} ${text} ${symbol} ${source}
    DEPENDS ${compiler} ${text} COMMENT "String resources ${symbol}" VERBATIM)
  set(${out} ${source} PARENT_SCOPE)
endfunction()
