# The packaging checks that ctest runs, as `cmake -DMODE=<mode> ... -P run_checks.cmake`:
#   install   BUILD_DIR PREFIX FILES [TOOL]: a fresh install; FILES (':'-separated, relative
#             to PREFIX) must be there, and the installed TOOL must run.
#   consumer  VIA SOURCE_DIR BINARY_DIR PREFIX [PKG_CONFIG_PATH] LIB_SOURCE_DIR GENERATOR
#             CXX BUILD_TYPE SHARED CXX_FLAGS LINKER_FLAGS [LIBRARY_PATH]: configure, build and
#             run examples/consumer; a package must be found under PREFIX, and a subproject must
#             configure without the tool's and tests' dependencies.
#   exports   LIB NM CXXFILT HEADER: the dynamic symbols are the header's public functions, no
#             more, no less, each with a symbol version.
#   output    PROGRAM EXPECTED: the program's standard output is the file's text exactly.
#   changelog CHANGELOG VERSION: the latest release heading in CHANGELOG.md is VERSION.
#   debs      CPACK_CONFIG BUILD_DIR OUT VERSION PACKAGES RUNTIME_PACKAGE SONAME READELF
#             TARBALL FILES_<package>: cpack builds the packages and the tarball into OUT;
#             checks their fields, contents and ELF files; unpacks each package with the
#             packages it depends on into OUT/roots/<package>, the tarball into
#             OUT/roots/tarball/usr.
#   lintian   OUT: lintian finds no error in OUT's packages; its report goes to OUT/lintian.txt.
#   tool      TOOL LIBRARY_PATH VERSION: the unpacked tool runs and gives VERSION.
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
  # The header's list: every GENERALUTILS_API function by name, and getStrHash's two explicit
  # instances, which the template declaration stands for.
  file(READ ${HEADER} header)
  string(REGEX MATCHALL "GENERALUTILS_API [^(;]*[ *&]([A-Za-z_][A-Za-z0-9_]*)\\(" declared
    "${header}")
  set(expected "")
  foreach(declaration IN LISTS declared)
    string(REGEX REPLACE ".*[ *&]([A-Za-z_][A-Za-z0-9_]*)\\($" "\\1" name "${declaration}")
    list(APPEND expected ${name})
  endforeach()
  string(REGEX MATCHALL "extern template [^(]* (getStrHash<[a-z ]+>)\\(" instances "${header}")
  foreach(instance IN LISTS instances)
    string(REGEX REPLACE ".* (getStrHash<[a-z ]+>)\\($" "\\1" name "${instance}")
    list(APPEND expected "${name}")
  endforeach()
  list(REMOVE_ITEM expected getStrHash)
  execute_process(COMMAND ${NM} -D --defined-only ${LIB} COMMAND ${CXXFILT}
    RESULT_VARIABLE rc OUTPUT_VARIABLE symbols ERROR_VARIABLE err)
  if(NOT rc EQUAL 0 OR symbols STREQUAL "")
    message(FATAL_ERROR "nm | c++filt on ${LIB} failed (${rc}): ${err}")
  endif()
  string(REGEX REPLACE "\n$" "" symbols "${symbols}")
  string(REPLACE ";" "\\;" symbols "${symbols}")
  string(REPLACE "\n" ";" symbols "${symbols}")
  # "<address> <type> <symbol>@@<version>"; a template instance shows its return type first.
  # The version nodes themselves are absolute symbols of their own.
  set(public "^[0-9a-f]+ [TW] ([a-z ]+ )?GeneralUtils::([A-Za-z0-9_]+(<[a-z ]+>)?)")
  set(found "")
  foreach(line IN LISTS symbols)
    if(line MATCHES "^[0-9a-f]+ A GENERALUTILS_[0-9]+\\.[0-9]+(@@GENERALUTILS_[0-9.]+)?$")
      continue()
    endif()
    if(NOT line MATCHES "${public}(\\[abi:cxx11\\])?\\(")
      message(FATAL_ERROR "exported but not a public function: ${line}")
    endif()
    list(APPEND found "${CMAKE_MATCH_2}")
    if(NOT line MATCHES "@@?GENERALUTILS_[0-9]+\\.[0-9]+$")
      message(FATAL_ERROR "exported without a version: ${line}")
    endif()
  endforeach()
  set(missing ${expected})
  list(REMOVE_ITEM missing ${found})
  set(extra ${found})
  list(REMOVE_ITEM extra ${expected})
  if(missing OR extra)
    message(FATAL_ERROR "declared but not exported: ${missing}\nexported but not declared: ${extra}")
  endif()
  list(LENGTH found n)
  message("${n} exported functions, all declared in the header, each with a version")

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

elseif(MODE STREQUAL "debs")
  find_program(dpkg_deb dpkg-deb REQUIRED)
  string(REPLACE "." "\\." version_re ${VERSION})
  file(REMOVE_RECURSE ${OUT})
  run_quietly("cpack" ${CMAKE_COMMAND} -E chdir ${BUILD_DIR}
    cpack --config ${CPACK_CONFIG} -B ${OUT})

  # Everything a full install puts under the prefix: the packages together must hold exactly
  # that, each file in one package only.
  run_quietly("cmake --install" ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${OUT}/full/usr)
  file(GLOB_RECURSE everything RELATIVE ${OUT}/full ${OUT}/full/*)
  set(packaged "")

  string(REPLACE ":" ";" packages "${PACKAGES}")
  foreach(package IN LISTS packages)
    file(GLOB deb ${OUT}/${package}_${VERSION}_*.deb)
    list(LENGTH deb n)
    if(NOT n EQUAL 1)
      message(FATAL_ERROR "${n} packages ${package}_${VERSION}_*.deb in ${OUT}")
    endif()
    set(deb_${package} ${deb})
    foreach(field Package Version Depends)
      execute_process(COMMAND ${dpkg_deb} -f ${deb} ${field} OUTPUT_VARIABLE ${field}
        OUTPUT_STRIP_TRAILING_WHITESPACE)
    endforeach()
    message("${Package} ${Version}: Depends: ${Depends}")
    if(NOT Package STREQUAL package OR NOT Version STREQUAL VERSION)
      message(FATAL_ERROR "${deb} is ${Package} ${Version}")
    endif()
    # System libraries come through dpkg-shlibdeps; ours at exactly this version.
    if(NOT Depends MATCHES "(^|, )libstdc\\+\\+6( |,|$)" AND NOT package MATCHES "-dev$")
      message(FATAL_ERROR "${package} does not depend on libstdc++6: ${Depends}")
    endif()
    if(NOT package STREQUAL RUNTIME_PACKAGE
        AND NOT Depends MATCHES "(^|, )${RUNTIME_PACKAGE} \\(= ${version_re}\\)(,|$)")
      message(FATAL_ERROR "${package} does not depend on ${RUNTIME_PACKAGE} (= ${VERSION})")
    endif()
    set(depends_${package} "${Depends}")

    set(contents ${OUT}/contents/${package})
    file(MAKE_DIRECTORY ${contents})
    run_quietly("dpkg-deb -x ${deb}" ${dpkg_deb} -x ${deb} ${contents})
    file(GLOB_RECURSE files RELATIVE ${contents} ${contents}/*)
    string(REPLACE ":" ";" wanted "${FILES_${package}}")
    foreach(f IN LISTS wanted)
      if(NOT f IN_LIST files)
        message(FATAL_ERROR "${package} lacks /${f}")
      endif()
    endforeach()
    foreach(f IN LISTS files)
      if(f IN_LIST packaged)
        message(FATAL_ERROR "/${f} is in two packages")
      endif()
      if(NOT f IN_LIST everything)
        message(FATAL_ERROR "${package} has /${f}, which the install does not")
      endif()
      # The loader finds our library where the system keeps libraries: no search path of ours.
      if(NOT IS_SYMLINK ${contents}/${f})
        file(READ_ELF ${contents}/${f} RPATH rpath RUNPATH runpath CAPTURE_ERROR not_elf)
        if(NOT not_elf AND (rpath OR runpath))
          message(FATAL_ERROR "/${f} has a library search path: ${rpath}${runpath}")
        endif()
        if(NOT not_elf AND f MATCHES "\\.so\\.")
          execute_process(COMMAND ${READELF} -d ${contents}/${f} OUTPUT_VARIABLE dynamic)
          if(NOT dynamic MATCHES "\\(SONAME\\) +Library soname: \\[${SONAME}\\]")
            message(FATAL_ERROR "/${f} lacks the SONAME ${SONAME}:\n${dynamic}")
          endif()
        endif()
      endif()
    endforeach()
    list(APPEND packaged ${files})
    list(LENGTH files n)
    message("${package}: ${n} files")
  endforeach()
  foreach(f IN LISTS everything)
    if(NOT f IN_LIST packaged)
      message(FATAL_ERROR "/${f} is installed but in no package")
    endif()
  endforeach()

  # Other packages link against the runtime library through its shlibs entry.
  execute_process(COMMAND ${dpkg_deb} -I ${deb_${RUNTIME_PACKAGE}} shlibs
    OUTPUT_VARIABLE shlibs OUTPUT_STRIP_TRAILING_WHITESPACE)
  string(REGEX REPLACE "^lib(.*)\\.so\\.([0-9]+)$" "lib\\1 \\2" shlibs_key ${SONAME})
  if(NOT shlibs MATCHES "^${shlibs_key} ${RUNTIME_PACKAGE} \\(>= ${version_re}\\)$")
    message(FATAL_ERROR "${RUNTIME_PACKAGE}'s shlibs: '${shlibs}'")
  endif()

  # A root per package: the package and those of ours it depends on, as apt would unpack them.
  foreach(package IN LISTS packages)
    set(root ${OUT}/roots/${package})
    file(MAKE_DIRECTORY ${root})
    foreach(other IN LISTS packages)
      if(other STREQUAL package OR depends_${package} MATCHES "(^|, )${other}( |,|$)")
        run_quietly("dpkg-deb -x" ${dpkg_deb} -x ${deb_${other}} ${root})
      endif()
    endforeach()
  endforeach()

  # The tarball: one top directory holding what a full install puts under the prefix.
  set(tarball ${OUT}/${TARBALL})
  if(NOT EXISTS ${tarball})
    message(FATAL_ERROR "no ${TARBALL} in ${OUT}")
  endif()
  file(MAKE_DIRECTORY ${OUT}/tarball)
  run_quietly("tar -xzf ${TARBALL}" ${CMAKE_COMMAND} -E chdir ${OUT}/tarball
    ${CMAKE_COMMAND} -E tar xzf ${tarball})
  string(REGEX REPLACE "\\.tar\\.gz$" "" top ${TARBALL})
  file(GLOB_RECURSE in_tarball RELATIVE ${OUT}/tarball/${top} ${OUT}/tarball/${top}/*)
  list(TRANSFORM in_tarball PREPEND usr/)
  if(NOT in_tarball STREQUAL everything)
    message(FATAL_ERROR "${TARBALL} holds\n${in_tarball}\nbut the install\n${everything}")
  endif()
  file(MAKE_DIRECTORY ${OUT}/roots/tarball)
  file(RENAME ${OUT}/tarball/${top} ${OUT}/roots/tarball/usr)
  list(LENGTH in_tarball n)
  message("${TARBALL}: ${n} files")

elseif(MODE STREQUAL "lintian")
  find_program(lintian lintian)
  if(NOT lintian)
    message("SKIP: no lintian on this machine (Debian package lintian)")
    return()
  endif()
  file(GLOB debs ${OUT}/*.deb)
  if(NOT debs)
    message(FATAL_ERROR "no packages in ${OUT}")
  endif()
  # Errors fail the check; warnings are reported. --no-cfg: the machine's settings don't count.
  execute_process(COMMAND ${lintian} --no-cfg --fail-on error --display-info ${debs}
    RESULT_VARIABLE rc OUTPUT_VARIABLE report ERROR_VARIABLE report)
  file(WRITE ${OUT}/lintian.txt "${report}")
  message("${report}")
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "lintian found errors (${rc})")
  endif()

elseif(MODE STREQUAL "tool")
  # A package's tool finds the library only through the loader's path.
  set(ENV{LD_LIBRARY_PATH} ${LIBRARY_PATH})
  execute_process(COMMAND ${TOOL} --version RESULT_VARIABLE rc OUTPUT_VARIABLE out
    ERROR_VARIABLE err)
  string(REPLACE "." "\\." version_re ${VERSION})
  if(NOT rc EQUAL 0 OR NOT out MATCHES "(^| )${version_re}\n$")
    message(FATAL_ERROR "${TOOL} --version: status ${rc}, output '${out}' ${err}")
  endif()
  message("${out}")

else()
  message(FATAL_ERROR "unknown MODE '${MODE}'")
endif()
