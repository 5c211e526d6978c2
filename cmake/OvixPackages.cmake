# What cpack makes: on Windows a zip that works wherever it is unpacked, with the runtime DLLs that the
# library needs and their licences; on Debian a package to run programs with and one to build them.
set(CPACK_PACKAGE_NAME ${PROJECT_NAME})
set(CPACK_PACKAGE_VENDOR Ovix)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_CHECKSUM SHA256)
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS "${CMAKE_CURRENT_LIST_DIR}/same_times.cmake")

if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_SYSTEM_NAME win64)
endif()

if(MINGW)
  set(licences "${CMAKE_INSTALL_DATADIR}/licenses")
  # The compiler's runtime, from the compiler's own folders, without the debug information that is most of
  # it.
  set(stripped "${CMAKE_BINARY_DIR}/compiler-runtime")
  file(MAKE_DIRECTORY "${stripped}")
  foreach(library IN ITEMS libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
    execute_process(COMMAND "${CMAKE_CXX_COMPILER}" "-print-file-name=${library}"
      OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(NOT EXISTS "${path}")
      message(FATAL_ERROR "${library} was not found beside ${CMAKE_CXX_COMPILER}; reinstall the compiler's package (Debian: g++-mingw-w64-x86-64-posix)")
    endif()
    add_custom_command(OUTPUT "${stripped}/${library}"
      COMMAND "${CMAKE_STRIP}" --strip-unneeded -o "${stripped}/${library}" "${path}"
      DEPENDS "${path}"
      VERBATIM)
    list(APPEND compiler_runtime "${stripped}/${library}")
  endforeach()
  add_custom_target(ovix-compiler-runtime ALL DEPENDS ${compiler_runtime})
  install(FILES ${compiler_runtime} DESTINATION "${CMAKE_INSTALL_BINDIR}")
  install(FILES /usr/share/doc/g++-mingw-w64-x86-64-posix/copyright
    DESTINATION "${licences}" RENAME gcc-runtime.txt)
  install(FILES /usr/share/doc/mingw-w64-x86-64-dev/copyright
    DESTINATION "${licences}" RENAME mingw-w64-runtime.txt)
  get_target_property(runtime protobuf::libprotobuf IMPORTED_LOCATION_RELEASE)
  install(FILES "${runtime}" DESTINATION "${CMAKE_INSTALL_BINDIR}")
  install(FILES "${Protobuf_DIR}/../../../LICENSE" DESTINATION "${licences}" RENAME protobuf.txt)
endif()

# What is in the packages and what they need: what was built lies in them, the runtimes too on Windows.
set(sbom "${CMAKE_BINARY_DIR}/sbom.spdx.json")
set(parts "protobuf|${Protobuf_VERSION}|BSD-3-Clause|DEPENDS_ON")
if(MINGW)
  set(gcc "${CMAKE_CXX_COMPILER_VERSION}|GPL-3.0-or-later WITH GCC-exception-3.1|CONTAINS")
  set(parts "protobuf|${Protobuf_VERSION}|BSD-3-Clause|CONTAINS|${runtime}"
    "libstdc++|${gcc}|${stripped}/libstdc++-6.dll"
    "libgcc|${gcc}|${stripped}/libgcc_s_seh-1.dll"
    "winpthreads|NOASSERTION|MIT AND BSD-3-Clause-Clear|CONTAINS|${stripped}/libwinpthread-1.dll")
elseif(UNIX)
  list(APPEND parts "libstdc++|NOASSERTION|GPL-3.0-or-later WITH GCC-exception-3.1|DEPENDS_ON")
endif()
if(OVIX_BUILD_TOOL)
  # Headers alone, compiled into the tool.
  find_package(CLI11 2 REQUIRED)
  list(APPEND parts "CLI11|${CLI11_VERSION}|BSD-3-Clause|CONTAINS")
  if(UNIX)
    find_package(OpenSSL 3 REQUIRED COMPONENTS Crypto)
    list(APPEND parts "OpenSSL|${OPENSSL_VERSION}|Apache-2.0|DEPENDS_ON")
  endif()
endif()
list(JOIN parts "@" parts)
add_custom_command(OUTPUT "${sbom}"
  COMMAND "${CMAKE_COMMAND}" -D "OUTPUT=${sbom}" -D "NAME=${PROJECT_NAME}" -D "VERSION=${PROJECT_VERSION}"
    -D "PARTS=${parts}" -P "${CMAKE_CURRENT_LIST_DIR}/write_sbom.cmake"
  DEPENDS ${compiler_runtime} "${CMAKE_CURRENT_LIST_DIR}/write_sbom.cmake"
  COMMENT "Writing sbom.spdx.json"
  VERBATIM)
add_custom_target(ovix-sbom ALL DEPENDS "${sbom}")
# Named after the binary interface: runtime packages of two interfaces stand side by side.
install(FILES "${sbom}" DESTINATION "${CMAKE_INSTALL_DATADIR}/${PROJECT_NAME}"
  RENAME "sbom-${OVIX_ABI_VERSION}.spdx.json" COMPONENT runtime)

if(UNIX)
  set(CPACK_GENERATOR DEB)
  set(CPACK_DEB_COMPONENT_INSTALL ON)
  set(CPACK_COMPONENTS_ALL runtime development)
  if(OVIX_BUILD_TOOL)
    list(APPEND CPACK_COMPONENTS_ALL tool)
  endif()
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_MAINTAINER "Ovix telemetry <telemetry@ovix.example>")
  set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
  set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
    "shared library of the telemetry agent's data contracts\n Every record and payload of the telemetry agent, as compiled C++ classes.\n This package holds what a program that uses them needs to run.")
  set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
    "headers and schemas of the telemetry agent's data contracts\n Headers, schemas, the descriptor set of all contracts, and the packages of\n CMake and pkg-config: what is needed to build a program that uses them.")
  set(CPACK_COMPONENT_TOOL_DESCRIPTION
    "command-line tool for the telemetry agent's data contracts\n It lists and shows the records and payloads of the telemetry agent, prints\n their tables as SQL, converts them to and from JSON, and tells what changed\n between two releases.")
  set(tool_package ovix-contracts)
  set(runtime_package lib${PROJECT_NAME}${OVIX_ABI_VERSION})
  set(development_package lib${PROJECT_NAME}-dev)

  set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${runtime_package})
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
  # Debian's policy: a trigger for ldconfig, and the dependency that users of the library get.
  file(WRITE "${CMAKE_BINARY_DIR}/debian/triggers" "activate-noawait ldconfig\n")
  file(WRITE "${CMAKE_BINARY_DIR}/debian/shlibs"
    "lib${PROJECT_NAME} ${OVIX_ABI_VERSION} ${runtime_package} (>= ${PROJECT_VERSION})\n")
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
    "${CMAKE_BINARY_DIR}/debian/triggers" "${CMAKE_BINARY_DIR}/debian/shlibs")
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME ${development_package})
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "${runtime_package} (= ${PROJECT_VERSION}), libprotobuf-dev (>= 3.21), libprotobuf-dev (<< 3.22)")

  set(CPACK_DEBIAN_TOOL_PACKAGE_NAME ${tool_package})
  set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
  set(CPACK_DEBIAN_TOOL_PACKAGE_SHLIBDEPS ON)
  # Where the library lies that the tool needs: it is in no package yet that dpkg knows.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}/library")
  set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "${runtime_package} (>= ${PROJECT_VERSION})")

  # Debian's policy: each package says its licence and its changes.
  file(WRITE "${CMAKE_BINARY_DIR}/debian/copyright"
    "${PROJECT_NAME}\n\nCopyright 2026 Ovix. All rights reserved.\n")
  file(WRITE "${CMAKE_BINARY_DIR}/debian/changelog"
    "${PROJECT_NAME} (${PROJECT_VERSION}) stable; urgency=medium\n\n  * See CHANGELOG.md of the sources.\n\n -- ${CPACK_DEBIAN_PACKAGE_MAINTAINER}  Sat, 21 Nov 2026 00:00:00 +0000\n")
  find_program(OVIX_GZIP gzip REQUIRED)
  execute_process(COMMAND "${OVIX_GZIP}" -9nf "${CMAKE_BINARY_DIR}/debian/changelog"
    COMMAND_ERROR_IS_FATAL ANY)
  foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    install(FILES "${CMAKE_BINARY_DIR}/debian/copyright" "${CMAKE_BINARY_DIR}/debian/changelog.gz"
      DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${${component}_package}" COMPONENT ${component})
  endforeach()
endif()

include(CPack)
