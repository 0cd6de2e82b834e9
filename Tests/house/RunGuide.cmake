# Runs PROGRAM (with ARGUMENT) in the new folder FOLDER and compares what it prints with the file EXPECTED.
cmake_policy(VERSION 3.25)
file(REMOVE_RECURSE ${FOLDER})
file(MAKE_DIRECTORY ${FOLDER})
execute_process(COMMAND ${PROGRAM} ${ARGUMENT} WORKING_DIRECTORY ${FOLDER}
  RESULT_VARIABLE result OUTPUT_VARIABLE printed ERROR_VARIABLE errors)
file(READ ${EXPECTED} expected)
if(NOT result EQUAL 0 OR NOT printed STREQUAL expected)
  message(FATAL_ERROR "${PROGRAM} ended with ${result} and printed\n${printed}${errors}\ninstead of\n${expected}")
endif()
