# The tests that say something about the DLL alone. They run under Wine, which the toolchain file
# names as the emulator.
find_program(wine "${CMAKE_CROSSCOMPILING_EMULATOR}" NO_CMAKE_FIND_ROOT_PATH)
if(NOT wine)
  message(FATAL_ERROR "${CMAKE_CROSSCOMPILING_EMULATOR} was not found, which runs the tests; install it (Debian: apt-get install wine wine64), or run scripts/setup windows")
endif()

execute_process(COMMAND "${CMAKE_CXX_COMPILER}" -print-file-name=libstdc++-6.dll
  OUTPUT_VARIABLE compiler_folder OUTPUT_STRIP_TRAILING_WHITESPACE)
cmake_path(GET compiler_folder PARENT_PATH compiler_folder)
set(dll_folders "$<TARGET_FILE_DIR:ovix-telemetry-data-contracts>"
  "$<TARGET_FILE_DIR:protobuf::libprotobuf>"
  "${compiler_folder}" /usr/x86_64-w64-mingw32/lib)
set(wine_path "")
foreach(folder IN LISTS dll_folders)
  string(APPEND wine_path "Z:${folder}\\;")
endforeach()
# Wine takes names of files and the words of a command line as the locale says.
set(wine_environment
  "LC_ALL=C.UTF-8" "WINEDEBUG=-all" "WINEDLLOVERRIDES=mscoree,mshtml=" "WINEPREFIX=${CMAKE_BINARY_DIR}/wine" "WINEPATH=${wine_path}")
foreach(test IN ITEMS library-tests agent-tests tool-tests-1 tool-tests-2)
  if(TEST ${test})
    set_tests_properties(${test} PROPERTIES ENVIRONMENT "${wine_environment}" TIMEOUT 900)
  endif()
endforeach()

# The same for scripts that call Wine themselves.
string(REPLACE "\\;" ";" plain_wine_path "${wine_path}")
file(GENERATE OUTPUT "${CMAKE_BINARY_DIR}/wine-environment" CONTENT
  "export LC_ALL=C.UTF-8 WINEDEBUG=-all WINEDLLOVERRIDES=mscoree,mshtml=\nexport WINEPREFIX='${CMAKE_BINARY_DIR}/wine'\nexport WINEPATH='${plain_wine_path}'\n")

# Wine's services are started once, with no test's output: a test that starts them lasts as long as they do.
set(quietly "</dev/null >/dev/null 2>&1")
add_test(NAME wine-starts COMMAND sh -c "mkdir -p \"$WINEPREFIX\" && wineserver --kill ${quietly}; wineserver --persistent ${quietly} && wine wineboot ${quietly}")
add_test(NAME wine-ends COMMAND wineserver --kill)
set_tests_properties(wine-starts wine-ends PROPERTIES ENVIRONMENT "${wine_environment}" TIMEOUT 120)
set_tests_properties(wine-starts PROPERTIES FIXTURES_SETUP wine)
set_tests_properties(wine-ends PROPERTIES FIXTURES_CLEANUP wine)

# The agent on what Wine says of the machine.
add_test(NAME agent-on-windows COMMAND "${CMAKE_CURRENT_SOURCE_DIR}/windows/agent_on_windows_test.sh"
  "$<TARGET_FILE:ovix-agent>" "${wine}")
set_tests_properties(agent-on-windows PROPERTIES ENVIRONMENT "${wine_environment}" TIMEOUT 300)

add_executable(load-by-hand windows/load_by_hand.cc)
target_compile_features(load-by-hand PRIVATE cxx_std_20)
# Linked with nothing of the library's, not even the compiler's runtime: what is loaded is the DLL's.
target_link_options(load-by-hand PRIVATE -static)
target_compile_options(load-by-hand PRIVATE -Wno-cast-function-type)
target_link_libraries(load-by-hand PRIVATE ovix-warnings)
add_dependencies(load-by-hand ovix-telemetry-data-contracts)
add_test(NAME load-unload-load COMMAND load-by-hand)
set_tests_properties(load-unload-load PROPERTIES
  ENVIRONMENT "${wine_environment}" TIMEOUT 60)
# The runtime that stays has the schemas of the first load and ends the program at the second.
add_test(NAME load-unload-load-with-the-runtime-kept COMMAND load-by-hand keep)
set_tests_properties(load-unload-load-with-the-runtime-kept PROPERTIES
  ENVIRONMENT "${wine_environment}" TIMEOUT 60
  PASS_REGULAR_EXPRESSION "File already exists in database: ovix/telemetry/contract/")

# The script that gets the sources of what is linked, with apt's sources of others than Debian next to Debian's.
add_test(NAME windows-libraries COMMAND "${CMAKE_CURRENT_SOURCE_DIR}/windows/windows_libraries_test.sh"
  "${PROJECT_SOURCE_DIR}/scripts/windows-libraries")

# What MSVC demands of exported classes and of those who use them, as clang knows it.
find_program(OVIX_TESTS_CLANG clang++ NO_CMAKE_FIND_ROOT_PATH)
if(OVIX_TESTS_CLANG)
  add_test(NAME msvc-rules COMMAND "${CMAKE_CURRENT_SOURCE_DIR}/windows/msvc_rules_test.sh" "${PROJECT_SOURCE_DIR}"
    "${PROJECT_BINARY_DIR}/library/generated" "${OVIX_TESTS_CLANG}" "${CMAKE_CXX_COMPILER}"
    $<TARGET_PROPERTY:protobuf::libprotobuf,INTERFACE_INCLUDE_DIRECTORIES>)
else()
  message(STATUS "clang++ was not found: the test msvc-rules is left out; run scripts/setup windows, which installs it")
endif()

if(TARGET ovix-stack-guard)
  add_executable(stack-guard windows/stack_guard.cc)
  target_compile_features(stack-guard PRIVATE cxx_std_20)
  target_link_libraries(stack-guard PRIVATE ovix-warnings ovix-hardening)
  add_test(NAME stack-guard COMMAND stack-guard)
  set_tests_properties(stack-guard PROPERTIES
    ENVIRONMENT "${wine_environment};WINEDLLOVERRIDES=mscoree,mshtml,winedbg.exe=" TIMEOUT 60)
endif()

ovix_test_load_order()
target_compile_options(load-order PRIVATE -Wno-cast-function-type)
set_tests_properties(load-order PROPERTIES ENVIRONMENT "${wine_environment}" TIMEOUT 60)

get_target_property(runtime_import protobuf::libprotobuf IMPORTED_IMPLIB_RELEASE)
add_test(NAME other-release COMMAND "${CMAKE_CURRENT_SOURCE_DIR}/interface/other_release_test.sh"
  "$<TARGET_FILE:ovix-telemetry-data-contracts>" "${PROJECT_SOURCE_DIR}"
  "${PROJECT_BINARY_DIR}/library/generated" "${CMAKE_NM}" "${CMAKE_CXX_COMPILER}"
  "-I${protobuf_imports}" -DPROTOBUF_USE_DLLS "${runtime_import}")
set_tests_properties(other-release PROPERTIES ENVIRONMENT "${wine_environment}" TIMEOUT 600)

# The zip, unpacked elsewhere, with a consumer built against it.
add_test(NAME zip COMMAND "${CMAKE_CURRENT_SOURCE_DIR}/packages/zip_test.sh"
  "${CMAKE_BINARY_DIR}" "${CMAKE_COMMAND}" "${CMAKE_TOOLCHAIN_FILE}" "${Protobuf_DIR}")
set_tests_properties(zip PROPERTIES ENVIRONMENT "${wine_environment}" TIMEOUT 300)

set_target_properties(ovix-contracts-generated ovix-contracts-frame ovix-telemetry-contract-tables PROPERTIES
  EXPORT_COMPILE_COMMANDS ON)
if(TARGET ovix-contracts)
  get_property(tool_targets DIRECTORY "${PROJECT_SOURCE_DIR}/tool" PROPERTY BUILDSYSTEM_TARGETS)
  set_target_properties(${tool_targets} PROPERTIES EXPORT_COMPILE_COMMANDS ON)
endif()
add_test(NAME dll COMMAND "${CMAKE_CURRENT_SOURCE_DIR}/windows/dll_test.sh"
  "$<TARGET_FILE:ovix-telemetry-data-contracts>"
  "$<TARGET_PROPERTY:ovix::telemetry-data-contracts,OVIX_DESCRIPTOR_SET>"
  "${CMAKE_OBJDUMP}" "${CMAKE_NM}" "${CMAKE_STRIP}" "${PROJECT_VERSION}"
  "${OVIX_ABI_VERSION}" "${PROJECT_BINARY_DIR}")

# What only the zip needs is asked for when it is packed.
add_test(NAME packages-configured COMMAND "${CMAKE_CURRENT_SOURCE_DIR}/packages/packages_configured_windows_test.sh"
  "${PROJECT_SOURCE_DIR}" "${CMAKE_COMMAND}" "${CMAKE_GENERATOR}" "${PROJECT_BINARY_DIR}")
