#include "contracts/facts.h"
#include "show/show.h"
#include "show/types.h"
#include "terminal/format.h"

namespace ovix::tool {

namespace {

std::string Heading() {
  return CsvLine({"message", "number", "field", "type", "presence", "key", "comment", "sources",
                  "unit", "values", "format", "privacy"});
}

std::string Line(const Contracts& contracts, const FieldDescriptor* field) {
  const FieldFacts facts = FactsOf(contracts, field);
  std::string sources;
  for (const Origin& origin : contracts.OriginsOf(field)) {
    sources += (sources.empty() ? "" : "; ") + OriginText(origin);
  }
  return CsvLine({field->containing_type()->full_name(), std::to_string(field->number()),
                  field->name(), TypeText(field), PresenceText(field),
                  IsKey(field) ? "true" : "false", Reflowed(contracts.CommentOf(field).text),
                  sources, facts.unit, facts.values, facts.format, PrivacyText(facts.privacy)});
}

std::string Lines(const Contracts& contracts, const Types& types) {
  std::string csv;
  for (const Descriptor* part : types.messages) {
    for (int i = 0; i < part->field_count(); ++i) csv += Line(contracts, part->field(i));
  }
  return csv;
}

}  // namespace

std::string ShownAsCsv(const Contracts& contracts, const Descriptor* message) {
  Types types;
  types.Collect(message);
  return Heading() + Lines(contracts, types);
}

std::string ShownAsCsv(const Contracts& contracts, const FieldDescriptor* field) {
  Types types;
  types.Collect(field);
  return Heading() + Line(contracts, field) + Lines(contracts, types);
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
