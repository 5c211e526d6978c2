#include "lint/rules.h"

#include <cstddef>

namespace ovix::tool::lint {
namespace {

// clang-format off
constexpr RuleText kRules[] = {
    {Rule::kProtoc, "protoc", "a schema is UTF-8, and compiles",
     "classes are generated from it"},
    {Rule::kPlace, "place", "a schema is under ovix/telemetry/contract/storage/ or ovix/telemetry/contract/upload/",
     "its folder says whether it is stored or sent"},
    {Rule::kSchemaName, "schema-name", "the path of a schema can be that of a file on Windows, and differs from others in more than case",
     "a tree with two names for one file cannot be checked out there"},
    {Rule::kContractName, "contract-name", "the full names of messages and enumerations of packages differ in more than case",
     "each has a page in the catalogue, which is a file of this name"},
    {Rule::kExtension, "extension", "the options persistance, column and cdm are those of this tool",
     "it reads the options of the schemas by them; with others only comments and names are checked"},
    {Rule::kTablePlace, "table-place", "a table is in a schema of storage/",
     "upload schemas say what is sent"},
    {Rule::kTableType, "table-type", "a table's type is \"State\" or \"Historical\"",
     "the store keeps the rows of each by other rules"},
    {Rule::kTableKey, "table-key", "a State table has a key; a message that is not a table has none",
     "a State table has one row per key"},
    {Rule::kTableTime, "table-time", "a table has a string `time`, number 1, or 2 after a key, without optional",
     "the store finds the rows that are too old by it"},
    {Rule::kTableColumn, "table-column", "a column is not named _rowid_ or _arrival, and differs from others in more than case",
     "SQLite and the store have these names for columns of their own; SQLite ignores case"},
    {Rule::kTableName, "table-name", "a database has one table of a name, whatever its case, and none named _store or sqlite_...",
     "a table holds the rows of one record; these names are those of the store and of SQLite"},
    {Rule::kTableDatabase, "table-database", "a table names its database, and ovix/telemetry/contract/storage/db.proto has a marker for it, unless the release had none",
     "a misspelt name is a database of its own, without a size limit"},
    {Rule::kChangeLog, "change-log", "a table with a StateEventType is Historical, has no key, and exactly the fields time, type, event, previous_state and current_state, numbers 1 to 5",
     "the store writes change logs itself"},
    {Rule::kDatabaseName, "database-name", "the name of a database has letters, digits, _ and - only, and differs from others in more than case",
     "a database is a file of this name, on Windows too"},
    {Rule::kDatabaseSize, "database-size", "only the marker of a database sets its size",
     "the store reads it there"},
    {Rule::kDatabaseMarker, "database-marker", "markers are in ovix/telemetry/contract/storage/db.proto, and each is that of a table's database",
     "a marker elsewhere, or with a misspelt name, limits nothing that anybody finds"},
    {Rule::kPayloadName, "payload-name", "what has gun or version is a message of a package whose name ends in AsCDM",
     "the uploader and the lists know a payload by that"},
    {Rule::kPayloadPlace, "payload-place", "a payload is in a schema of upload/",
     "storage schemas say what is kept"},
    {Rule::kPayloadOptions, "payload-options", "a message named ...AsCDM has gun and version",
     "the cloud distinguishes payloads by the gun, and their contents by the version"},
    {Rule::kPayloadGun, "payload-gun", "a gun is com.ovix.cdm.domain.telemetry.type.eventDetail.category.CATEGORY.version.MAJOR, with the version's major number, and names one payload",
     "the cloud finds the contract of a payload by it"},
    {Rule::kPayloadVersion, "payload-version", "a version is three numbers, perhaps with -alpha.N or -beta.N",
     "readers order contents by it"},
    {Rule::kPayloadTable, "payload-table", "a payload is not a table",
     "records are kept, payloads are sent"},
    {Rule::kPayloadEnvelope, "payload-envelope", "a payload begins with string version = 1, without optional",
     "readers find the version before they know the contract"},
    {Rule::kComment, "comment", "messages, enumerations and extensions have a comment; facts keep to the grammar of docs/contracts.md and fit the field; every quantity has a unit",
     "people and programs read meaning, units and values there"},
    {Rule::kPrivacy, "privacy", "a field whose name looks personal has a class; a payload's field has at least that of the record's field that it comes from, a change log that of its rows",
     "redaction and the list of personal data go by it"},
    {Rule::kLineage, "lineage", "a message of an upload schema names the stored record that it comes from, or none, and so does each field that is not a field of that record; the line says what changes on the way, the unit included",
     "readers of payloads, and who answers for personal data, follow it to the record"},
};
// clang-format on

constexpr bool RulesAreInOrder() {
  size_t place = 0;
  for (const RuleText& rule : kRules) {
    if (static_cast<size_t>(rule.rule) != place++) return false;
  }
  return place == static_cast<size_t>(Rule::kLineage) + 1;
}
static_assert(RulesAreInOrder(), "one text for each rule, in the order of Rule");

}  // namespace

std::span<const RuleText> Rules() { return kRules; }

const RuleText& TextOf(Rule rule) { return kRules[static_cast<size_t>(rule)]; }

}  // namespace ovix::tool::lint
