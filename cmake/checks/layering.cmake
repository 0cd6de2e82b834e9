# Reads every #include of the library, the tools and the examples and compares it with cmake/layers.cmake:
# - a room includes itself and the rooms in its line, nothing else;
# - public headers include standard headers and public headers only;
# - headers of the operating system stay in C/base/posix/, headers of other libraries are those of the table;
# - tools and examples include public headers, and headers beside them;
# - the umbrella header is for users: the library never includes it;
# - the library's own locks are those of base/posix/syMutex.h, which no killed thread leaves locked.
cmake_policy(VERSION 3.25)
include(${CMAKE_CURRENT_LIST_DIR}/../layers.cmake)
include(${CMAKE_CURRENT_LIST_DIR}/report.cmake)

# What stands in <> and is part of the language.
set(standard
  algorithm any array atomic barrier bit bitset cassert ccomplex cctype cerrno cfenv cfloat charconv chrono cinttypes
  climits clocale cmath codecvt compare complex concepts condition_variable coroutine csetjmp cstdarg cstddef
  cstdint cstdio cstdlib cstring ctgmath ctime cuchar cwchar cwctype deque exception execution filesystem format
  forward_list fstream functional future initializer_list iomanip ios iosfwd iostream istream iterator latch limits
  list locale map memory memory_resource mutex new numbers numeric optional ostream queue random ranges ratio regex
  scoped_allocator semaphore set shared_mutex source_location span sstream stack stdexcept stop_token streambuf string
  string_view syncstream system_error thread tuple type_traits typeindex typeinfo unordered_map unordered_set utility
  valarray variant vector version)

# Says in `kind` what `target`, named by an include in the file `from`, is: a room, or one of
# "umbrella", "nowhere", "standard", "library", "near" (a file beside) and "system".
function(classify kind from target quoted)
  set(${kind} system PARENT_SCOPE)
  if(target STREQUAL "hbtools/hbtools.h")
    set(${kind} umbrella PARENT_SCOPE)
  elseif(target MATCHES "^hbtools/([a-z]+)/")
    set(${kind} ${CMAKE_MATCH_1} PARENT_SCOPE)
  elseif(target MATCHES "^hbtools/")
    set(${kind} nowhere PARENT_SCOPE)
  elseif(target IN_LIST standard)
    set(${kind} standard PARENT_SCOPE)
  elseif(target MATCHES "${HBTOOLS_LIBRARY_HEADERS}")
    set(${kind} library PARENT_SCOPE)
  elseif(quoted)
    get_filename_component(folder ${from} DIRECTORY)
    get_filename_component(path ${target} ABSOLUTE BASE_DIR ${ROOT}/${folder})
    file(RELATIVE_PATH path ${ROOT} ${path})
    if(target MATCHES "^([a-z]+)/" AND CMAKE_MATCH_1 IN_LIST HBTOOLS_ROOMS)
      set(${kind} ${CMAKE_MATCH_1} PARENT_SCOPE)
    elseif(path MATCHES "^(C|Inc/hbtools)/([a-z]+)/")
      set(${kind} ${CMAKE_MATCH_2} PARENT_SCOPE)
    elseif(path MATCHES "^(Tools|Examples)/")
      set(${kind} near PARENT_SCOPE)
    endif()
  endif()
endfunction()

file(GLOB_RECURSE files RELATIVE ${ROOT}
  ${ROOT}/Inc/*.h ${ROOT}/C/*.h ${ROOT}/C/*.cpp ${ROOT}/C/*.inl
  ${ROOT}/Tools/*.h ${ROOT}/Tools/*.cpp ${ROOT}/Examples/*.h ${ROOT}/Examples/*.cpp)
foreach(file IN LISTS files)
  if(file STREQUAL "Inc/hbtools/hbtools.h")
    continue()
  endif()
  set(room)
  if(file MATCHES "^(Inc/hbtools|C)/([a-z]+)/")
    set(room ${CMAKE_MATCH_2})
    if(NOT room IN_LIST HBTOOLS_ROOMS)
      fault("${file}: ${room} is no room of cmake/layers.cmake")
      continue()
    endif()
  elseif(file MATCHES "^(Inc|C)/")
    fault("${file}: stands in no room")
    continue()
  endif()
  file(STRINGS ${ROOT}/${file} includes REGEX "^[ \t]*#[ \t]*include" ENCODING UTF-8)
  foreach(line IN LISTS includes)
    if(NOT line MATCHES "include[ \t]*([<\"])([^>\"]+)[>\"]")
      fault("${file}: an include that cannot be read")
      continue()
    endif()
    set(target ${CMAKE_MATCH_2})
    string(COMPARE EQUAL "${CMAKE_MATCH_1}" "\"" quoted)
    classify(kind ${file} ${target} ${quoted})

    if(kind STREQUAL "umbrella" AND room)
      fault("${file}: includes the umbrella header")
    elseif(target STREQUAL "csignal" AND file MATCHES "^Examples/")
      # How an application is asked to end is its own affair.
    elseif(kind STREQUAL "system" AND NOT file MATCHES "^C/base/posix/")
      fault("${file}: includes ${target}, which only C/base/posix may")
    elseif(target MATCHES "^(shared_)?mutex$" AND file MATCHES "^C/" AND NOT file MATCHES "^C/base/posix/")
      fault("${file}: includes ${target} instead of base/posix/syMutex.h")
    elseif(kind STREQUAL "library" AND file MATCHES "^Inc/")
      fault("${file}: a public header includes ${target} of another library")
    elseif(file MATCHES "^Inc/" AND NOT kind STREQUAL "standard" AND NOT target MATCHES "^hbtools/")
      fault("${file}: a public header includes ${target}, which is not public")
    elseif(kind IN_LIST HBTOOLS_ROOMS)
      if(NOT room AND NOT target MATCHES "^hbtools/")
        fault("${file}: includes ${target}, which is not public")
      elseif(room AND NOT kind STREQUAL room AND NOT kind IN_LIST HBTOOLS_MAY_INCLUDE_${room})
        fault("${file}: ${room} may not include ${kind} (${target})")
      endif()
    elseif(kind STREQUAL "nowhere")
      fault("${file}: includes ${target}, which stands in no room")
    endif()
  endforeach()
endforeach()
finish()
