# Inc/hbtools/hbtools.h includes every public header, room by room and in the order of the alphabet.
#   cmake -DROOT=<tree> -P umbrella.cmake               fails if the file is not as it has to be
#   cmake -DROOT=<tree> -DWRITE=ON -P umbrella.cmake    writes it
cmake_policy(VERSION 3.25)
include(${CMAKE_CURRENT_LIST_DIR}/../layers.cmake)
include(${CMAKE_CURRENT_LIST_DIR}/report.cmake)

set(text "// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// All public headers of hbTools at once, for programs that prefer one line to a list. The library itself never
// includes this file. It is written by the target \"umbrella\"; do not edit it.
#pragma once
")
set(file ${ROOT}/Inc/hbtools/hbtools.h)
set(expected)
foreach(room IN LISTS HBTOOLS_ROOMS)
  file(GLOB headers RELATIVE ${ROOT}/Inc ${ROOT}/Inc/hbtools/${room}/*.h)
  if(headers)
    string(APPEND text "\n")
  endif()
  foreach(header IN LISTS headers)
    string(APPEND text "#include \"${header}\"\n")
    list(APPEND expected ${header})
  endforeach()
endforeach()

if(WRITE)
  file(CONFIGURE OUTPUT ${file} CONTENT "${text}" @ONLY)
  return()
endif()

set(present "")
if(EXISTS ${file})
  file(READ ${file} present)
endif()
string(REGEX MATCHALL "#include \"[^\"]*\"" included "${present}")
list(TRANSFORM included REPLACE "#include \"([^\"]*)\"" "\\1")
foreach(header IN LISTS expected)
  if(NOT header IN_LIST included)
    fault("hbtools.h lacks ${header}")
  endif()
endforeach()
foreach(header IN LISTS included)
  if(NOT header IN_LIST expected)
    fault("hbtools.h includes ${header}, which is no public header")
  endif()
endforeach()
if(faults EQUAL 0 AND NOT present STREQUAL text)
  fault("hbtools.h is out of order")
endif()
if(faults GREATER 0)
  message(NOTICE "To write it anew: cmake --build build/release --target umbrella")
endif()
finish()
