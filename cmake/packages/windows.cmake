# The zip, and next to it NAME-VERSION-win64-debug.zip, which is unpacked over it to read a crash.
set(CPACK_GENERATOR ZIP)
set(CPACK_SYSTEM_NAME win64)
set(CPACK_PACKAGE_FILE_NAME "${PROJECT_NAME}-${PROJECT_VERSION}-${CPACK_SYSTEM_NAME}")
set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
set(CPACK_COMPONENT_INCLUDE_TOPLEVEL_DIRECTORY ON)
set(CPACK_COMPONENTS_ALL runtime development)
if(OVIX_BUILD_TOOL)
  list(APPEND CPACK_COMPONENTS_ALL tool)
endif()
foreach(component IN ITEMS RUNTIME DEVELOPMENT TOOL)
  set(CPACK_COMPONENT_${component}_GROUP package)
endforeach()
set(CPACK_ARCHIVE_PACKAGE_FILE_NAME "${CPACK_PACKAGE_FILE_NAME}")

# --- Our terms of use, and what lies in the zip that is not ours, with its licences.

set(licenses "${CMAKE_INSTALL_DATADIR}/licenses")
install(FILES "${PROJECT_SOURCE_DIR}/LICENSE" DESTINATION "${licenses}"
  RENAME ovix-telemetry-data-contracts.txt COMPONENT runtime)
set(parts "")
get_target_property(protobuf_type protobuf::libprotobuf TYPE)
get_target_property(protobuf_file protobuf::libprotobuf IMPORTED_LOCATION_RELEASE)
set(protobuf "protobuf|${Protobuf_VERSION}|BSD-3-Clause|CONTAINS")
if(protobuf_file AND protobuf_type STREQUAL "SHARED_LIBRARY")
  string(APPEND protobuf "|${protobuf_file}")
endif()
list(APPEND parts "${protobuf}")
install(FILES "${packages_dir}/licenses/protobuf.txt" DESTINATION "${licenses}" COMPONENT runtime)
if(OVIX_BUILD_TOOL)
  # Headers alone, compiled into the tool.
  find_package(CLI11 2 REQUIRED)
  find_package(RapidJSON 1.1 REQUIRED)
  list(APPEND parts "CLI11|${CLI11_VERSION}|BSD-3-Clause|CONTAINS" "RapidJSON|${RapidJSON_VERSION}|MIT|CONTAINS")
  install(FILES "${packages_dir}/licenses/CLI11.txt" "${packages_dir}/licenses/RapidJSON.txt" DESTINATION "${licenses}" COMPONENT tool)
endif()

if(MINGW)
  if(protobuf_type STREQUAL "SHARED_LIBRARY")
    install(FILES $<TARGET_FILE:protobuf::libprotobuf> DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT runtime)
  endif()
  # The compiler's runtime, without the debug information that is most of it.
  set(OVIX_COMPILER_RUNTIME_DIR "" CACHE PATH "Where the compiler's runtime DLLs lie, for the zip; empty: ask the compiler")
  set(stripped "${PROJECT_BINARY_DIR}/compiler-runtime")
  file(MAKE_DIRECTORY "${stripped}")
  set(gcc "${CMAKE_CXX_COMPILER_VERSION}|GPL-3.0-or-later WITH GCC-exception-3.1")
  set(runtime_parts
    "libstdc++-6.dll|libstdc++|${gcc}"
    "libgcc_s_seh-1.dll|libgcc|${gcc}"
    "libwinpthread-1.dll|winpthreads|NOASSERTION|MIT AND BSD-3-Clause-Clear")
  set(compiler_runtime "")
  foreach(part IN LISTS runtime_parts)
    string(REGEX MATCH "^([^|]*)\\|(.*)$" part "${part}")
    set(library "${CMAKE_MATCH_1}")
    set(description "${CMAKE_MATCH_2}")
    set(path "${OVIX_COMPILER_RUNTIME_DIR}/${library}")
    if(NOT OVIX_COMPILER_RUNTIME_DIR)
      execute_process(COMMAND "${CMAKE_CXX_COMPILER}" "-print-file-name=${library}"
        OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
    endif()
    if(NOT IS_ABSOLUTE "${path}" OR NOT EXISTS "${path}")
      ovix_packages_miss("${library} was not found for the zip; set OVIX_COMPILER_RUNTIME_DIR to the folder of ${CMAKE_CXX_COMPILER}'s runtime DLLs and run cmake again")
      continue()
    endif()
    add_custom_command(OUTPUT "${stripped}/${library}"
      COMMAND "${CMAKE_STRIP}" --strip-unneeded -o "${stripped}/${library}" "${path}"
      DEPENDS "${path}"
      VERBATIM)
    list(APPEND compiler_runtime "${stripped}/${library}")
    list(APPEND parts "${description}|CONTAINS|${stripped}/${library}")
  endforeach()
  add_custom_target(ovix-compiler-runtime ALL DEPENDS ${compiler_runtime})
  install(FILES ${compiler_runtime} DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT runtime)

  # What starts a program and a DLL is linked into each.
  list(APPEND parts "mingw-w64|NOASSERTION|ZPL-2.1|CONTAINS")
  set(OVIX_GCC_LICENSE /usr/share/doc/g++-mingw-w64-x86-64-posix/copyright CACHE FILEPATH
    "The licence of libstdc++ and libgcc, for the zip")
  set(OVIX_MINGW_LICENSE /usr/share/doc/mingw-w64-x86-64-dev/copyright CACHE FILEPATH
    "The licence of the MinGW runtime and winpthreads, for the zip")
  foreach(licence IN ITEMS "OVIX_GCC_LICENSE|gcc-runtime.txt" "OVIX_MINGW_LICENSE|mingw-w64-runtime.txt")
    string(REGEX MATCH "^(.*)\\|(.*)$" licence "${licence}")
    set(option "${CMAKE_MATCH_1}")
    set(name "${CMAKE_MATCH_2}")
    if(EXISTS "${${option}}")
      install(FILES "${${option}}" DESTINATION "${licenses}" RENAME ${name} COMPONENT runtime)
    else()
      ovix_packages_miss("${${option}}, which the zip has as share/licenses/${name}, was not found; set ${option} to that licence's text and run cmake again")
    endif()
  endforeach()
elseif(MSVC)
  # Not run by our CI, which has no MSVC. The DLLs that the library needs, protobuf's and what that needs, and
  # the compiler's runtime.
  if(protobuf_type STREQUAL "SHARED_LIBRARY")
    install(IMPORTED_RUNTIME_ARTIFACTS protobuf::libprotobuf
      RUNTIME_DEPENDENCY_SET ovix-runtime
      RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT runtime)
    install(RUNTIME_DEPENDENCY_SET ovix-runtime
      PRE_EXCLUDE_REGEXES "^api-ms-" "^ext-ms-" "^msvcp" "^vcruntime" "^concrt"
      POST_EXCLUDE_REGEXES "[/\\\\][Ss][Yy][Ss][Tt][Ee][Mm]32[/\\\\]"
      DIRECTORIES "$<TARGET_FILE_DIR:protobuf::libprotobuf>"
      RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT runtime)
  endif()
  set(CMAKE_INSTALL_SYSTEM_RUNTIME_LIBS_SKIP ON)
  set(CMAKE_INSTALL_SYSTEM_RUNTIME_LIBS_NO_WARNINGS ON)
  include(InstallRequiredSystemLibraries)
  if(CMAKE_INSTALL_SYSTEM_RUNTIME_LIBS)
    install(PROGRAMS ${CMAKE_INSTALL_SYSTEM_RUNTIME_LIBS} DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT runtime)
    install(FILES "${packages_dir}/licenses/msvc-runtime.txt" DESTINATION "${licenses}" COMPONENT runtime)
    foreach(path IN LISTS CMAKE_INSTALL_SYSTEM_RUNTIME_LIBS)
      cmake_path(GET path FILENAME library)
      list(APPEND parts "${library}|NOASSERTION|NOASSERTION|CONTAINS|${path}")
    endforeach()
  else()
    ovix_packages_miss("the runtime DLLs of MSVC were not found; install Visual Studio's component 'C++ redistributable' and run cmake again")
  endif()
endif()

ovix_package_sbom(runtime ${PROJECT_NAME} win64 "${parts}" ${compiler_runtime})

# --- The debug information: X.debug next to X, which names it and its checksum (before_packing.cmake).

if(MINGW AND NOT OVIX_DEBUG_INFO STREQUAL "OFF")
  list(APPEND CPACK_COMPONENTS_ALL debug)
  set(CPACK_ARCHIVE_DEBUG_FILE_NAME "${CPACK_PACKAGE_FILE_NAME}-debug")
  set(debugged "${PROJECT_NAME}.dll")
  if(OVIX_BUILD_TOOL)
    list(APPEND debugged ovix-contracts.exe)
  endif()
  foreach(file IN LISTS debugged)
    # cpack puts into an archive what is there after installing: before_packing.cmake fills it.
    set(folder "\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}")
    install(CODE "file(MAKE_DIRECTORY \"${folder}\")\nfile(TOUCH \"${folder}/${file}.debug\")"
      COMPONENT debug EXCLUDE_FROM_ALL)
    list(APPEND CPACK_OVIX_DEBUG_FILES "*/*/${CMAKE_INSTALL_BINDIR}/${file}|debug")
  endforeach()
endif()
