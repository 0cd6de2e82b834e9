# What `cmake --install` and `cpack -G DEB` make: the library (component lib), the tools (tools) and what it takes to
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
    install(TARGETS ${tool} ${export} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
    install(FILES ${PROJECT_SOURCE_DIR}/Doc/man/${tool}.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
    install(FILES ${PROJECT_SOURCE_DIR}/Tools/completion/hbtools.bash RENAME ${tool}
      DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tools)
  endif()
endforeach()
if(TARGET scanlab)
  install(FILES ${PROJECT_SOURCE_DIR}/Examples/ScanLab/demo.mac DESTINATION ${CMAKE_INSTALL_DATADIR}/hbtools COMPONENT tools)
endif()
# A module that programs in Python take with them, and a program.
install(PROGRAMS ${PROJECT_SOURCE_DIR}/Tools/python/hbtag.py DESTINATION ${CMAKE_INSTALL_DATADIR}/hbtools COMPONENT tools)
# The debugger reads the first by itself where the package of the library stands; the folder names its place.
if(TARGET hbtools)
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
install(FILES ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_SOURCE_DIR}/README.md
  DESTINATION ${CMAKE_INSTALL_DOCDIR}-dev COMPONENT dev)

set(CPACK_PACKAGE_NAME hbtools)
set(CPACK_PACKAGE_VENDOR "hbTools developers")
set(CPACK_PACKAGE_CONTACT "hbTools developers")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_COMPONENTS_ALL lib dev tools)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_LIB_PACKAGE_NAME libhbtools${HBTOOLS_SOVERSION})
set(CPACK_DEBIAN_LIB_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DEV_PACKAGE_NAME libhbtools-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
# The exported hbres is a tool, so the package of the headers needs that of the tools.
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS
  "libhbtools${HBTOOLS_SOVERSION} (= ${PROJECT_VERSION}), hbtools-tools (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME hbtools-tools)
# What is found by looking into the programs comes on top; it knows only packages that are installed.
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libhbtools${HBTOOLS_SOVERSION} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_COMPONENT_LIB_DESCRIPTION "${PROJECT_DESCRIPTION} (library)")
set(CPACK_COMPONENT_DEV_DESCRIPTION "${PROJECT_DESCRIPTION} (headers)")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "${PROJECT_DESCRIPTION} (tools)")
include(CPack)
