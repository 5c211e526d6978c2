# Tests of what the tool exports: its content on every platform, by validators of their own on Linux.

# A schema with every kind of field, as the tool reads another release, comments included.
set(export_set "${CMAKE_CURRENT_BINARY_DIR}/generated/export_test.binpb")
add_custom_command(
  OUTPUT "${export_set}"
  COMMAND protobuf::protoc "--proto_path=${CMAKE_CURRENT_SOURCE_DIR}/tool"
    "--proto_path=${PROJECT_SOURCE_DIR}" "--proto_path=${protobuf_imports}"
    --include_imports --include_source_info "--descriptor_set_out=${export_set}" export_test.proto
  DEPENDS tool/export_test.proto ovix-generated-contracts
  VERBATIM)
target_sources(tool-tests PRIVATE tool/export_test.cc "${export_set}")
target_compile_definitions(tool-tests PRIVATE OVIX_TESTS_EXPORT_SET="${export_set}")

if(NOT WIN32 AND NOT CMAKE_CROSSCOMPILING AND NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize" AND TARGET ovix-agent)
  add_test(NAME export-by-validators COMMAND node "${CMAKE_CURRENT_SOURCE_DIR}/tool/export_test.mjs"
    $<TARGET_FILE:ovix-contracts> $<TARGET_FILE:ovix-agent> "${export_set}"
    "${PROJECT_SOURCE_DIR}/compat/1.0.0/corpus.binpb")
  set_tests_properties(export-by-validators PROPERTIES TIMEOUT 600)
endif()
