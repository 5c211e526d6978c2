// The fields of messages and the columns of tables as properties of the Open Data Contract
// Standard.
#ifndef OVIX_TOOL_EXPORT_ODCS_PROPERTIES_H_
#define OVIX_TOOL_EXPORT_ODCS_PROPERTIES_H_

#include <string>
#include <vector>

#include "contracts/contracts.h"
#include "contracts/facts.h"
#include "ovix/telemetry/contract/tables.h"
#include "terminal/format.h"

namespace ovix::tool {

// What the standard has no key for: an item of customProperties.
struct CustomProperty {
  std::string name;
  std::vector<std::string> values;
  bool is_list = false;  // else the first value is alone
  std::string description;
};
// Writes the key customProperties, if there is any.
void WriteCustom(JsonWriter& json, const std::vector<CustomProperty>& custom);

// Writes the key description, if the comment has prose.
void WriteDescription(JsonWriter& json, const Comment& comment);

class OdcsProperties {
 public:
  // Both must outlive it.
  OdcsProperties(const Contracts& contracts, JsonWriter& json)
      : contracts_(contracts), json_(json) {}

  // Write the key properties: the fields of a payload, or the columns of a table.
  void Write(const Descriptor* message);
  void Write(const telemetry::contract::tables::Table& table);

 private:
  using Column = telemetry::contract::tables::Column;

  // `column` and its place in the key, from 1, where the field is a column of its own.
  void WriteField(const FieldDescriptor* field, const Column* column = nullptr, int key = 0);
  void WriteType(const FieldDescriptor* field, const FieldFacts& facts, const Column* column);
  void WriteOptions(const FieldDescriptor* field, const FieldFacts& facts, bool is_number_of_enum);
  void WriteValidValues(const FieldDescriptor* field, const FieldFacts& facts,
                        bool is_number_of_enum);
  void WriteOrigins(const FieldDescriptor* field);
  void WriteParts(const Descriptor* message);
  std::vector<CustomProperty> CustomOf(const FieldDescriptor* field, const FieldFacts& facts,
                                       const Column* column) const;

  const Contracts& contracts_;
  JsonWriter& json_;
  std::vector<const Descriptor*> holders_;  // of what is written, the outermost first
};

}  // namespace ovix::tool

#endif  // OVIX_TOOL_EXPORT_ODCS_PROPERTIES_H_
