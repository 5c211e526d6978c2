#include "contracts/facts.h"
#include "show/show.h"
#include "show/types.h"
#include "terminal/format.h"

namespace ovix::tool {
namespace {

class JsonView {
 public:
  explicit JsonView(const Contracts& contracts) : contracts_(contracts) {}

  std::string Show(const Descriptor* message) {
    Types types;
    types.Collect(message);
    json_.BeginObject();
    AddMessage(message);
    AddTypes(types, message);
    return json_.EndObject().Text();
  }

  std::string Show(const FieldDescriptor* field) {
    Types types;
    types.Collect(field);
    json_.BeginObject()
        .Add("kind", "field")
        .Add("message", field->containing_type()->full_name())
        .Add("schema", field->file()->name())
        .Key("field");
    AddField(field);
    AddTypes(types, nullptr);
    return json_.EndObject().Text();
  }

  std::string Show(const EnumDescriptor* enumeration) {
    json_.BeginObject();
    AddEnum(enumeration);
    return json_.EndObject().Text();
  }

 private:
  // All but the one that is shown.
  void AddTypes(const Types& types, const Descriptor* shown) {
    json_.Key("types").BeginArray();
    for (const Descriptor* part : types.messages) {
      if (part == shown) continue;
      json_.BeginObject();
      AddMessage(part);
      json_.EndObject();
    }
    json_.EndArray().Key("enums").BeginArray();
    for (const EnumDescriptor* enumeration : types.enums) {
      json_.BeginObject();
      AddEnum(enumeration);
      json_.EndObject();
    }
    json_.EndArray();
  }

  template <typename AnyDescriptor>
  void AddUsers(const AnyDescriptor* type) {
    json_.Key("used_in").BeginArray();
    for (const FieldDescriptor* user : contracts_.UsersOf(type)) json_.Value(user->full_name());
    json_.EndArray();
  }

  void AddMessage(const Descriptor* message) {
    const Comment comment = contracts_.CommentOf(message);
    const Kind kind = KindOf(message);
    json_.Add("name", message->full_name())
        .Add("kind", KindText(kind))
        .Add("schema", message->file()->name())
        .Add("comment", comment.text);
    if (kind == Kind::kTable) {
      const TableOptions table = TableOptionsOf(message);
      json_.Add("table", table.table)
          .Add("database", table.database)
          .Add("type", table.type)
          .Add("max_rows", table.max_rows)
          .Add("max_time_days", table.max_time_days)
          .Add("database_max_size_mb", contracts_.MaxSizeMb(table.database));
      json_.Key("key").BeginArray();
      for (const FieldDescriptor* field : table.key) json_.Value(field->name());
      json_.EndArray();
      const auto feeds = contracts_.FeedsOf(message);
      for (const bool same_data : {false, true}) {
        json_.Key(same_data ? "same_data_in" : "feeds").BeginArray();
        const Descriptor* last = nullptr;
        for (const Feed& feed : feeds) {
          if (feed.same_data != same_data || feed.payload == last) continue;
          json_.Value(feed.payload->full_name());
          last = feed.payload;
        }
        json_.EndArray();
      }
    }
    if (kind == Kind::kPayload) {
      const PayloadOptions payload = PayloadOptionsOf(message);
      json_.Add("gun", payload.gun).Add("version", payload.version);
    }
    if (kind == Kind::kMarker) {
      json_.Add("database_max_size_mb", contracts_.MaxSizeMb(message->name()));
    }
    json_.Key("sources").BeginArray();
    for (const Source& source : comment.sources) {
      json_.BeginObject().Add("name", source.name).Add("words", source.words).EndObject();
    }
    json_.EndArray();
    AddUsers(message);
    json_.Key("fields").BeginArray();
    for (int i = 0; i < message->field_count(); ++i) AddField(message->field(i));
    json_.EndArray();
  }

  void AddField(const FieldDescriptor* field) {
    json_.BeginObject()
        .Add("number", field->number())
        .Add("name", field->name())
        .Add("type", TypeText(field));
    if (field->message_type() != nullptr && !field->is_map()) {
      json_.Add("type_name", field->message_type()->full_name());
    }
    if (field->enum_type() != nullptr) json_.Add("type_name", field->enum_type()->full_name());
    json_.Add("presence", PresenceText(field)).Add("key", IsKey(field));
    if (field->real_containing_oneof() != nullptr) {
      json_.Add("oneof", field->real_containing_oneof()->name());
    }
    json_.Add("comment", contracts_.CommentOf(field).text);
    AddFacts(json_, FactsOf(contracts_, field));
    json_.Key("sources").BeginArray();
    for (const Origin& origin : contracts_.OriginsOf(field)) {
      json_.BeginObject().Add("name", origin.name);
      if (origin.field != nullptr) json_.Add("field", origin.field->full_name());
      json_.Add("words", origin.words).EndObject();
    }
    json_.EndArray().EndObject();
  }

  void AddEnum(const EnumDescriptor* enumeration) {
    json_.Add("name", enumeration->full_name())
        .Add("kind", "enumeration")
        .Add("schema", enumeration->file()->name())
        .Add("comment", contracts_.CommentOf(enumeration).text);
    AddUsers(enumeration);
    json_.Key("values").BeginArray();
    for (int i = 0; i < enumeration->value_count(); ++i) {
      const EnumValueDescriptor* value = enumeration->value(i);
      json_.BeginObject()
          .Add("number", value->number())
          .Add("name", value->name())
          .Add("comment", contracts_.CommentOf(value).text)
          .EndObject();
    }
    json_.EndArray();
  }

  const Contracts& contracts_;
  JsonWriter json_;
};

}  // namespace

std::string ShownAsJson(const Contracts& contracts, const Descriptor* message) {
  return JsonView(contracts).Show(message);
}

std::string ShownAsJson(const Contracts& contracts, const FieldDescriptor* field) {
  return JsonView(contracts).Show(field);
}

std::string ShownAsJson(const Contracts& contracts, const EnumDescriptor* enumeration) {
  return JsonView(contracts).Show(enumeration);
}

}  // namespace ovix::tool
