# The target "doc": the reference in <build>/doc/html. It is built when asked for, and fails on any warning, or where Doxygen
# is not installed, which may be done after the build folder was made.
find_program(HBTOOLS_DOXYGEN doxygen)
set(doxygen ${HBTOOLS_DOXYGEN})
if(NOT doxygen)
  set(doxygen doxygen)
endif()
file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/Doxyfile @ONLY CONTENT
"@INCLUDE = @PROJECT_SOURCE_DIR@/Doc/Doxyfile
PROJECT_NUMBER = @PROJECT_VERSION@
OUTPUT_DIRECTORY = @PROJECT_BINARY_DIR@/doc
")
# The programs that the pages lead to stand among them.
set(examples ${PROJECT_BINARY_DIR}/doc/html/examples)
set(copies)
foreach(folder FirstProgram Guides SampleDriver)
  list(APPEND copies COMMAND ${CMAKE_COMMAND} -E copy_directory ${PROJECT_SOURCE_DIR}/Examples/${folder} ${examples}/${folder})
endforeach()
add_custom_target(doc
  COMMAND ${CMAKE_COMMAND} -E make_directory ${PROJECT_BINARY_DIR}/doc
  COMMAND ${doxygen} ${PROJECT_BINARY_DIR}/Doxyfile
  ${copies}
  COMMAND ${CMAKE_COMMAND} -E copy ${PROJECT_SOURCE_DIR}/Examples/ScanLab/demo.mac ${examples}/ScanLab/demo.mac
  COMMAND ${CMAKE_COMMAND} -DSITE=${PROJECT_BINARY_DIR}/doc/html -P ${PROJECT_SOURCE_DIR}/cmake/checks/links.cmake
  WORKING_DIRECTORY ${PROJECT_SOURCE_DIR} COMMENT "Reference in ${PROJECT_BINARY_DIR}/doc/html" VERBATIM)
