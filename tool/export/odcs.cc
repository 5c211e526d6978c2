#include "export/odcs.h"

#include <google/protobuf/descriptor.pb.h>

#include <algorithm>
#include <cstdint>
#include <set>

#include "contracts/facts.h"
#include "contracts/names.h"
#include "contracts/tables.h"
#include "diff/version.h"
#include "export/odcs_properties.h"
#include "export/urn.h"
#include "terminal/error.h"
#include "terminal/format.h"

namespace ovix::tool {
namespace {

namespace tables = telemetry::contract::tables;

// What every contract begins with.
void Begin(JsonWriter& json, const std::string& id, const std::string& name,
           const std::string& version, bool is_deprecated) {
  const auto read = ReadVersion(version);
  const bool is_draft = read && (read->IsPreRelease() || read->major.IsZero());
  json.BeginObject()
      .Add("apiVersion", "v3.1.0")
      .Add("kind", "DataContract")
      .Add("id", id)
      .Add("name", name)
      .Add("version", version)
      .Add("status", is_deprecated ? "deprecated"
                     : is_draft    ? "draft"
                                   : "active");
}

void AddPurpose(JsonWriter& json, const Comment& comment) {
  if (comment.text.empty()) return;
  json.Key("description").BeginObject().Add("purpose", Reflowed(comment.text)).EndObject();
}

// The messages that a lineage names, with its words where they are all the same.
void AddMessages(std::vector<CustomProperty>& custom, const char* name,
                 std::vector<std::string> messages, const std::string& description = "") {
  messages.erase(std::unique(messages.begin(), messages.end()), messages.end());
  if (!messages.empty()) custom.push_back({name, std::move(messages), true, description});
}

void AddTable(JsonWriter& json, const Contracts& contracts, const tables::Table& table) {
  json.BeginObject()
      .Add("name", table.name)
      .Add("physicalName", table.name)
      .Add("physicalType", "table")
      .Add("logicalType", "object");
  WriteDescription(json, contracts.CommentOf(table.record));
  OdcsProperties(contracts, json).Write(table);
  std::vector<CustomProperty> custom = {
      {"message", {table.record->full_name()}, false, ""},
      {"tableType", {TableOptionsOf(table.record).type}, false, ""},
      {"schemaFile", {table.record->file()->name()}, false, ""},
  };
  std::vector<std::string> fed, same;
  for (const Feed& feed : contracts.feeds()) {
    if (feed.record != table.record) continue;
    (feed.same_data ? same : fed).push_back(feed.payload->full_name());
  }
  AddMessages(custom, "feeds", fed, "The payloads that are filled from this table.");
  AddMessages(custom, "sameDataIn", same, "Payloads with the same data, from elsewhere.");
  WriteCustom(json, custom);
  json.EndObject();
}

void AddLimit(JsonWriter& json, uint32_t limit, const char* unit, const std::string& element,
              const char* description) {
  if (limit == 0) return;
  json.BeginObject().Add("property", "retention").Add("value", limit).Add("unit", unit);
  if (!element.empty()) json.Add("element", element);
  json.Add("description", description).EndObject();
}

}  // namespace

Odcs::Odcs(const Contracts& contracts) : contracts_(contracts), tables_(CatalogueOf(contracts)) {}

std::vector<std::string> Odcs::Databases() const {
  std::set<std::string> databases;
  for (const tables::Table& table : tables_.tables()) databases.insert(table.database);
  return {databases.begin(), databases.end()};
}

std::string Odcs::OfDatabase(const std::string& database) const {
  std::vector<const tables::Table*> own;
  for (const tables::Table& table : tables_.tables()) {
    if (table.database == database) own.push_back(&table);
  }
  if (own.empty()) {
    throw Error(database + ": no table is in a database of this name" +
                Suggestion(database, Databases()));
  }
  JsonWriter json;
  Begin(json, Urn("database:" + database), database, contracts_.release(), false);
  for (const Descriptor* message : contracts_.messages()) {
    if (KindOf(message) != Kind::kMarker || message->name() != database) continue;
    AddPurpose(json, contracts_.CommentOf(message));
    break;
  }
  json.Key("schema").BeginArray();
  for (const tables::Table* table : own) AddTable(json, contracts_, *table);
  json.EndArray().Key("slaProperties").BeginArray();
  AddLimit(json, tables_.MaxSizeMb(database), "MiB", "",
           "The whole database takes no more: the oldest rows go first.");
  for (const tables::Table* table : own) {
    AddLimit(json, table->max_time_days, "d", table->name + ".time", "Older rows are removed.");
    AddLimit(json, table->max_rows, "rows", table->name,
             "The table has no more rows: the oldest go first.");
  }
  json.EndArray();
  return json.EndObject().Text();
}

std::string Odcs::OfPayload(const Descriptor* payload) const {
  if (KindOf(payload) != Kind::kPayload) {
    const bool is_table = KindOf(payload) == Kind::kTable;
    throw Error(payload->full_name() + ": is " + (is_table ? "a table" : "not a payload") + "; " +
                (is_table ? "name its database, --database " + TableOptionsOf(payload).database
                          : "name a payload, or a database with --database"));
  }
  const PayloadOptions options = PayloadOptionsOf(payload);
  JsonWriter json;
  Begin(json, options.gun, ShortName(payload), options.version, payload->options().deprecated());
  AddPurpose(json, contracts_.CommentOf(payload));
  json.Key("schema").BeginArray().BeginObject();
  json.Add("name", ShortName(payload))
      .Add("physicalName", payload->full_name())
      .Add("physicalType", "message")
      .Add("logicalType", "object");
  WriteDescription(json, contracts_.CommentOf(payload));
  OdcsProperties(contracts_, json).Write(payload);
  std::vector<CustomProperty> custom = {{"schemaFile", {payload->file()->name()}, false, ""}};
  std::vector<std::string> fed, same;
  for (const Feed& feed : contracts_.feeds()) {
    if (feed.payload != payload) continue;
    (feed.same_data ? same : fed).push_back(feed.record->full_name());
  }
  AddMessages(custom, "fedBy", fed, "The tables whose rows fill the payload.");
  AddMessages(custom, "sameDataAs", same, "Tables with the same data, which do not fill it.");
  WriteCustom(json, custom);
  return json.EndObject().EndArray().EndObject().Text();
}

}  // namespace ovix::tool
