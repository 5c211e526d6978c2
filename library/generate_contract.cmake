# Generates the C++ of one schema: runs protoc, makes the header self-contained, so that a program that
# includes it gets the export macro without defining anything, and has the source test text for plain
# ASCII before it asks the runtime whether it is UTF-8 (src/ovix/telemetry/contract/internal/utf8.h) and
# register extensions after every schema file (src/load_order.h).
# Header and source come into their place whole: a run that is interrupted leaves nothing half-written there. Two runs for
# one schema at once wait for each other.
#
# Called by the build as: cmake -D PROTOC= -D IMPORT_ROOT= -D PROTOBUF_IMPORTS= -D OUTPUT_ROOT=
#   -D STAGING_ROOT= -D SCHEMA= -P generate_contract.cmake

include("${CMAKE_CURRENT_LIST_DIR}/export_members.cmake")

string(REGEX REPLACE "\\.proto$" "" stem "${SCHEMA}")
cmake_path(GET SCHEMA PARENT_PATH folder)
file(MAKE_DIRECTORY "${STAGING_ROOT}/${folder}")
# Two builds of one folder at once stage the same files.
file(LOCK "${STAGING_ROOT}/${stem}.lock" GUARD PROCESS)
set(descriptors "${STAGING_ROOT}/${stem}.binpb")
execute_process(
  COMMAND "${PROTOC}"
    "--proto_path=${IMPORT_ROOT}"
    "--proto_path=${PROTOBUF_IMPORTS}"
    "--cpp_out=dllexport_decl=OVIX_TELEMETRY_DATA_CONTRACTS_EXPORT:${STAGING_ROOT}"
    --include_imports
    "--descriptor_set_out=${descriptors}"
    "${SCHEMA}"
  RESULT_VARIABLE failed)
if(failed)
  message(FATAL_ERROR "${SCHEMA}: protoc failed (${failed}); its message above names the line")
endif()
execute_process(
  COMMAND "${PROTOC}" "--proto_path=${PROTOBUF_IMPORTS}"
    --decode=google.protobuf.FileDescriptorSet google/protobuf/descriptor.proto
  INPUT_FILE "${descriptors}"
  OUTPUT_VARIABLE description
  RESULT_VARIABLE failed)
if(failed)
  message(FATAL_ERROR "${SCHEMA}: protoc failed (${failed}) to print its descriptor; its message above says why")
endif()
file(REMOVE "${descriptors}")
# Imports come first, the schema itself last.
string(FIND "\n${description}" "\nfile {" own REVERSE)
string(SUBSTRING "${description}" ${own} -1 own)

set(insertion_point "// @@protoc_insertion_point(includes)")

# Puts an #include at the insertion point of a generated file, whose text is in <text>.
macro(include_at_insertion_point include)
  string(FIND "${text}" "${insertion_point}" found)
  if(found EQUAL -1)
    message(FATAL_ERROR "${SCHEMA}: protoc left no \"${insertion_point}\" to include ${include} at; adapt library/generate_contract.cmake to it")
  endif()
  string(REPLACE "${insertion_point}" "#include \"${include}\"\n${insertion_point}" text "${text}")
endmacro()

# Sets <count> to how often a pattern occurs in a string.
function(count_matches count pattern text)
  string(REGEX REPLACE "[][;]" "" text "${text}")
  string(REGEX MATCHALL "${pattern}" matches "${text}")
  list(LENGTH matches matches)
  set(${count} ${matches} PARENT_SCOPE)
endfunction()

file(READ "${STAGING_ROOT}/${stem}.pb.h" text)
include_at_insertion_point("ovix/telemetry/contract/export.h")
count_matches(messages "(^|\n) *(message_type|nested_type) {\n" "${own}")
count_matches(map_entries "(^|\n) *map_entry: true\n" "${own}")
math(EXPR messages "${messages} - ${map_entries}")
ovix_export_members("${SCHEMA}" ${messages} text)
set(header "${text}")

# Where text is parsed and where it is serialized, as protoc writes it.
file(READ "${STAGING_ROOT}/${stem}.pb.cc" text)
include_at_insertion_point("ovix/telemetry/contract/internal/utf8.h")
include_at_insertion_point("load_order.h")
set(extension "::PROTOBUF_NAMESPACE_ID::internal::ExtensionIdentifier<")
string(REPLACE "PROTOBUF_ATTRIBUTE_INIT_PRIORITY2 ${extension}" "OVIX_INIT_EXTENSION ${extension}" text "${text}")
count_matches(registered "OVIX_INIT_EXTENSION ${extension}" "${text}")
count_matches(extensions "(^|\n) *extension {\n" "${own}")
if(NOT registered EQUAL extensions)
  message(FATAL_ERROR "${SCHEMA}: it has ${extensions} extensions, but ${registered} were found in what protoc writes; adapt library/generate_contract.cmake to it")
endif()
string(REGEX REPLACE
  "::_pbi::InlineGreedyStringParser\\(str, ptr, ctx\\);\n( *)CHK_\\(ptr\\);\n *CHK_\\(::_pbi::VerifyUTF8\\(str, (\"[^\"]*\")\\)\\);"
  "::ovix::telemetry::contract::internal::ReadUtf8(str, ptr, ctx, \\2);\n\\1CHK_(ptr);"
  text "${text}")
string(REPLACE "::PROTOBUF_NAMESPACE_ID::internal::WireFormatLite::VerifyUtf8String("
  "::ovix::telemetry::contract::internal::VerifyUtf8String(" text "${text}")
set(source "${text}")

# Each string field is parsed in one place and serialized in one. Those of a map's entries are parsed by the
# runtime; extensions are read and written by it.
set(rest " *number: [0-9]+\n *label: LABEL_[A-Z]+\n *type: TYPE_")
count_matches(strings "field {\n *name: \"[^\"]*\"\n${rest}STRING\n" "${own}")
set(entry "field {\n *name: \"key\"\n${rest}[^{}]*}\n *field {\n *name: \"value\"\n${rest}[^{}]*}\n *options {\n *map_entry: true")
string(REGEX MATCHALL "${entry}" entries "${own}")
count_matches(in_entries "type: TYPE_STRING\n" "${entries}")
math(EXPR parsed "${strings} - ${in_entries}")
count_matches(reads "::ovix::telemetry::contract::internal::ReadUtf8\\(" "${source}")
count_matches(writes "::ovix::telemetry::contract::internal::VerifyUtf8String\\(" "${source}")
if(NOT reads EQUAL parsed OR NOT writes EQUAL strings)
  message(FATAL_ERROR "${SCHEMA}: its ${strings} string fields are parsed in ${parsed} places and serialized in ${strings}, but ${reads} and ${writes} were found in what protoc writes; adapt library/generate_contract.cmake to it")
endif()

# The schema and all that it imports, for make and ninja. (protoc can list them too, but it escapes nothing.)
string(REGEX MATCHALL "(^|\n)file {\n *name: \"[^\"]*\"" files "${description}")
set(rule "${OUTPUT_ROOT}/${stem}.pb.cc:")
foreach(file IN LISTS files)
  string(REGEX REPLACE ".*\"(.*)\"" "\\1" file "${file}")
  set(path "${IMPORT_ROOT}/${file}")
  if(NOT EXISTS "${path}")
    set(path "${PROTOBUF_IMPORTS}/${file}")
  endif()
  string(APPEND rule "\n${path}")
endforeach()
string(REPLACE "$" "$$" rule "${rule}")
string(REGEX REPLACE "([ #])" "\\\\\\1" rule "${rule}")
string(REPLACE "\n" " \\\n " rule "${rule}")

file(WRITE "${STAGING_ROOT}/${stem}.pb.h" "${header}")
file(WRITE "${STAGING_ROOT}/${stem}.pb.cc" "${source}")
file(WRITE "${STAGING_ROOT}/${stem}.pb.d" "${rule}\n")
foreach(suffix IN ITEMS .pb.h .pb.cc .pb.d)
  file(RENAME "${STAGING_ROOT}/${stem}${suffix}" "${OUTPUT_ROOT}/${stem}${suffix}")
endforeach()
