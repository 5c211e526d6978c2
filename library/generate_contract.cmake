# Generates the C++ of one schema: runs protoc, makes the header self-contained, so that whoever
# includes it gets the export macro without defining anything, and has the source test text for plain
# ASCII before it asks the runtime whether it is UTF-8 (src/utf8.h) and register extensions after every
# schema file (src/load_order.h).
#
# Called by the build as: cmake -D PROTOC= -D IMPORT_ROOT= -D PROTOBUF_IMPORTS= -D OUTPUT_ROOT=
#   -D SCHEMA= -P generate_contract.cmake

include("${CMAKE_CURRENT_LIST_DIR}/export_members.cmake")

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

set(insertion_point "// @@protoc_insertion_point(includes)")

# Puts an #include at the insertion point of a generated file, whose text is in <text>.
macro(include_at_insertion_point file include)
  string(FIND "${text}" "${insertion_point}" found)
  if(found EQUAL -1)
    message(FATAL_ERROR "${file}: protoc left no \"${insertion_point}\" to include ${include} at")
  endif()
  string(REPLACE "${insertion_point}" "#include \"${include}\"\n${insertion_point}" text "${text}")
endmacro()

set(header "${OUTPUT_ROOT}/${stem}.pb.h")
file(READ "${header}" text)
include_at_insertion_point("${header}" "ovix/telemetry/contract/export.h")
ovix_export_members("${header}" text)
file(WRITE "${header}" "${text}")

# Where text is parsed and where it is serialized, as protoc writes it. A test looks for what was missed.
set(source "${OUTPUT_ROOT}/${stem}.pb.cc")
file(READ "${source}" text)
include_at_insertion_point("${source}" "utf8.h")
include_at_insertion_point("${source}" "load_order.h")
string(REPLACE "PROTOBUF_ATTRIBUTE_INIT_PRIORITY2 ::PROTOBUF_NAMESPACE_ID::internal::ExtensionIdentifier<"
  "OVIX_INIT_EXTENSION ::PROTOBUF_NAMESPACE_ID::internal::ExtensionIdentifier<" text "${text}")
string(REGEX REPLACE
  "::_pbi::InlineGreedyStringParser\\(str, ptr, ctx\\);\n( *)CHK_\\(ptr\\);\n *CHK_\\(::_pbi::VerifyUTF8\\(str, (\"[^\"]*\")\\)\\);"
  "::ovix::telemetry::contract::internal::ReadUtf8(str, ptr, ctx, \\2);\n\\1CHK_(ptr);"
  text "${text}")
string(REPLACE "::PROTOBUF_NAMESPACE_ID::internal::WireFormatLite::VerifyUtf8String("
  "::ovix::telemetry::contract::internal::VerifyUtf8String(" text "${text}")
file(WRITE "${source}" "${text}")
