// What a release's tables are, and how they keep values: what a change breaks in stored databases.
#ifndef OVIX_TOOL_DIFF_TABLES_H_
#define OVIX_TOOL_DIFF_TABLES_H_

#include <google/protobuf/descriptor.h>

#include <set>
#include <vector>

#include "contracts/contracts.h"
#include "diff/differences.h"

namespace ovix::tool {

// What the tables of a release keep, and as what. Columns are found by name and hold numbers of
// enumerations; messages, lists and maps are one column of JSON, whose keys are names, and which
// holds names of enumerations.
class Stored {
 public:
  explicit Stored(const Contracts& contracts);
  // What these tables keep.
  explicit Stored(const std::vector<const Descriptor*>& tables);

  // Whether the field is a column that is not JSON.
  static bool IsPlainColumn(const FieldDescriptor* field);
  // Whether the field's value is in JSON.
  bool IsInJson(const FieldDescriptor* field) const;
  // Whether a table keeps the message's fields, each by its name.
  bool Keeps(const Descriptor* message) const;
  bool KeepsNumbersOf(const EnumDescriptor* enumeration) const;
  bool KeepsNamesOf(const EnumDescriptor* enumeration) const;
  // Whether a store-breaking difference is one of the fields and values that are kept. `pool` is
  // that of the tables; what is new in the other release is not found in it.
  bool Keeps(const Difference& difference, const google::protobuf::DescriptorPool& pool) const;

 private:
  void Reach(const FieldDescriptor* field);

  std::set<const Descriptor*> tables_;
  std::set<const Descriptor*> in_json_;
  std::set<const EnumDescriptor*> numbers_;
  std::set<const EnumDescriptor*> names_;
};

// The option persistance of a message of both releases.
void CompareTables(const Descriptor* before, const Descriptor* after, Differences& differences);

// What a release's tables must be, whatever they were before: one record for each name.
void CheckTables(const Contracts& newer, Differences& differences);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_DIFF_TABLES_H_
