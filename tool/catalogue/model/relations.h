// How the declarations of the contracts relate, for all pages: what feeds what, what is in which
// database, and what a word of a comment names.
#ifndef OVIX_TOOL_CATALOGUE_MODEL_RELATIONS_H_
#define OVIX_TOOL_CATALOGUE_MODEL_RELATIONS_H_

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "contracts/contracts.h"
#include "contracts/personal.h"
#include "ovix/telemetry/contract/tables.h"

namespace ovix::tool {

// As long-lived as the contracts. Not for use by two threads at once.
class Relations {
 public:
  // A field of a payload that a field of a record fills, and what changes on the way.
  using Target = std::pair<const FieldDescriptor*, std::string>;

  // Throws Error where the options of tables contradict themselves.
  explicit Relations(const Contracts& contracts);

  const Contracts& contracts() const { return contracts_; }
  const PersonalData& personal() const { return personal_; }
  // The messages and enumerations at package level: each has a page.
  const std::vector<const Descriptor*>& pages() const { return pages_; }
  const std::vector<const EnumDescriptor*>& enum_pages() const { return enum_pages_; }
  // The tables of each database, by name.
  const std::map<std::string, std::vector<const Descriptor*>>& databases() const {
    return databases_;
  }

  // The address of a word of a comment that names a message, an enumeration or a field; empty where
  // it names none or more than one. `scope` is the full name of what has the comment.
  std::string Resolve(const std::string& scope, const std::string& word) const;

  // Those that feed or are fed; with `same_data` those that only have the same data.
  std::vector<const Descriptor*> PayloadsOf(const Descriptor* table, bool same_data = false) const;
  std::vector<const Descriptor*> TablesOf(const Descriptor* payload, bool same_data = false) const;
  // The fields of payloads that come from a field of a record.
  const std::vector<Target>& GoesTo(const FieldDescriptor* field) const;

  // How a store keeps the records. `record` is a table.
  const telemetry::contract::tables::Table& TableOf(const Descriptor* record) const {
    return tables_.Get(record);
  }
  // The table that keeps a table's changes; null where none does.
  const Descriptor* ChangeLogOf(const Descriptor* table) const;
  // The tables whose changes a table keeps.
  std::vector<const Descriptor*> LoggedIn(const Descriptor* log) const;

 private:
  const Contracts& contracts_;
  const PersonalData personal_;
  telemetry::contract::tables::Catalogue tables_;
  std::vector<const Descriptor*> pages_;
  std::vector<const EnumDescriptor*> enum_pages_;
  std::map<std::string, std::vector<const Descriptor*>> by_name_;
  std::map<std::string, std::vector<const Descriptor*>> databases_;
  // Not to be iterated: it has no order.
  std::map<const FieldDescriptor*, std::vector<Target>> goes_to_;
  std::map<const Descriptor*, std::vector<const Descriptor*>> logged_in_;  // by change log
};

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CATALOGUE_MODEL_RELATIONS_H_
