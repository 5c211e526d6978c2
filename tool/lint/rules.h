// What schemas are held against: one table.
#ifndef OVIX_TOOL_LINT_RULES_H_
#define OVIX_TOOL_LINT_RULES_H_

#include <span>

namespace ovix::tool::lint {

enum class Rule {
  kProtoc,
  kPlace,
  kSchemaName,
  kContractName,
  kExtension,
  kTablePlace,
  kTableType,
  kTableKey,
  kTableTime,
  kTableColumn,
  kTableName,
  kTableDatabase,
  kChangeLog,
  kDatabaseName,
  kDatabaseSize,
  kDatabaseMarker,
  kPayloadName,
  kPayloadPlace,
  kPayloadOptions,
  kPayloadGun,
  kPayloadVersion,
  kPayloadTable,
  kPayloadEnvelope,
  kComment,
  kPrivacy,
  kLineage,
};

struct RuleText {
  Rule rule;
  const char* id;    // stable, for programs: "table-key"
  const char* asks;  // what is right
  const char* why;
};

// Every rule, in the order of Rule. The rules of --against are those of diff/rules.h.
std::span<const RuleText> Rules();
const RuleText& TextOf(Rule rule);

}  // namespace ovix::tool::lint

#endif  // OVIX_TOOL_LINT_RULES_H_
