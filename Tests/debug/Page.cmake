# Has GDB do in the first program what the session in PAGE shows, with the printers PRINTERS, and compares what it says.
cmake_policy(VERSION 3.25)
file(READ ${PAGE} session)
string(FIND "${session}" "\n    (gdb) " begin)
string(SUBSTRING "${session}" ${begin} -1 session)
string(FIND "${session}" "\n\n" end)
string(SUBSTRING "${session}" 0 ${end} session)
string(REPLACE "\n    " "\n" session "${session}")
string(REPLACE "\n(gdb) " "\n+" expected "${session}\n")  # as it repeats the lines of a file
string(REGEX REPLACE "\n[^+][^\n]*" "" commands "${expected}")
string(REPLACE "\n+" "\n" commands "${commands}")
file(WRITE ${SCRIPT} "set pagination off\nbreak Store\nrun\nset trace-commands on${commands}")
execute_process(COMMAND ${CMAKE_COMMAND} -E env LC_ALL=C.UTF-8
  ${GDB} -batch -nx -ex "source ${PRINTERS}" -x ${SCRIPT} ${PROGRAM}
  OUTPUT_VARIABLE printed ERROR_VARIABLE errors INPUT_FILE /dev/null)
string(FIND "${printed}" "${expected}" at)
if(begin LESS 0 OR at LESS 0)
  message(FATAL_ERROR "printed\n${printed}${errors}\ninstead of${expected}")
endif()
