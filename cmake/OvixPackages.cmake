# What cpack makes: on Windows a zip that works wherever it is unpacked, with the runtime DLLs that the
# library needs and their licences.
set(CPACK_PACKAGE_NAME ${PROJECT_NAME})
set(CPACK_PACKAGE_VENDOR Ovix)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_CHECKSUM SHA256)
set(CPACK_STRIP_FILES ON)

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

include(CPack)
