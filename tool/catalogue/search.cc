#include "catalogue/search.h"

#include <algorithm>
#include <map>

#include "catalogue/model/addresses.h"
#include "catalogue/parts/html.h"

namespace ovix::tool {

namespace {

// "identifier content": each once, the most sensitive first.
std::string ClassesOf(const std::vector<PersonalField>& fields) {
  std::string classes;
  for (const Privacy privacy : PrivacyClasses()) {
    if (std::any_of(fields.begin(), fields.end(),
                    [&](const PersonalField& field) { return field.privacy == privacy; })) {
      classes += (classes.empty() ? "" : " ") + std::string(PrivacyText(privacy));
    }
  }
  return classes;
}

}  // namespace

std::string SearchIndex(const Contracts& contracts, const PersonalData& personal) {
  std::map<std::string, size_t> places;
  std::string pages;
  std::string entries;
  const auto add = [&](char kind, const std::string& name, const std::string& href,
                       const std::string& context, std::string text,
                       const std::string& classes = "") {
    const std::string page = href.substr(0, href.find('#'));
    const auto [place, is_new] = places.try_emplace(page, places.size());
    if (is_new) pages += (pages.empty() ? "" : ",\n") + JsString(page);
    std::replace(text.begin(), text.end(), '\n', ' ');
    entries += (entries.empty() ? "[" : ",\n[") + JsString(std::string(1, kind)) + "," +
               JsString(name) + "," + std::to_string(place->second) + "," +
               JsString(AnchorOf(href)) + "," + JsString(context) + "," + JsString(text) +
               (classes.empty() ? "" : "," + JsString(classes)) + "]";
  };
  for (const Descriptor* message : contracts.messages()) {
    const Kind kind = KindOf(message);
    const std::string context = kind == Kind::kTable     ? TableOptionsOf(message).database
                                : kind == Kind::kPayload ? PayloadOptionsOf(message).gun
                                                         : message->file()->package();
    add(kind == Kind::kPart ? 'm' : KindText(kind)[0], ShortName(message), Href(message), context,
        Reflowed(contracts.CommentOf(message).text),
        kind == Kind::kTable || kind == Kind::kPayload ? ClassesOf(personal.In(message)) : "");
    for (int i = 0; i < message->field_count(); ++i) {
      const FieldDescriptor* field = message->field(i);
      add('f', field->name(), Href(field), ShortName(message),
          Reflowed(contracts.CommentOf(field).text),
          PrivacyText(FactsOf(contracts, field).privacy));
    }
  }
  for (const EnumDescriptor* enumeration : contracts.enums()) {
    add('e', ShortName(enumeration), Href(enumeration), enumeration->file()->package(),
        Reflowed(contracts.CommentOf(enumeration).text));
    for (int i = 0; i < enumeration->value_count(); ++i) {
      const EnumValueDescriptor* value = enumeration->value(i);
      add('v', value->name(), Href(value), ShortName(enumeration),
          Reflowed(contracts.CommentOf(value).text));
    }
  }
  return "window.ovixCatalogue = {\npages: [\n" + pages + "],\nentries: [\n" + entries + "]\n};\n";
}

}  // namespace ovix::tool
