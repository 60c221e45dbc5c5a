# The packaging checks that ctest runs, as `cmake -DMODE=<mode> ... -P run_checks.cmake`:
#   install   BUILD_DIR PREFIX FILES [TOOL]: a fresh install; FILES (':'-separated, relative
#             to PREFIX) must be there, and the installed TOOL must run.
#   consumer  VIA SOURCE_DIR BINARY_DIR PREFIX [PKG_CONFIG_PATH] LIB_SOURCE_DIR GENERATOR
#             CXX BUILD_TYPE SHARED CXX_FLAGS LINKER_FLAGS [LIBRARY_PATH]: configure, build and
#             run examples/consumer; a package must be found under PREFIX, and a subproject must
#             configure without the tool's and tests' dependencies.
#   exports   LIB NM CXXFILT: the dynamic symbols are the public functions, no more, no less.
#   output    PROGRAM EXPECTED: the program's standard output is the file's text exactly.
#   changelog CHANGELOG VERSION: the latest release heading in CHANGELOG.md is VERSION.
# A failure ends in message(FATAL_ERROR), which ctest catches as "CMake Error" even where the
# test also matches a PASS_REGULAR_EXPRESSION.
cmake_minimum_required(VERSION 3.21)

# Runs a command quietly and shows what it printed only when it fails.
function(run_quietly what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT rc EQUAL 0)
    message("${out}")
    message(FATAL_ERROR "${what} failed (${rc})")
  endif()
endfunction()

if(MODE STREQUAL "install")
  file(REMOVE_RECURSE ${PREFIX})
  run_quietly("cmake --install" ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${PREFIX})
  string(REPLACE ":" ";" files "${FILES}")
  foreach(f IN LISTS files)
    if(NOT EXISTS ${PREFIX}/${f})
      message(FATAL_ERROR "not installed: ${f}")
    endif()
  endforeach()
  # The installed tool must start from the prefix, a shared library beside it included.
  if(TOOL)
    run_quietly("installed ${TOOL} --version" ${PREFIX}/${TOOL} --version)
  endif()

elseif(MODE STREQUAL "consumer")
  # The pkg-config consumer must find the library through the .pc file alone.
  if(VIA STREQUAL "pkg-config")
    find_program(pkg_config NAMES pkg-config pkgconf)
    if(NOT pkg_config)
      message("SKIP: no pkg-config on this machine (Debian package pkgconf)")
      return()
    endif()
    set(ENV{PKG_CONFIG_PATH} ${PKG_CONFIG_PATH})
    set(prefix_path "")
  else()
    set(prefix_path ${PREFIX})
  endif()
  # A subproject is the library alone, which needs nothing but the compiler.
  set(no_deps "")
  if(VIA MATCHES "add_subdirectory|FetchContent")
    foreach(dep CLI11 nlohmann_json GTest benchmark)
      list(APPEND no_deps -DCMAKE_DISABLE_FIND_PACKAGE_${dep}=ON)
    endforeach()
  endif()
  file(REMOVE_RECURSE ${BINARY_DIR})
  run_quietly("configure" ${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${BINARY_DIR} -G ${GENERATOR}
    -DGENERALUTILS_CONSUME=${VIA} -DGENERALUTILS_SOURCE_DIR=${LIB_SOURCE_DIR}
    -DCMAKE_PREFIX_PATH=${prefix_path} -DCMAKE_CXX_COMPILER=${CXX}
    -DCMAKE_BUILD_TYPE=${BUILD_TYPE} -DBUILD_SHARED_LIBS=${SHARED} ${no_deps}
    "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}" "-DCMAKE_EXE_LINKER_FLAGS=${LINKER_FLAGS}"
    "-DCMAKE_SHARED_LINKER_FLAGS=${LINKER_FLAGS}")
  # The library found must be the one under PREFIX, not one the machine happens to have.
  if(VIA STREQUAL "find_package")
    set(found_var GeneralUtils_DIR)
  elseif(VIA STREQUAL "pkg-config")
    set(found_var pkgcfg_lib_GU_generalutils)
  else()
    set(found_var "")
  endif()
  if(found_var)
    load_cache(${BINARY_DIR} READ_WITH_PREFIX "" ${found_var})
    string(FIND "${${found_var}}" "${PREFIX}/" at)
    if(NOT at EQUAL 0)
      message(FATAL_ERROR "${found_var} is '${${found_var}}', not under ${PREFIX}")
    endif()
  endif()
  run_quietly("build" ${CMAKE_COMMAND} --build ${BINARY_DIR})
  if(LIBRARY_PATH)
    set(ENV{LD_LIBRARY_PATH} ${LIBRARY_PATH})
  endif()
  execute_process(COMMAND ${BINARY_DIR}/consumer RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "consumer exited with ${rc}")
  endif()

elseif(MODE STREQUAL "exports")
  set(expected
    sprintfString padString wcharToString wstringToString
    GetUntilFirstSpecifiedString GetUntilLastSpecifiedString GetTailAfterFirstSpecifiedString
    GetTailAfterLastSpecifiedString GetUntilFirstEndOfLine splitString
    EncodeURL GetFirstFunctionNameAndCount
    "getStrHash<unsigned char>" "getStrHash<unsigned int>" crc32c Create8CharacterHash
    GetOS_Name getHostName getMachineDetails getMachineDetailsHash getMacHash
    GetSystemFingerprint GetSystemFingerprintCStr getCidFilePath GetCidFromFile
    DirectoryExists FileExists IsFileOrDirWritable AppendFileName GetExeDir GetTempFolder
    FileSize CompareFiles copyFileWr GetLastErrorAsString
    crc32cBitwise getMacInterfaces getSystemFingerprintText cidFromFileReport fileErrorText
    fileSizeReport compareFilesReport copyFileReport
    execCommandAndSaveOutput clean_stdin readLine readLineToStdString)
  execute_process(COMMAND ${NM} -D --defined-only ${LIB} COMMAND ${CXXFILT}
    RESULT_VARIABLE rc OUTPUT_VARIABLE symbols ERROR_VARIABLE err)
  if(NOT rc EQUAL 0 OR symbols STREQUAL "")
    message(FATAL_ERROR "nm | c++filt on ${LIB} failed (${rc}): ${err}")
  endif()
  string(REGEX REPLACE "\n$" "" symbols "${symbols}")
  string(REPLACE ";" "\\;" symbols "${symbols}")
  string(REPLACE "\n" ";" symbols "${symbols}")
  # "<address> <type> <symbol>"; a template instance shows its return type first.
  set(public "^[0-9a-f]+ [TW] ([a-z ]+ )?GeneralUtils::([A-Za-z0-9_]+(<[a-z ]+>)?)")
  set(found "")
  foreach(line IN LISTS symbols)
    if(NOT line MATCHES "${public}(\\[abi:cxx11\\])?\\(")
      message(FATAL_ERROR "exported but not a public function: ${line}")
    endif()
    list(APPEND found "${CMAKE_MATCH_2}")
  endforeach()
  set(missing ${expected})
  list(REMOVE_ITEM missing ${found})
  set(extra ${found})
  list(REMOVE_ITEM extra ${expected})
  if(missing OR extra)
    message(FATAL_ERROR "not exported: ${missing}\nnot expected: ${extra}")
  endif()
  list(LENGTH found n)
  message("${n} exported functions, all in namespace GeneralUtils")

elseif(MODE STREQUAL "output")
  execute_process(COMMAND ${PROGRAM} RESULT_VARIABLE rc OUTPUT_VARIABLE actual)
  file(READ ${EXPECTED} expected)
  if(NOT rc EQUAL 0 OR NOT actual STREQUAL expected)
    message(FATAL_ERROR "exit status ${rc}; output:\n${actual}\nexpected:\n${expected}")
  endif()
  message("${actual}")

elseif(MODE STREQUAL "changelog")
  file(STRINGS ${CHANGELOG} releases REGEX "^## \\[[0-9]")
  if(NOT releases)
    message(FATAL_ERROR "${CHANGELOG}: no release heading")
  endif()
  list(GET releases 0 latest)
  string(REPLACE "." "\\." version_re ${VERSION})
  if(NOT latest MATCHES "^## \\[${version_re}\\] - [0-9][0-9][0-9][0-9]-[0-9][0-9]-[0-9][0-9]$")
    message(FATAL_ERROR "${CHANGELOG}: the latest release is '${latest}', the project is "
      "${VERSION}")
  endif()
  message("${latest}")

else()
  message(FATAL_ERROR "unknown MODE '${MODE}'")
endif()
