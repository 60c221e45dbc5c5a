# Run by cpack before it builds the packages: the symbols file must list exactly the symbols the
# staged shared library exports. dpkg-gensymbols fails (level 4) on a symbol missing from the
# file, on one gone from the library that an earlier release brought, and on a new library;
# what it writes, the file in the form a binary package carries, goes into the package.
if(NOT CPACK_GENERATOR STREQUAL "DEB")
  return()
endif()
file(GLOB_RECURSE libs "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*/libgeneralutils.so.*.*.*")
list(LENGTH libs n)
if(NOT n EQUAL 1)
  message(FATAL_ERROR "symbols check: no single staged shared library (${libs})")
endif()
# The library's package directory is the staged root above usr/; dpkg-gensymbols wants a
# debian/control naming the package.
string(REGEX REPLACE "/usr/.*$" "" root "${libs}")
set(work "${CPACK_TOPLEVEL_DIRECTORY}/symbols-check")
file(WRITE "${work}/debian/control"
  "Source: generalutils\n\nPackage: ${CPACK_GENERALUTILS_RUNTIME_PACKAGE}\nArchitecture: any\n")
execute_process(COMMAND dpkg-gensymbols -p${CPACK_GENERALUTILS_RUNTIME_PACKAGE}
    -v${CPACK_PACKAGE_VERSION} -P${root} -I${CPACK_GENERALUTILS_SYMBOLS} -O${CPACK_GENERALUTILS_CONTROL_SYMBOLS} -c4
  WORKING_DIRECTORY "${work}" RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "The library's symbols differ from ${CPACK_GENERALUTILS_SYMBOLS} (the "
    "diff above): list every added function there with the version that adds it.")
endif()
