# Run by CPack on the trees that become packages, before they are packed: what Debian asks of a package.
cmake_policy(VERSION 3.25)

function(compress)
  foreach(file IN LISTS ARGN)
    execute_process(COMMAND gzip -9 --no-name ${file} COMMAND_ERROR_IS_FATAL ANY)
  endforeach()
endfunction()

file(READ ${CPACK_HBTOOLS_SOURCE_DIR}/LICENSE licence)
string(TIMESTAMP now "%a, %d %b %Y %H:%M:%S +0000" UTC)  # or SOURCE_DATE_EPOCH

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  set(root ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/${component}${CPACK_PACKAGING_INSTALL_PREFIX})
  set(doc ${root}/share/doc/${package})
  file(RENAME ${root}/share/doc/hbtools-${component} ${doc})
  file(REMOVE ${doc}/LICENSE ${doc}/CHANGELOG.md)  # under the names below
  file(WRITE ${doc}/copyright "All of ${package} is under this licence.\n\n${licence}")
  file(COPY_FILE ${CPACK_HBTOOLS_SOURCE_DIR}/CHANGELOG.md ${doc}/changelog)
  if(EXISTS ${doc}/README.md)
    file(READ ${doc}/README.md readme)
    string(REPLACE "](LICENSE)" "](copyright)" readme "${readme}")
    string(REPLACE "](CHANGELOG.md)" "](changelog.gz)" readme "${readme}")
    file(WRITE ${doc}/README.md "${readme}")
  endif()
  file(WRITE ${doc}/changelog.Debian
"hbtools (${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}) unstable; urgency=medium

  * Packages of version ${CPACK_PACKAGE_VERSION}; its changes are in changelog.gz.

 -- ${CPACK_PACKAGE_CONTACT}  ${now}
")
  file(GLOB manuals ${root}/share/man/man1/*.1)
  compress(${doc}/changelog ${doc}/changelog.Debian ${manuals})

  file(GLOB_RECURSE packs RELATIVE ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/${component} ${root}/lib/*)
  list(FILTER packs INCLUDE REGEX /LanguagePacks/)
  if(packs)
    set(overrides)
    foreach(pack IN LISTS packs)
      string(APPEND overrides
        "# Data only.\n${package}: shared-library-lacks-prerequisites [${pack}]\n")
    endforeach()
    file(WRITE ${root}/share/lintian/overrides/${package} "${overrides}")
  endif()

  # Files above were made with the umask of who makes the packages.
  file(GLOB_RECURSE files ${doc}/* ${root}/share/lintian/*)
  file(CHMOD ${files} FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  file(GLOB_RECURSE entries LIST_DIRECTORIES true ${root}/*)
  foreach(entry IN LISTS entries)
    if(IS_DIRECTORY ${entry} AND NOT IS_SYMLINK ${entry})
      file(CHMOD ${entry} DIRECTORY_PERMISSIONS ${CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS})
    endif()
  endforeach()
endforeach()
