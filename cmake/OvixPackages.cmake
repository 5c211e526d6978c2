# What cpack makes: on Windows a zip that works wherever it is unpacked, with the runtime DLLs that the
# library needs, and a second one with the debug information; on Debian packages of the runtime, for
# development and of the tool, and of the debug information of each.
# Everything that is written lies below PROJECT_BINARY_DIR. Where something is missing that only a package
# needs, the build goes on; cpack then stops and names it (ovix_packages_miss).
set(CPACK_PACKAGE_NAME ${PROJECT_NAME})
set(CPACK_PACKAGE_VENDOR Ovix)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_CHECKSUM SHA256)
set(CPACK_OUTPUT_CONFIG_FILE "${PROJECT_BINARY_DIR}/CPackConfig.cmake")
set(CPACK_SOURCE_OUTPUT_CONFIG_FILE "${PROJECT_BINARY_DIR}/CPackSourceConfig.cmake")
set(CPACK_INSTALL_CMAKE_PROJECTS "${PROJECT_BINARY_DIR};${PROJECT_NAME};ALL;/")
set(packages_dir "${CMAKE_CURRENT_LIST_DIR}/packages")
set(CPACK_PROJECT_CONFIG_FILE "${packages_dir}/check_parts.cmake")
set(CPACK_PRE_BUILD_SCRIPTS "${packages_dir}/before_packing.cmake")
# Without debug information to keep, files are stripped while they are installed.
if(OVIX_DEBUG_INFO STREQUAL "OFF")
  set(CPACK_STRIP_FILES ON)
endif()

set(CPACK_OVIX_OBJCOPY "${CMAKE_OBJCOPY}")
set(CPACK_OVIX_READELF "${CMAKE_READELF}")
set(CPACK_OVIX_STRIP "${CMAKE_STRIP}")
set(CPACK_OVIX_MISSING "")
function(ovix_packages_miss line)
  set(CPACK_OVIX_MISSING "${CPACK_OVIX_MISSING}${line}\n" PARENT_SCOPE)
endfunction()

if(NOT OVIX_INSTALL)
  ovix_packages_miss("OVIX_INSTALL is OFF, so that there is nothing to pack; set OVIX_INSTALL=ON")
endif()

# Writes the list of what is in a package and what that needs, and installs it with the component.
# PARTS are as write_sbom.cmake takes them. The name says the architecture: packages of two can be installed side by side.
function(ovix_package_sbom component package architecture parts)
  set(sbom "${PROJECT_BINARY_DIR}/sbom/${package}_${architecture}.spdx.json")
  list(JOIN parts "\n" parts)
  file(GENERATE OUTPUT "${sbom}.parts" CONTENT "${parts}\n")
  add_custom_command(OUTPUT "${sbom}"
    COMMAND "${CMAKE_COMMAND}" -D "OUTPUT=${sbom}" -D "NAME=${package}" -D "VERSION=${PROJECT_VERSION}"
      -D "ARCHITECTURE=${architecture}" -D "PARTS=${sbom}.parts" -P "${packages_dir}/write_sbom.cmake"
    DEPENDS ${ARGN} "${sbom}.parts" "${packages_dir}/write_sbom.cmake"
    COMMENT "Writing ${package}_${architecture}.spdx.json"
    VERBATIM)
  add_custom_target(ovix-sbom-${component} ALL DEPENDS "${sbom}")
  install(FILES "${sbom}" DESTINATION "${CMAKE_INSTALL_DATADIR}/${PROJECT_NAME}/sbom" COMPONENT ${component})
endfunction()

if(WIN32)
  include("${packages_dir}/windows.cmake")
elseif(UNIX AND NOT APPLE)
  include("${packages_dir}/debian.cmake")
endif()

include(CPack)
