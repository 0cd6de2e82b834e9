# The program in README.md is the one that is built and run: the block of code there that includes hbtools.h equals the
# marked part of Examples/FirstProgram/firstprogram.cpp. And what README.md links to exists.
cmake_policy(VERSION 3.25)
include(${CMAKE_CURRENT_LIST_DIR}/report.cmake)

file(READ ${ROOT}/README.md readme)
file(READ ${ROOT}/Examples/FirstProgram/firstprogram.cpp program)
if(NOT program MATCHES "// \\[README\n(.*)// README\\]\n")
  fault("Examples/FirstProgram/firstprogram.cpp has no marked part")
elseif(NOT readme MATCHES "```cpp\n(#include <hbtools/hbtools\\.h>\n[^`]*)```\n")
  fault("README.md has no program")
else()
  set(shown "${CMAKE_MATCH_1}")
  string(REGEX MATCH "// \\[README\n(.*)// README\\]\n" match "${program}")
  if(NOT shown STREQUAL CMAKE_MATCH_1)
    fault("README.md shows another program than Examples/FirstProgram/firstprogram.cpp")
  endif()
endif()

# Brackets would join the elements of a list, so the links are told by another mark.
string(REPLACE "](" "@(" readme "${readme}")
string(REGEX MATCHALL "@\\([^)#:]+[#)]" links "${readme}")
foreach(link IN LISTS links)
  string(REGEX REPLACE "^@\\((.*)[#)]$" "\\1" link "${link}")
  if(NOT EXISTS ${ROOT}/${link})
    fault("README.md links to ${link}, which is not there")
  endif()
endforeach()
finish()
