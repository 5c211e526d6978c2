#include "store/values.h"

#include <bit>
#include <cmath>

#include "store/json.h"

namespace ovix::agent {
namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

int64_t IntegerValue(const Message& record, const Reflection* reflection,
                     const FieldDescriptor* field) {
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_BOOL:
      return reflection->GetBool(record, field);
    case FieldDescriptor::CPPTYPE_INT32:
      return reflection->GetInt32(record, field);
    case FieldDescriptor::CPPTYPE_UINT32:
      return reflection->GetUInt32(record, field);
    case FieldDescriptor::CPPTYPE_INT64:
      return reflection->GetInt64(record, field);
    case FieldDescriptor::CPPTYPE_UINT64:
      return static_cast<int64_t>(reflection->GetUInt64(record, field));
    default:
      return reflection->GetEnumValue(record, field);
  }
}

// Sets an integer field; false where the number does not fit its type.
bool SetInteger(Message& record, const FieldDescriptor* field, int64_t value) {
  const Reflection* reflection = record.GetReflection();
  const bool fits_int32 = value == static_cast<int32_t>(value);
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_BOOL:
      reflection->SetBool(&record, field, value != 0);
      return value == 0 || value == 1;
    case FieldDescriptor::CPPTYPE_INT32:
      reflection->SetInt32(&record, field, static_cast<int32_t>(value));
      return fits_int32;
    case FieldDescriptor::CPPTYPE_UINT32:
      reflection->SetUInt32(&record, field, static_cast<uint32_t>(value));
      return value == static_cast<uint32_t>(value);
    case FieldDescriptor::CPPTYPE_INT64:
      reflection->SetInt64(&record, field, value);
      return true;
    case FieldDescriptor::CPPTYPE_UINT64:
      reflection->SetUInt64(&record, field, static_cast<uint64_t>(value));
      return true;
    default:
      reflection->SetEnumValue(&record, field, static_cast<int>(value));
      return fits_int32;
  }
}

// The bits of a float or double, most significant byte first.
template <typename Bits>
std::string BigEndian(Bits bits) {
  std::string bytes(sizeof(Bits), '\0');
  for (auto byte = bytes.rbegin(); byte != bytes.rend(); ++byte, bits >>= 8) {
    *byte = static_cast<char>(bits & 0xff);
  }
  return bytes;
}

template <typename Bits>
Bits FromBigEndian(std::string_view bytes) {
  Bits bits = 0;
  for (char byte : bytes) bits = (bits << 8) | static_cast<unsigned char>(byte);
  return bits;
}

void BindReal(const Message& record, const Reflection* reflection, const FieldDescriptor* field,
              Statement& statement, int parameter) {
  const bool is_float = field->cpp_type() == FieldDescriptor::CPPTYPE_FLOAT;
  const float single = is_float ? reflection->GetFloat(record, field) : 0;
  const double value = is_float ? single : reflection->GetDouble(record, field);
  if (!std::isnan(value) && !(value == 0 && std::signbit(value))) {
    statement.Bind(parameter, value);
  } else {
    statement.BindBlob(parameter, is_float ? BigEndian(std::bit_cast<uint32_t>(single))
                                           : BigEndian(std::bit_cast<uint64_t>(value)));
  }
}

// False where the row holds neither a number nor the bits of one.
bool ReadReal(const Statement& row, int column, const FieldDescriptor* field, Message& record) {
  const Reflection* reflection = record.GetReflection();
  const bool is_float = field->cpp_type() == FieldDescriptor::CPPTYPE_FLOAT;
  if (row.Type(column) == SQLITE_FLOAT || row.Type(column) == SQLITE_INTEGER) {
    if (is_float) {
      reflection->SetFloat(&record, field, static_cast<float>(row.Real(column)));
    } else {
      reflection->SetDouble(&record, field, row.Real(column));
    }
    return true;
  }
  const std::string_view bytes = row.Bytes(column);
  if (row.Type(column) != SQLITE_BLOB || bytes.size() != (is_float ? 4 : 8)) return false;
  if (is_float) {
    reflection->SetFloat(&record, field, std::bit_cast<float>(FromBigEndian<uint32_t>(bytes)));
  } else {
    reflection->SetDouble(&record, field, std::bit_cast<double>(FromBigEndian<uint64_t>(bytes)));
  }
  return true;
}

void BindColumn(const Column& column, const Message& record, const Reflection* reflection,
                Statement& statement, int parameter) {
  const FieldDescriptor* field = column.field;
  if (!field->is_repeated() && field->has_presence() && !reflection->HasField(record, field)) {
    if (column.key) throw StoreError(field->full_name() + ": a key column must have a value");
    statement.BindNull(parameter);
    return;
  }
  switch (column.kind) {
    case ColumnKind::kInteger:
      return statement.Bind(parameter, IntegerValue(record, reflection, field));
    case ColumnKind::kReal:
      return BindReal(record, reflection, field, statement, parameter);
    case ColumnKind::kText:
    case ColumnKind::kBlob: {
      std::string scratch;
      const std::string& value = reflection->GetStringReference(record, field, &scratch);
      const bool is_text = column.kind == ColumnKind::kText;
      if (&value != &scratch) return statement.BindView(parameter, value, is_text);
      return is_text ? statement.Bind(parameter, std::string_view(value))
                     : statement.BindBlob(parameter, value);
    }
    case ColumnKind::kJson:
      return statement.Bind(parameter, std::string_view(FieldToJson(record, field)));
  }
}

}  // namespace

void Bind(const std::vector<Column>& columns, const Message& record, Statement& statement,
          int first) {
  // Once for the row: each call checks whether the type is initialized.
  const Reflection* reflection = record.GetReflection();
  for (const Column& column : columns) BindColumn(column, record, reflection, statement, first++);
}

void Read(const Column& column, const Statement& row, int place, Message& record) {
  const FieldDescriptor* field = column.field;
  const Reflection* reflection = record.GetReflection();
  const int type = row.Type(place);
  if (type == SQLITE_NULL) return;
  bool fits = false;
  switch (column.kind) {
    case ColumnKind::kInteger:
      fits = type == SQLITE_INTEGER && SetInteger(record, field, row.Integer(place));
      break;
    case ColumnKind::kReal:
      fits = ReadReal(row, place, field, record);
      break;
    case ColumnKind::kText:
    case ColumnKind::kBlob:
      fits = type == (column.kind == ColumnKind::kText ? SQLITE_TEXT : SQLITE_BLOB) &&
             (column.kind == ColumnKind::kBlob || IsUtf8(row.Bytes(place)));
      if (fits) reflection->SetString(&record, field, std::string(row.Bytes(place)));
      break;
    case ColumnKind::kJson:
      fits = type == SQLITE_TEXT && FieldFromJson(row.Bytes(place), field, record);
      break;
  }
  if (!fits) throw StoreError("column " + column.name() + " does not hold what its field can");
}

std::unique_ptr<Message> NewRow(const Table& table) {
  return std::unique_ptr<Message>(
      google::protobuf::MessageFactory::generated_factory()->GetPrototype(table.record)->New());
}

std::string TimeOf(const Table& table, const Message& row) {
  return table.time == nullptr ? "" : row.GetReflection()->GetString(row, table.time);
}

}  // namespace ovix::agent
