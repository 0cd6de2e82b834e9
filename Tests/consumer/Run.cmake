# Installs the build BUILD to a fresh prefix outside of every tree, moves it, and builds and runs the program beside
# this file against it: once by find_package, once by pkg-config. So it does with what the pages tell a reader to type.
cmake_policy(VERSION 3.25)
set(temp /tmp)
if(DEFINED ENV{TMPDIR})
  set(temp $ENV{TMPDIR})
endif()
string(RANDOM LENGTH 12 name)
set(work ${temp}/hbtools-consumer-${name})
file(MAKE_DIRECTORY ${work})

function(stop reason)
  file(REMOVE_RECURSE ${work})
  message(FATAL_ERROR "${reason}")
endfunction()

function(run what)
  execute_process(COMMAND ${ARGN} WORKING_DIRECTORY ${work} RESULT_VARIABLE result
    OUTPUT_VARIABLE output ERROR_VARIABLE output)
  message(STATUS "${what}: ${result}")
  if(NOT result EQUAL 0)
    stop("${what} failed:\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

run("install" ${CMAKE_COMMAND} --install ${BUILD} --config ${CONFIG} --prefix ${work}/first)
file(RENAME ${work}/first ${work}/prefix)

foreach(header IN ITEMS include/hbtools/hbtools.h bin/hbres)
  if(NOT EXISTS ${work}/prefix/${header})
    stop("not installed: ${header}")
  endif()
endforeach()

file(COPY ${CMAKE_CURRENT_LIST_DIR}/ DESTINATION ${work}/source)
run("configure" ${CMAKE_COMMAND} -S ${work}/source -B ${work}/build -G ${GENERATOR}
  -DCMAKE_CXX_COMPILER=${COMPILER} -DCMAKE_PREFIX_PATH=${work}/prefix)
run("build" ${CMAKE_COMMAND} --build ${work}/build --verbose)
if(NOT output MATCHES "-fnon-call-exceptions")
  stop("hbtools::hbtools does not carry -fnon-call-exceptions")
endif()
run("run" ${work}/build/consumer)
run("install the program" ${CMAKE_COMMAND} --install ${work}/build --prefix ${work}/program)
if(NOT EXISTS ${work}/program/bin/LanguagePacks/ENU/consumer.ENU
   OR NOT EXISTS ${work}/build/LanguagePacks/QPS/consumer.QPS)
  stop("the language packs of the program are missing")
endif()

include(${CMAKE_CURRENT_LIST_DIR}/Pages.cmake)

# Building all of the library again would take minutes; what would be built is seen without.
run("configure as a part" ${CMAKE_COMMAND} -S ${work}/source -B ${work}/part -G ${GENERATOR}
  -DCMAKE_CXX_COMPILER=${COMPILER} -DHBTOOLS_SOURCE=${CMAKE_CURRENT_LIST_DIR}/../.. -DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON)

# What the installed pages link to was installed too.
file(GLOB_RECURSE pages ${work}/prefix/share/doc/hbtools-dev/*.md)
set(num_links 0)
foreach(page IN LISTS pages)
  cmake_path(GET page PARENT_PATH folder)
  file(READ ${page} text)
  # Brackets would join the elements of a list, so the links are told by another mark; code has captures.
  string(REGEX REPLACE "(^|\n)(```[^`]*```|    [^\n]*)" "" text "${text}")
  string(REPLACE "](" "@(" text "${text}")
  string(REGEX MATCHALL "@\\([^ )#:]+[#)]" links "${text}")
  foreach(link IN LISTS links)
    string(REGEX REPLACE "^@\\((.*)[#)]$" "\\1" link "${link}")
    math(EXPR num_links "${num_links} + 1")
    if(NOT EXISTS ${folder}/${link})
      stop("${page} links to ${link}, which is not installed")
    endif()
  endforeach()
endforeach()
message(STATUS "links of the installed pages: ${num_links}")
if(num_links LESS 20)
  stop("the pages are not installed")
endif()

file(GLOB_RECURSE pc ${work}/prefix/hbtools.pc)
get_filename_component(pc_dir ${pc} DIRECTORY)
set(ENV{PKG_CONFIG_PATH} ${pc_dir})
run("pkg-config" pkg-config --cflags --libs hbtools)
separate_arguments(flags UNIX_COMMAND "${output}")
if(NOT "-fnon-call-exceptions" IN_LIST flags)
  stop("hbtools.pc does not carry -fnon-call-exceptions: ${output}")
endif()
get_filename_component(lib_dir ${pc_dir} DIRECTORY)
run("build with pkg-config" ${COMPILER} ${work}/source/main.cpp -o ${work}/plain ${flags} -Wl,-rpath,${lib_dir})
run("run with pkg-config" ${work}/plain)
file(REMOVE_RECURSE ${work})
