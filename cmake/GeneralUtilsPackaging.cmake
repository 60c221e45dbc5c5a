# Debian packages and a tarball, with CPack; the top-level CMakeLists.txt includes this file
# when GENERALUTILS_PACKAGE is on. In the build directory, `cpack -G DEB` gives
#   libgeneralutils1     component runtime:     the shared library
#   libgeneralutils-dev  component development: header tree, static library, the .so link,
#                                               CMake package, pkg-config file
#   generalutils         component tool:        the tool (with its man page and completion)
# and `cpack -G TGZ` one tarball of all three, laid out as under /usr.

# cpack's DEB generator runs dpkg-shlibdeps and file; the package checks also use dpkg-deb.
foreach(program dpkg-shlibdeps file dpkg-deb)
  string(MAKE_C_IDENTIFIER "GENERALUTILS_${program}" var)
  string(TOUPPER ${var} var)
  find_program(${var} ${program})
  if(NOT ${var})
    message(FATAL_ERROR "Building the Debian packages needs ${program} (Debian packages dpkg-dev "
      "and file; .ci/install-deps --ci installs them). Configure without "
      "-DGENERALUTILS_PACKAGE=ON to build without the packages.")
  endif()
endforeach()

set(generalutils_runtime_pkg libgeneralutils${PROJECT_VERSION_MAJOR})
set(generalutils_maintainer "GeneralUtils developers <generalutils@example.org>")

# The latest release in CHANGELOG.md is the one being packaged, and its date dates the Debian
# changelog, so the two must agree with project(VERSION).
file(STRINGS ${PROJECT_SOURCE_DIR}/CHANGELOG.md generalutils_release REGEX "^## \\[[0-9]")
list(GET generalutils_release 0 generalutils_release)
if(NOT generalutils_release MATCHES "^## \\[([^]]+)\\] - ([0-9]+)-([0-9]+)-([0-9]+)$")
  message(FATAL_ERROR "CHANGELOG.md: no '## [x.y.z] - yyyy-mm-dd' release heading")
endif()
set(generalutils_release_version ${CMAKE_MATCH_1})
# The date as Debian's changelog writes it: "Mon, 23 Nov 2026 00:00:00 +0000".
execute_process(COMMAND date -u -R -d "${CMAKE_MATCH_2}-${CMAKE_MATCH_3}-${CMAKE_MATCH_4}"
  OUTPUT_VARIABLE generalutils_release_date OUTPUT_STRIP_TRAILING_WHITESPACE
  RESULT_VARIABLE generalutils_date_rc)
if(NOT generalutils_date_rc EQUAL 0)
  message(FATAL_ERROR "date -R -d could not read CHANGELOG.md's release date")
endif()
if(NOT generalutils_release_version STREQUAL PROJECT_VERSION)
  message(FATAL_ERROR "CHANGELOG.md's latest release is ${generalutils_release_version}, the "
    "project is ${PROJECT_VERSION}: add the release to CHANGELOG.md before packaging it.")
endif()

# Each package's /usr/share/doc/<package>/: the copyright file in Debian's machine-readable
# form, with the licence text from LICENSE, and the changelog (changelog.gz, as the packages
# carry the upstream version as it is).
file(READ ${PROJECT_SOURCE_DIR}/LICENSE generalutils_license)
string(REGEX REPLACE "^MIT License\n\nCopyright [^\n]*\n\n" "" generalutils_license
  "${generalutils_license}")
string(STRIP "${generalutils_license}" generalutils_license)
string(REPLACE "\n\n" "\n.\n" generalutils_license "${generalutils_license}")
string(REPLACE "\n" "\n " generalutils_license "${generalutils_license}")
set(generalutils_docdir ${PROJECT_BINARY_DIR}/debian-doc)
file(WRITE ${generalutils_docdir}/copyright
  "Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/\n"
  "Upstream-Name: GeneralUtils\n"
  "Upstream-Contact: ${generalutils_maintainer}\n"
  "\n"
  "Files: *\n"
  "Copyright: 2026 The GeneralUtils authors\n"
  "License: Expat\n"
  " ${generalutils_license}\n")
file(WRITE ${generalutils_docdir}/changelog
  "generalutils (${PROJECT_VERSION}) unstable; urgency=medium\n"
  "\n"
  "  * GeneralUtils ${PROJECT_VERSION}.\n"
  "\n"
  " -- ${generalutils_maintainer}  ${generalutils_release_date}\n")
find_program(GENERALUTILS_GZIP gzip REQUIRED)
# -n keeps the name and time out of the header, so equal sources give equal packages.
execute_process(COMMAND ${GENERALUTILS_GZIP} -9nf ${generalutils_docdir}/changelog
  RESULT_VARIABLE generalutils_gzip_rc)
if(NOT generalutils_gzip_rc EQUAL 0)
  message(FATAL_ERROR "gzip ${generalutils_docdir}/changelog failed (${generalutils_gzip_rc})")
endif()

set(generalutils_components runtime development)
set(generalutils_packages ${generalutils_runtime_pkg} libgeneralutils-dev)
if(TARGET generalutils)
  list(APPEND generalutils_components tool)
  list(APPEND generalutils_packages generalutils)
endif()
foreach(component package IN ZIP_LISTS generalutils_components generalutils_packages)
  install(FILES ${generalutils_docdir}/copyright ${generalutils_docdir}/changelog.gz
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package} COMPONENT ${component})
endforeach()

# Debian keeps manual pages compressed, like the changelog; the tool's page is installed plain.
if(TARGET generalutils)
  install(CODE "
    set(page \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_MANDIR}/man1/generalutils.1\")
    if(EXISTS \${page})
      execute_process(COMMAND ${GENERALUTILS_GZIP} -9nf \${page} RESULT_VARIABLE rc)
      if(NOT rc EQUAL 0)
        message(FATAL_ERROR \"gzip \${page} failed (\${rc})\")
      endif()
    endif()" COMPONENT tool)
endif()

set(CPACK_PACKAGE_NAME generalutils)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "The GeneralUtils authors")
set(CPACK_PACKAGE_CONTACT ${generalutils_maintainer})
# Each Debian package's description starts with its own synopsis; a project-wide summary would
# be put in front of all three.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_GENERATOR DEB TGZ)
set(CPACK_COMPONENTS_ALL ${generalutils_components})
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_FILE_NAME
  generalutils-${PROJECT_VERSION}-${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR})
string(TOLOWER ${CPACK_PACKAGE_FILE_NAME} CPACK_PACKAGE_FILE_NAME)
set(generalutils_tarball ${CPACK_PACKAGE_FILE_NAME}.tar.gz)
set(CPACK_ARCHIVE_COMPONENT_INSTALL OFF)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${generalutils_maintainer})
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# System libraries through dpkg-shlibdeps. It finds our own libgeneralutils.so.1 in the build
# tree, where it belongs to no package yet, so that dependency is stated below.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
# The shlibs file, through which packages that link against ours depend on it.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(generalutils_same_version "${generalutils_runtime_pkg} (= ${PROJECT_VERSION})")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${generalutils_runtime_pkg})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
# dpkg runs ldconfig once for all packages that touch a library directory. (CPack also writes
# postinst and postrm scripts that call ldconfig themselves, which does no harm.)
file(WRITE ${PROJECT_BINARY_DIR}/debian-control/triggers "activate-noawait ldconfig\n")
# The symbols file names, for each exported symbol, the release that brought it, so that a
# program's Depends asks for the version that has the symbols it uses. cpack checks it against
# the library before it builds the packages.
set(CPACK_GENERALUTILS_SYMBOLS ${PROJECT_SOURCE_DIR}/cmake/${generalutils_runtime_pkg}.symbols)
set(CPACK_GENERALUTILS_RUNTIME_PACKAGE ${generalutils_runtime_pkg})
set(CPACK_GENERALUTILS_CONTROL_SYMBOLS ${PROJECT_BINARY_DIR}/debian-control/symbols)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/GeneralUtilsSymbolsCheck.cmake)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/debian-control/triggers
  ${PROJECT_BINARY_DIR}/debian-control/symbols)
# The long description both library packages share, before what each one contains.
set(generalutils_library_about "GeneralUtils is a C++ library of free functions for x86-64 Linux: call-chain
analysis of source text, CRC-32C and other hashes, a machine fingerprint,
printf-style formatting, cutting, splitting and URL encoding of strings, path
and whole-file queries, file copy and compare, and a command's captured output.")
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
  "string, hash, host, file and process helpers for C++ - shared library
${generalutils_library_about}

This package contains the shared library.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libgeneralutils-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS ${generalutils_same_version})
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
  "string, hash, host, file and process helpers for C++ - development files
${generalutils_library_about}

This package contains the header, the static library, the CMake package
GeneralUtils and the pkg-config file generalutils.")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME generalutils)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS ${generalutils_same_version})
set(CPACK_DEBIAN_TOOL_DESCRIPTION
  "string, hash, host, file and process helpers on the command line
The generalutils tool puts every function of the GeneralUtils library on the
command line, one subcommand each: call-chain analysis, CRC-32C and other
hashes, the machine fingerprint and a report of its parts, string cutting,
splitting and URL encoding, path and file queries, file copy and compare.")

include(CPack)
