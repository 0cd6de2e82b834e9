# Has GDB print objects of PROGRAM by SCRIPT with the printers PRINTERS, and compares with EXPECTED.
cmake_policy(VERSION 3.25)
execute_process(COMMAND ${CMAKE_COMMAND} -E env LC_ALL=C.UTF-8
  ${GDB} -batch -nx -ex "source ${PRINTERS}" -x ${SCRIPT} ${PROGRAM}
  OUTPUT_VARIABLE printed ERROR_VARIABLE errors INPUT_FILE /dev/null)
file(READ ${EXPECTED} expected)
string(FIND "${printed}" "$1 = " begin)
if(begin LESS 0)
  message(FATAL_ERROR "nothing was printed: ${printed}${errors}")
endif()
string(SUBSTRING "${printed}" ${begin} -1 printed)
string(REPLACE "[Inferior 1" "\n[Inferior 1" printed "${printed}")
if(NOT printed STREQUAL expected)
  message(FATAL_ERROR "printed\n${printed}${errors}\ninstead of\n${expected}")
endif()
