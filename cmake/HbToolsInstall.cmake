# What `cmake --install` and the packages hold: the library (component lib), the tools (tools) and what it takes to
# build against it (dev). Only hbtools::hbtools and hbtools::hbres are exported; the rooms are no targets of a user.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/hbtools)

if(TARGET hbtools)
  install(TARGETS hbtools EXPORT hbtools
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT lib NAMELINK_COMPONENT dev)
endif()
foreach(tool hbres hblog hbtag scanlab)
  if(TARGET ${tool})
    set(export)
    if(tool STREQUAL "hbres")
      set(export EXPORT hbtools)
    endif()
    if(tool STREQUAL "scanlab")
      # What it looks for beside itself (language packs, drivers, its macro) has no place in the folder of all programs.
      install(TARGETS ${tool} RUNTIME DESTINATION ${CMAKE_INSTALL_LIBDIR}/hbtools COMPONENT tools)
      install(FILES ${PROJECT_SOURCE_DIR}/Examples/ScanLab/demo.mac DESTINATION ${CMAKE_INSTALL_LIBDIR}/hbtools COMPONENT tools)
      install(CODE "
        set(link \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/scanlab\")
        message(STATUS \"Installing: \${link}\")
        file(MAKE_DIRECTORY \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}\")
        file(CREATE_LINK ../${CMAKE_INSTALL_LIBDIR}/hbtools/scanlab \"\$ENV{DESTDIR}\${link}\" SYMBOLIC)
        list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"\${link}\")" COMPONENT tools)
    else()
      install(TARGETS ${tool} ${export} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
    endif()
    install(FILES ${PROJECT_SOURCE_DIR}/Doc/man/${tool}.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
    install(FILES ${PROJECT_SOURCE_DIR}/Tools/completion/hbtools.bash RENAME ${tool}
      DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tools)
  endif()
endforeach()
# Debian's zsh looks for what packages bring in a folder of its own.
set(zsh_dir zsh/site-functions)
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr" AND EXISTS /etc/debian_version)
  set(zsh_dir zsh/vendor-completions)
endif()
install(FILES ${PROJECT_SOURCE_DIR}/Tools/completion/hbtools.zsh RENAME _hbtools
  DESTINATION ${CMAKE_INSTALL_DATADIR}/${zsh_dir} COMPONENT tools)
# A module that programs in Python take with them, and a program.
install(PROGRAMS ${PROJECT_SOURCE_DIR}/Tools/python/hbtag.py DESTINATION ${CMAKE_INSTALL_DATADIR}/hbtools COMPONENT tools)
# The debugger reads the first by itself where the package of the library stands; the folder names its place, so another
# prefix has none.
if(TARGET hbtools AND CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  install(FILES ${PROJECT_SOURCE_DIR}/Tools/debug/hbtools_gdb.py RENAME $<TARGET_FILE_NAME:hbtools>-gdb.py COMPONENT dev
    DESTINATION ${CMAKE_INSTALL_DATADIR}/gdb/auto-load/usr/${CMAKE_INSTALL_LIBDIR})
endif()
install(FILES ${PROJECT_SOURCE_DIR}/Tools/debug/hbtools_gdb.py ${PROJECT_SOURCE_DIR}/Tools/debug/hbtools.natvis
  DESTINATION ${CMAKE_INSTALL_DATADIR}/hbtools COMPONENT dev)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/Inc/hbtools DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev
  FILES_MATCHING PATTERN *.h)
if(EXISTS ${PROJECT_SOURCE_DIR}/Resources)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/Resources DESTINATION ${CMAKE_INSTALL_DATADIR}/hbtools COMPONENT dev)
endif()

install(EXPORT hbtools NAMESPACE hbtools:: FILE hbtoolsTargets.cmake DESTINATION ${package_dir} COMPONENT dev)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/hbtoolsConfig.cmake.in
  ${PROJECT_BINARY_DIR}/hbtoolsConfig.cmake INSTALL_DESTINATION ${package_dir}
  NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/hbtoolsConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/hbtoolsConfig.cmake ${PROJECT_BINARY_DIR}/hbtoolsConfigVersion.cmake
  ${PROJECT_SOURCE_DIR}/cmake/HbToolsResources.cmake
  DESTINATION ${package_dir} COMPONENT dev)

# The prefix in hbtools.pc is found from where the file stands, so that an installed tree may be moved.
file(RELATIVE_PATH pc_to_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(${PROJECT_SOURCE_DIR}/cmake/hbtools.pc.in ${PROJECT_BINARY_DIR}/hbtools.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/hbtools.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)

foreach(component lib dev tools)
  install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR}-${component} COMPONENT ${component})
endforeach()
# The pages, and all that they link to, in the folders in which they stand here.
set(doc_dir ${CMAKE_INSTALL_DOCDIR}-dev)
foreach(page CHANGELOG CONTRIBUTING README SECURITY)
  install(FILES ${PROJECT_SOURCE_DIR}/${page}.md DESTINATION ${doc_dir} COMPONENT dev)
endforeach()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/Doc DESTINATION ${doc_dir} COMPONENT dev
  FILES_MATCHING PATTERN *.md PATTERN *.png PATTERN man EXCLUDE)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/Examples/FirstProgram ${PROJECT_SOURCE_DIR}/Examples/Guides
  DESTINATION ${doc_dir}/Examples COMPONENT dev PATTERN CMakeLists.txt EXCLUDE)
# A project of its own, to begin a driver with.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/Examples/SampleDriver DESTINATION ${doc_dir}/Examples COMPONENT dev)
install(FILES ${PROJECT_SOURCE_DIR}/Examples/ScanLab/Devices/Scanner.h DESTINATION ${doc_dir}/Examples/SampleDriver
  COMPONENT dev)
install(FILES ${PROJECT_SOURCE_DIR}/Examples/ScanLab/demo.mac DESTINATION ${doc_dir}/Examples/ScanLab COMPONENT dev)

include(HbToolsPackages)
