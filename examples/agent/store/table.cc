#include "store/table.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "ovix/telemetry/contract/storage/state_change_utils.pb.h"
#include "ovix/telemetry/contract/storage/storage_options.pb.h"
#include "store/json.h"

namespace ovix::agent {
namespace {

namespace storage = ovix::telemetry::contract::storage;
using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

ColumnKind KindOf(const FieldDescriptor* field) {
  if (field->is_repeated()) return ColumnKind::kJson;
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_MESSAGE:
      return ColumnKind::kJson;
    case FieldDescriptor::CPPTYPE_STRING:
      return field->type() == FieldDescriptor::TYPE_BYTES ? ColumnKind::kBlob : ColumnKind::kText;
    case FieldDescriptor::CPPTYPE_FLOAT:
    case FieldDescriptor::CPPTYPE_DOUBLE:
      return ColumnKind::kReal;
    default:
      return ColumnKind::kInteger;
  }
}

int64_t IntegerValue(const Message& record, const FieldDescriptor* field) {
  const Reflection* reflection = record.GetReflection();
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

void BindReal(const Message& record, const FieldDescriptor* field, Statement& statement,
              int parameter) {
  const Reflection* reflection = record.GetReflection();
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

[[noreturn]] void Contradiction(const Descriptor* record, const std::string& what) {
  throw StoreError(record->full_name() + ": " + what + "; mend the options in its schema");
}

}  // namespace

const std::string& PersistanceType(const Descriptor* descriptor) {
  return descriptor->options().GetExtension(storage::persistance).type();
}

const char* Column::Type() const {
  switch (kind) {
    case ColumnKind::kInteger:
      return "INTEGER";
    case ColumnKind::kReal:
      return "REAL";
    case ColumnKind::kBlob:
      return "BLOB";
    default:
      return "TEXT";
  }
}

std::string Column::Definition() const {
  return Quoted(name()) + " " + Type() + (key ? " NOT NULL" : "");
}

void Column::Bind(const Message& record, Statement& statement, int parameter) const {
  const Reflection* reflection = record.GetReflection();
  if (!field->is_repeated() && field->has_presence() && !reflection->HasField(record, field)) {
    if (key) throw StoreError(field->full_name() + ": a key column must have a value");
    statement.BindNull(parameter);
    return;
  }
  switch (kind) {
    case ColumnKind::kInteger:
      return statement.Bind(parameter, IntegerValue(record, field));
    case ColumnKind::kReal:
      return BindReal(record, field, statement, parameter);
    case ColumnKind::kText: {
      std::string scratch;
      return statement.Bind(
          parameter, std::string_view(reflection->GetStringReference(record, field, &scratch)));
    }
    case ColumnKind::kBlob: {
      std::string scratch;
      return statement.BindBlob(parameter, reflection->GetStringReference(record, field, &scratch));
    }
    case ColumnKind::kJson:
      return statement.Bind(parameter, std::string_view(FieldToJson(record, field)));
  }
}

void Column::Read(const Statement& row, int column, Message& record) const {
  const Reflection* reflection = record.GetReflection();
  const int type = row.Type(column);
  if (type == SQLITE_NULL) return;
  bool fits = false;
  switch (kind) {
    case ColumnKind::kInteger:
      fits = type == SQLITE_INTEGER && SetInteger(record, field, row.Integer(column));
      break;
    case ColumnKind::kReal:
      fits = ReadReal(row, column, field, record);
      break;
    case ColumnKind::kText:
    case ColumnKind::kBlob:
      fits = type == (kind == ColumnKind::kText ? SQLITE_TEXT : SQLITE_BLOB) &&
             (kind == ColumnKind::kBlob || IsUtf8(row.Bytes(column)));
      if (fits) reflection->SetString(&record, field, std::string(row.Bytes(column)));
      break;
    case ColumnKind::kJson:
      fits = type == SQLITE_TEXT && FieldFromJson(row.Bytes(column), field, record);
      break;
  }
  if (!fits) throw StoreError("column " + name() + " does not hold what its field can");
}

Table::Table(const Message& prototype) : prototype(&prototype) {
  const Descriptor* descriptor = record();
  const auto& options = descriptor->options().GetExtension(storage::persistance);
  name = options.table().name().empty() ? descriptor->name() : options.table().name();
  database = options.database().name();
  max_rows = options.table().max_rows();
  max_time_days = options.table().max_time_days();
  state = options.type() == "State";

  for (int i = 0; i < descriptor->field_count(); ++i) {
    const FieldDescriptor* field = descriptor->field(i);
    const bool is_key = field->options().GetExtension(storage::column).constraint().pk();
    columns.push_back({field, KindOf(field), is_key});
    if (is_key) key.push_back(columns.back());
    if (field->name() == "time" && columns.back().kind == ColumnKind::kText) time = field;
  }
  std::sort(key.begin(), key.end(),
            [](const Column& a, const Column& b) { return a.field->number() < b.field->number(); });

  if (!state && options.type() != "Historical") {
    Contradiction(descriptor, "\"" + options.type() + "\" is no type of table");
  }
  if (database.empty()) Contradiction(descriptor, "a table without a database");
  if (state && key.empty()) Contradiction(descriptor, "a \"State\" table without a key");
  if ((max_rows != 0 || max_time_days != 0) && time == nullptr) {
    Contradiction(descriptor, "limits without a text field `time` to tell which row is the oldest");
  }
}

bool Table::is_change_log() const {
  const auto holds = [&](const char* field_name, ColumnKind kind) {
    return std::any_of(columns.begin(), columns.end(), [&](const Column& column) {
      return column.name() == field_name && column.kind == kind;
    });
  };
  const FieldDescriptor* event = record()->FindFieldByName("event");
  return !state && event != nullptr && event->enum_type() == storage::StateEventType_descriptor() &&
         holds("time", ColumnKind::kText) && holds("type", ColumnKind::kText) &&
         holds("previous_state", ColumnKind::kText) && holds("current_state", ColumnKind::kText);
}

std::string Table::time_of(const Message& row) const {
  return time == nullptr ? "" : row.GetReflection()->GetString(row, time);
}

}  // namespace ovix::agent
