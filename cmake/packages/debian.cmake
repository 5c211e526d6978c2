# Debian's packages: the runtime, for development, the tool, and of the first and the last the debug information
# (-dbgsym), which before_packing.cmake takes out of the files.
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
# Each package has a summary of its own, the first line of its description; cpack would put this one before it.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
  "shared library of the telemetry agent's data contracts\nEvery record and payload of the telemetry agent, as compiled C++ classes.\nThis package holds what a program that uses them needs to run.")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
  "headers and schemas of the telemetry agent's data contracts\nHeaders, schemas, the descriptor set of all contracts, and the packages of\nCMake and pkg-config: what is needed to build a program that uses them.")
set(CPACK_COMPONENT_TOOL_DESCRIPTION
  "command-line tool for the telemetry agent's data contracts\nIt lists and shows the records and payloads of the telemetry agent, prints\ntheir tables as SQL, converts them to and from JSON, and reports what changed\nbetween two releases.")
set(tool_package ovix-contracts)
set(runtime_package lib${PROJECT_NAME}${OVIX_ABI_VERSION})
set(development_package lib${PROJECT_NAME}-dev)

# Runtime and development have files of an architecture only below a folder or with a name of it, all others are the
# same in each, if the libraries lie in such a folder (they do with the prefix /usr). cpack has no setting for such
# fields (for this one since CMake 3.31): they follow the section.
set(same_on_every_architecture "")
if(CMAKE_LIBRARY_ARCHITECTURE AND CMAKE_INSTALL_LIBDIR MATCHES "(^|/)${CMAKE_LIBRARY_ARCHITECTURE}$")
  set(same_on_every_architecture "\nMulti-Arch: same")
endif()

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${runtime_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION "libs${same_on_every_architecture}")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
if(OVIX_PACKED_RELOCATIONS)
  # The first that reads them. dpkg looks at the symbols alone, which older ones have too.
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "libc6 (>= 2.36)")
endif()
# The dependency that users of the library get.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
file(WRITE "${PROJECT_BINARY_DIR}/debian/triggers" "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA "${PROJECT_BINARY_DIR}/debian/triggers")
# Whatever the umask of who configures.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME ${development_package})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION "libdevel${same_on_every_architecture}")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "${runtime_package} (= ${PROJECT_VERSION}), libprotobuf-dev (>= 3.21), libprotobuf-dev (<< 3.22)")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME ${tool_package})
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOL_PACKAGE_SHLIBDEPS ON)
# Where the library lies that the tool needs: it is in no package yet that dpkg knows.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}/library")
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "${runtime_package} (>= ${PROJECT_VERSION})")

# --- What each package contains and needs, and the licences of all of it in Debian's format.

find_program(OVIX_DPKG dpkg)
if(OVIX_DPKG)
  execute_process(COMMAND "${OVIX_DPKG}" --print-architecture
    OUTPUT_VARIABLE CPACK_DEBIAN_PACKAGE_ARCHITECTURE OUTPUT_STRIP_TRAILING_WHITESPACE)
else()
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE "${CMAKE_SYSTEM_PROCESSOR}")
  ovix_packages_miss("dpkg was not found, which makes Debian's packages; pack on Debian")
endif()

set(protobuf "protobuf|${Protobuf_VERSION}|BSD-3-Clause")
set(library "${runtime_package}|${PROJECT_VERSION}|LicenseRef-Ovix|DEPENDS_ON")
set(libstdcxx "libstdc++|NOASSERTION|GPL-3.0-or-later WITH GCC-exception-3.1|DEPENDS_ON")
# The descriptor set of the contracts has that of protobuf's own schema, which the options extend.
set(descriptor "descriptor.proto|${Protobuf_VERSION}|BSD-3-Clause|CONTAINS")
set(runtime_parts "${protobuf}|DEPENDS_ON" "${libstdcxx}")
set(development_parts "${library}" "${protobuf}|DEPENDS_ON" "${descriptor}")
if(OVIX_BUILD_TOOL)
  # Headers alone, compiled into the tool.
  find_package(CLI11 2 REQUIRED)
  find_package(RapidJSON 1.1 REQUIRED)
  find_package(OpenSSL 3 REQUIRED COMPONENTS Crypto)
  set(tool_parts "${library}" "${protobuf}|DEPENDS_ON" "${libstdcxx}" "${descriptor}"
    "OpenSSL|${OPENSSL_VERSION}|Apache-2.0|DEPENDS_ON"
    "CLI11|${CLI11_VERSION}|BSD-3-Clause|CONTAINS"
    "RapidJSON|${RapidJSON_VERSION}|MIT|CONTAINS")
endif()

# Sets <result> to the paragraph of a part: the text of its licence, of which the first line is the copyright.
function(ovix_copyright_paragraph result files license_file license comment)
  file(READ "${license_file}" text)
  string(REGEX MATCH "Copyright (\\([cC]\\) )?([^\n]*)" found "${text}")
  set(holder "${CMAKE_MATCH_2}")
  string(STRIP "${text}" text)
  string(REPLACE "\n" "\n " text "${text}")
  string(REPLACE "\n \n" "\n .\n" text "${text}")
  set(${result}
    "\nFiles: ${files}\nCopyright: ${holder}\nLicense: ${license}\n ${text}\nComment: ${comment}\n" PARENT_SCOPE)
endfunction()
ovix_copyright_paragraph(descriptor_copyright google/protobuf/descriptor.proto
  "${packages_dir}/licenses/protobuf.txt" "BSD-3-Clause~Google"
  "protobuf's own schema, in the descriptor set of the contracts.")
ovix_copyright_paragraph(cli11_copyright "CLI/*"
  "${packages_dir}/licenses/CLI11.txt" "BSD-3-Clause~Cincinnati"
  "CLI11's headers, compiled into /usr/bin/ovix-contracts.")
ovix_copyright_paragraph(rapidjson_copyright "rapidjson/*"
  "${packages_dir}/licenses/RapidJSON.txt" "Expat"
  "RapidJSON's headers, compiled into /usr/bin/ovix-contracts.")
file(READ "${PROJECT_SOURCE_DIR}/LICENSE" own_license)
string(STRIP "${own_license}" own_license)
string(REPLACE "\n" "\n " own_license "${own_license}")
string(REPLACE "\n \n" "\n .\n" own_license "${own_license}")
set(runtime_copyright "")
set(development_copyright "${descriptor_copyright}")
set(tool_copyright "${descriptor_copyright}${cli11_copyright}${rapidjson_copyright}")

# The changelog is of the day of the release: CHANGELOG.md's, or before it is there that of the build.
file(STRINGS "${PROJECT_SOURCE_DIR}/CHANGELOG.md" headings REGEX "^## [0-9]")
string(REPLACE "." "\\." version_pattern "${PROJECT_VERSION}")
if("${headings}" MATCHES "## ${version_pattern} \\(([0-9-]+)\\)")
  set(release_day "${CMAKE_MATCH_1}")
else()
  string(TIMESTAMP release_day "%Y-%m-%d" UTC)
endif()
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/CHANGELOG.md")
execute_process(COMMAND date --utc --rfc-email "--date=${release_day}"
  OUTPUT_VARIABLE release_time OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
find_program(OVIX_GZIP gzip)
if(NOT OVIX_GZIP)
  ovix_packages_miss("gzip was not found, which the packages' changelog needs; install it and run cmake again")
endif()

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  set(package "${${component}_package}")
  set(folder "${PROJECT_BINARY_DIR}/debian/${package}")
  file(WRITE "${folder}/copyright" "Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Upstream-Name: ${PROJECT_NAME}
Upstream-Contact: ${CPACK_DEBIAN_PACKAGE_MAINTAINER}

Files: *
Copyright: 2026 Ovix
License: proprietary
 ${own_license}
${${component}_copyright}")
  file(WRITE "${folder}/changelog"
    "${PROJECT_NAME} (${PROJECT_VERSION}) stable; urgency=medium\n\n  * See CHANGELOG.md of the sources.\n\n -- ${CPACK_DEBIAN_PACKAGE_MAINTAINER}  ${release_time}\n")
  if(OVIX_GZIP)
    execute_process(COMMAND "${OVIX_GZIP}" -9nf "${folder}/changelog" COMMAND_ERROR_IS_FATAL ANY)
    install(FILES "${folder}/copyright" "${folder}/changelog.gz"
      DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${package}" COMPONENT ${component})
  endif()
  ovix_package_sbom(${component} ${package} ${CPACK_DEBIAN_PACKAGE_ARCHITECTURE} "${${component}_parts}")
endforeach()

# --- The debug information. (cpack has packages of it too, but with the folder of the build in them.)

if(NOT OVIX_DEBUG_INFO STREQUAL "OFF")
  set(debug_section "debug\nAuto-Built-Package: debug-symbols")
  set(debugged runtime)
  # A folder that was given whole is not below the packages' prefix.
  cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_LIBDIR BASE_DIRECTORY "/*" OUTPUT_VARIABLE libraries)
  cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_BINDIR BASE_DIRECTORY "/*" OUTPUT_VARIABLE programs)
  set(CPACK_OVIX_DEBUG_FILES "runtime${libraries}/lib${PROJECT_NAME}.so.${PROJECT_VERSION}|runtime_debug")
  set(CPACK_DEBIAN_RUNTIME_DEBUG_PACKAGE_SECTION "${debug_section}${same_on_every_architecture}")
  if(OVIX_BUILD_TOOL)
    list(APPEND debugged tool)
    list(APPEND CPACK_OVIX_DEBUG_FILES "tool${programs}/ovix-contracts|tool_debug")
    set(CPACK_DEBIAN_TOOL_DEBUG_PACKAGE_SECTION "${debug_section}")
  endif()
  foreach(component IN LISTS debugged)
    set(package "${${component}_package}")
    string(TOUPPER "${component}_debug" debug)
    list(APPEND CPACK_COMPONENTS_ALL ${component}_debug)
    set(CPACK_COMPONENT_${debug}_DESCRIPTION "debug symbols for ${package}")
    set(CPACK_DEBIAN_${debug}_PACKAGE_NAME ${package}-dbgsym)
    set(CPACK_DEBIAN_${debug}_PACKAGE_DEPENDS "${package} (= ${PROJECT_VERSION})")
    list(APPEND CPACK_OVIX_DEBUG_PACKAGES "${component}_debug|${package}")
  endforeach()
endif()
