# String resources, for this library and for everyone who uses it.

# The compiler of string resources: within this project, or from the package.
function(hbtools_find_resource_compiler out)
  set(${out} hbtools::hbres PARENT_SCOPE)
  if(TARGET hbres)
    set(${out} hbres PARENT_SCOPE)
  endif()
endfunction()

# Compiles a text file of string resources into a source that defines one table.
#   hbtools_compile_resources(<out-var> <text file> <symbol>)
function(hbtools_compile_resources out text symbol)
  hbtools_find_resource_compiler(compiler)
  get_filename_component(text ${text} ABSOLUTE)
  set(source ${CMAKE_CURRENT_BINARY_DIR}/${symbol}.cpp)
  add_custom_command(OUTPUT ${source}
    COMMAND ${compiler} ${text} ${symbol} ${source}
    DEPENDS ${compiler} ${text} COMMENT "String resources ${symbol}" VERBATIM)
  set(${out} ${source} PARENT_SCOPE)
endfunction()

# Tells the version of a program, library or module within its file, where KxFileVersionInfo and localisers read it.
#   hbtools_add_version_block(<target> [VERSION <a.b.c.d>] [TEXTS <key=value>...])
# VERSION       up to four numbers; the project's unless given
# TEXTS         such as CompanyName, FileDescription, LegalCopyright, ProductName, or Language=0x0407 for what they are in
function(hbtools_add_version_block target)
  cmake_parse_arguments(PARSE_ARGV 1 block "" "VERSION" "TEXTS")
  if(NOT block_VERSION)
    set(block_VERSION ${PROJECT_VERSION})
  endif()
  if(NOT block_VERSION)
    message(FATAL_ERROR "hbtools_add_version_block(${target}): neither VERSION nor a version of the project")
  endif()
  hbtools_find_resource_compiler(compiler)
  set(source ${CMAKE_CURRENT_BINARY_DIR}/${target}_version.cpp)
  add_custom_command(OUTPUT ${source}
    COMMAND ${compiler} --version ${source} FileVersion=${block_VERSION} ${block_TEXTS}
    DEPENDS ${compiler} COMMENT "Version block of ${target}" VERBATIM)
  target_sources(${target} PRIVATE ${source})
endfunction()

# Makes the texts of a module in another language: a satellite, built as the target <target>_<code>.
#   hbtools_add_language_pack(<target> LANGUAGE <code> TEXTS <text file> [BASE <text file>] [MODULE <name>]
#     [VERSION <a.b.c>] [DESTINATION <folder>] [COMPONENT <name>] [STRICT])
# <target>      the program or library that holds the texts; if there is no such target MODULE is needed
# LANGUAGE      the three letters that KxLanguage::GetLangCode gives, such as ENU
# BASE          the text file that was compiled into the module. The build fails on texts that are surplus or take other
#               arguments, and tells which are missing; with STRICT those are errors too
# MODULE        the module's file name without extension, where it is not that of the target. A target with a SOVERSION is
#               found by that too, so that versions can be installed side by side: libOptics.so.3 has libOptics.3.ENU
# VERSION       what a localiser compares with the module's; the project's unless given
# DESTINATION   the folder in which the module is installed: the pack goes to where the default conventions find it
# The pack is built beside the module, as LanguagePacks/<code>/<module>.<code>.
function(hbtools_add_language_pack target)
  cmake_parse_arguments(PARSE_ARGV 1 pack "STRICT" "LANGUAGE;TEXTS;BASE;MODULE;VERSION;DESTINATION;COMPONENT" "")
  if(NOT pack_LANGUAGE MATCHES "^[A-Za-z0-9][A-Za-z0-9][A-Za-z0-9]$" OR NOT pack_TEXTS OR pack_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "hbtools_add_language_pack(${target}): LANGUAGE of three letters and TEXTS are needed")
  endif()
  string(TOUPPER ${pack_LANGUAGE} pack_LANGUAGE)  # as localisers look for it
  set(folder ${CMAKE_CURRENT_BINARY_DIR})
  if(TARGET ${target})
    set(folder $<TARGET_FILE_DIR:${target}>)
    if(NOT pack_MODULE)
      set(version $<TARGET_PROPERTY:${target},SOVERSION>)
      set(pack_MODULE
        $<TARGET_FILE_PREFIX:${target}>$<TARGET_FILE_BASE_NAME:${target}>$<$<BOOL:${version}>:.${version}>)
    endif()
  elseif(NOT pack_MODULE)
    message(FATAL_ERROR "hbtools_add_language_pack(${target}): no such target, and no MODULE")
  endif()
  if(NOT pack_VERSION)
    set(pack_VERSION ${PROJECT_VERSION})
  endif()

  hbtools_find_resource_compiler(compiler)
  get_filename_component(text ${pack_TEXTS} ABSOLUTE)
  set(check)
  set(base)
  if(pack_BASE)
    get_filename_component(base ${pack_BASE} ABSOLUTE)
    set(check COMMAND ${compiler} --check)
    if(pack_STRICT)
      list(APPEND check --strict)
    endif()
    list(APPEND check ${base} ${text})
  endif()
  set(name ${target}_${pack_LANGUAGE})
  set(source ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp)
  add_custom_command(OUTPUT ${source} ${check}
    COMMAND ${compiler} --pack ${pack_LANGUAGE} ${text} ${source}
    DEPENDS ${compiler} ${text} ${base} COMMENT "Language pack ${name}" VERBATIM)
  add_library(${name} MODULE ${source})
  if(pack_VERSION)  # a module without one has none to compare it with
    hbtools_add_version_block(${name} VERSION ${pack_VERSION})
  endif()
  # Nothing but data: no start-up code, no library that it would need.
  target_link_options(${name} PRIVATE -nostdlib)
  set_target_properties(${name} PROPERTIES
    PREFIX "" OUTPUT_NAME ${pack_MODULE} SUFFIX .${pack_LANGUAGE} INSTALL_RPATH ""
    LIBRARY_OUTPUT_DIRECTORY ${folder}/LanguagePacks/${pack_LANGUAGE})
  if(TARGET ${target})
    get_target_property(imported ${target} IMPORTED)
    if(NOT imported)
      add_dependencies(${target} ${name})
    endif()
  endif()
  if(pack_DESTINATION)
    set(component)
    if(pack_COMPONENT)
      set(component COMPONENT ${pack_COMPONENT})
    endif()
    install(TARGETS ${name} LIBRARY DESTINATION ${pack_DESTINATION}/LanguagePacks/${pack_LANGUAGE} ${component})
  endif()
endfunction()

# Makes a language pack out of the module's own texts: accents, 40 % longer, in brackets. One run with it shows what is not
# translated and where longer texts do not fit. The code is QPS unless given; texts marked "# fix" stay.
#   hbtools_add_pseudo_language_pack(<target> BASE <text file> [LANGUAGE <code>] [...])
function(hbtools_add_pseudo_language_pack target)
  cmake_parse_arguments(PARSE_ARGV 1 pack "" "LANGUAGE;BASE" "")
  if(NOT pack_LANGUAGE)
    set(pack_LANGUAGE QPS)
  endif()
  hbtools_find_resource_compiler(compiler)
  get_filename_component(base ${pack_BASE} ABSOLUTE)
  set(text ${CMAKE_CURRENT_BINARY_DIR}/${target}.${pack_LANGUAGE})
  add_custom_command(OUTPUT ${text} COMMAND ${compiler} --pseudo ${base} ${text}
    DEPENDS ${compiler} ${base} COMMENT "Pseudo-language of ${target}" VERBATIM)
  hbtools_add_language_pack(${target} LANGUAGE ${pack_LANGUAGE} TEXTS ${text} BASE ${base} ${pack_UNPARSED_ARGUMENTS})
endfunction()
