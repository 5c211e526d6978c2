#include "catalogue/parts/texts.h"

#include "terminal/error.h"
#include "terminal/format.h"

namespace ovix::tool {
namespace {

namespace tables = telemetry::contract::tables;

constexpr uint64_t kSeed = 1;  // that of `sample` where none is given

// A line may be wider than the page: then the block is scrolled, which the keyboard must be able to
// do. site.js adds a button that copies it.
std::string Block(const std::string& id, const std::string& name, const std::string& note,
                  const std::string& text) {
  if (text.empty()) return "";
  return "<details class=\"text\"><summary>" + name + " <span>" + note +
         "</span></summary>\n<pre id=\"page-" + id +
         "\" tabindex=\"0\" role=\"group\" aria-label=\"" + name + "\">" + Escaped(text) +
         "</pre></details>\n";
}

std::string Section(const std::string& blocks) {
  return blocks.empty()
             ? ""
             : "<section class=\"texts\" aria-label=\"As text\">\n" + blocks + "</section>\n";
}

}  // namespace

Texts::Texts(const Relations& relations)
    : relations_(relations),
      schemas_(relations.contracts()),
      sampler_(relations.contracts(), kSeed),
      messages_(relations.contracts()) {}

std::string Texts::Sql(const Descriptor* table) const {
  std::string sql;
  for (const std::string& statement : tables::CreateSql(relations_.TableOf(table))) {
    sql += statement + ";\n";
  }
  return sql;
}

std::string Texts::Sample(const Descriptor* message) {
  google::protobuf::Message& sample = messages_.Empty(message);
  sampler_.Fill(sample, 0);
  std::string text;
  try {
    json_.Print(sample, text);
  } catch (const Error&) {
    return "";  // a type that has a JSON form of its own, which the tool does not write
  }
  return text;
}

std::string Texts::Html(const Descriptor* message) {
  const Kind kind = KindOf(message);
  const bool is_written =
      kind != Kind::kOption && kind != Kind::kMarker && message->field_count() != 0;
  return Section((kind == Kind::kTable ? Block("sql", "SQL", "for SQLite", Sql(message)) : "") +
                 (is_written ? Block("sample", "JSON sample", "synthetic", Sample(message)) : "") +
                 Block("schema", "Schema", "protobuf", schemas_.Of(message)));
}

std::string Texts::Html(const EnumDescriptor* enumeration) {
  return Section(Block("schema", "Schema", "protobuf", schemas_.Of(enumeration)));
}

}  // namespace ovix::tool
