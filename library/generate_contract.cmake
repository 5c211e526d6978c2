# Generates the C++ of one schema: runs protoc and makes the header self-contained, so that whoever
# includes it gets the export macro without defining anything.
#
# Called by the build as: cmake -D PROTOC= -D IMPORT_ROOT= -D PROTOBUF_IMPORTS= -D OUTPUT_ROOT=
#   -D SCHEMA= -P generate_contract.cmake

string(REGEX REPLACE "\\.proto$" "" stem "${SCHEMA}")
execute_process(
  COMMAND "${PROTOC}"
    "--proto_path=${IMPORT_ROOT}"
    "--proto_path=${PROTOBUF_IMPORTS}"
    "--cpp_out=dllexport_decl=OVIX_TELEMETRY_DATA_CONTRACTS_EXPORT:${OUTPUT_ROOT}"
    "--dependency_out=${OUTPUT_ROOT}/${stem}.pb.d"
    "${SCHEMA}"
  RESULT_VARIABLE failed)
if(failed)
  message(FATAL_ERROR "${SCHEMA}: protoc failed; its message above names the line")
endif()

set(header "${OUTPUT_ROOT}/${stem}.pb.h")
set(insertion_point "// @@protoc_insertion_point(includes)")
file(READ "${header}" text)
string(FIND "${text}" "${insertion_point}" found)
if(found EQUAL -1)
  message(FATAL_ERROR "${header}: protoc left no \"${insertion_point}\" to put the export macro at")
endif()
string(REPLACE "${insertion_point}"
  "#include \"ovix/telemetry/contract/export.h\"\n${insertion_point}" text "${text}")
file(WRITE "${header}" "${text}")
