# The packages for Debian, one for each component: `cmake --workflow --preset packages`. Elsewhere, and without that preset,
# `cpack -G DEB` in any build folder makes them with the folders of that build.
set(HBTOOLS_MAINTAINER "hbTools developers <maintainers@hbtools.invalid>" CACHE STRING "Who answers for the packages")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME hbtools)
set(CPACK_PACKAGE_VENDOR "hbTools developers")
set(CPACK_PACKAGE_CONTACT "${HBTOOLS_MAINTAINER}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_COMPONENTS_ALL lib dev tools)
# Whatever the umask of who makes them.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
# Changelog, copyright, compressed manuals: what a package has and an installed tree has not.
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian/Finish.cmake)
set(CPACK_HBTOOLS_SOURCE_DIR ${PROJECT_SOURCE_DIR})

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(same_version "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")

set(CPACK_DEBIAN_LIB_PACKAGE_NAME libhbtools${HBTOOLS_SOVERSION})
set(CPACK_DEBIAN_LIB_PACKAGE_SECTION libs)
# What a program that uses the library will depend on. CPack's own would wonder about the language packs.
file(WRITE ${PROJECT_BINARY_DIR}/debian/shlibs
  "libhbtools ${HBTOOLS_SOVERSION} libhbtools${HBTOOLS_SOVERSION} (>= ${PROJECT_VERSION})\n")
set(CPACK_DEBIAN_LIB_PACKAGE_CONTROL_EXTRA
  ${PROJECT_BINARY_DIR}/debian/shlibs ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
set(CPACK_DEBIAN_LIB_DESCRIPTION "foundation classes for measured 3D data - library
Files that are saved whole or not at all, tag files, properties,
configuration, a log of failures, commands and macros, threads with
progress, vectors and histograms, languages, undo, XML and zip, for desktop
applications that process scans and point clouds.

This package holds the library and its texts in other languages.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libhbtools-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
# The exported hbres is a tool, so the package of the headers needs that of the tools.
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libhbtools${HBTOOLS_SOVERSION} ${same_version}, hbtools-tools ${same_version}")
set(CPACK_DEBIAN_DEV_PACKAGE_SUGGESTS "cmake, gdb, pkg-config")
set(CPACK_DEBIAN_DEV_DESCRIPTION "foundation classes for measured 3D data - development files
The headers of hbTools, what CMake and pkg-config need to find it, and what
debuggers need to show its classes.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME hbtools-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
# What is found by looking into the programs comes on top; it knows only packages that are installed.
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libhbtools${HBTOOLS_SOVERSION} ${same_version}")
set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS python3)  # for hbtag.py
set(CPACK_DEBIAN_TOOLS_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/prerm)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "foundation classes for measured 3D data - programs
hbtag shows, verifies, repairs and exports tag files; hblog shows logs and
profiles; hbres compiles texts; scanlab reads, filters, aligns and measures
scans by commands and macros. hbtag.py reads tag files in Python.")
include(CPack)
