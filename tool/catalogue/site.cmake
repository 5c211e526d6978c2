# The catalogue itself, which the tool writes when it is built and which is installed as documentation.

# Under Wine and on Windows itself the tool finds its DLLs by a path.
set(environment "")
if(WIN32)
  set(dll_folders "$<TARGET_FILE_DIR:ovix::telemetry-data-contracts>"
    "$<TARGET_FILE_DIR:protobuf::libprotobuf>")
  if(CMAKE_CROSSCOMPILING)
    execute_process(COMMAND "${CMAKE_CXX_COMPILER}" -print-file-name=libstdc++-6.dll
      OUTPUT_VARIABLE compiler_folder OUTPUT_STRIP_TRAILING_WHITESPACE)
    cmake_path(GET compiler_folder PARENT_PATH compiler_folder)
    list(APPEND dll_folders "${compiler_folder}" /usr/x86_64-w64-mingw32/lib)
    list(TRANSFORM dll_folders PREPEND "Z:")
    set(environment "${CMAKE_COMMAND}" -E env WINEDEBUG=-all "WINEDLLOVERRIDES=mscoree,mshtml="
      "WINEPREFIX=${CMAKE_BINARY_DIR}/wine")
    string(REPLACE ";" "\\;" wine_path "${dll_folders}")
    list(APPEND environment "WINEPATH=${wine_path}")
  else()
    list(TRANSFORM dll_folders PREPEND "--modify;PATH=path_list_prepend:")
    set(environment "${CMAKE_COMMAND}" -E env ${dll_folders} --)
  endif()
endif()

set(catalogue "${CMAKE_CURRENT_BINARY_DIR}/catalogue")
add_custom_command(
  OUTPUT "${catalogue}/index.html"
  COMMAND ${environment} ${CMAKE_CROSSCOMPILING_EMULATOR} "$<TARGET_FILE:ovix-contracts>"
    catalogue --out "${catalogue}" --docs ../docs
  DEPENDS ovix-contracts
  COMMENT "Writing the catalogue"
  VERBATIM)
add_custom_target(ovix-catalogue ALL DEPENDS "${catalogue}/index.html")

include(GNUInstallDirs)
# Optional: the library can be built and installed without the tool that writes it.
install(DIRECTORY "${catalogue}"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/ovix-telemetry-data-contracts"
  COMPONENT development
  OPTIONAL)
