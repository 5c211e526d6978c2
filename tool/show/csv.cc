#include "contracts/facts.h"
#include "show/show.h"
#include "show/types.h"
#include "terminal/format.h"

namespace ovix::tool {

std::string ShownAsCsv(const Contracts& contracts, const Descriptor* message) {
  Types types;
  types.Collect(message);
  std::string csv = CsvLine({"message", "number", "field", "type", "presence", "key", "comment",
                             "sources", "unit", "values", "format", "privacy"});
  for (const Descriptor* part : types.messages) {
    for (int i = 0; i < part->field_count(); ++i) {
      const FieldDescriptor* field = part->field(i);
      const FieldFacts facts = FactsOf(contracts, field);
      std::string sources;
      for (const Origin& origin : contracts.OriginsOf(field)) {
        sources += (sources.empty() ? "" : "; ") + OriginText(origin);
      }
      csv += CsvLine({part->full_name(), std::to_string(field->number()), field->name(),
                      TypeText(field), PresenceText(field), IsKey(field) ? "true" : "false",
                      Reflowed(contracts.CommentOf(field).text), sources, facts.unit, facts.values,
                      facts.format, PrivacyText(facts.privacy)});
    }
  }
  return csv;
}

std::string ShownAsCsv(const Contracts& contracts, const EnumDescriptor* enumeration) {
  std::string csv = CsvLine({"enumeration", "number", "value", "comment"});
  for (int i = 0; i < enumeration->value_count(); ++i) {
    const EnumValueDescriptor* value = enumeration->value(i);
    csv += CsvLine({enumeration->full_name(), std::to_string(value->number()), value->name(),
                    Reflowed(contracts.CommentOf(value).text)});
  }
  return csv;
}

}  // namespace ovix::tool
