// The rules for comments, each with a line that names the fault and its fix.
#include <algorithm>
#include <array>
#include <cstddef>
#include <regex>

#include <google/protobuf/descriptor.pb.h>

#include "contracts/facts.h"

namespace ovix::tool {
namespace {

// In the order in which a comment has them.
constexpr std::array<std::string_view, 5> kKeys = {"Unit", "Values", "Format", "Privacy", "Source"};

constexpr std::string_view kWordsOfNoQuantity[] = {
    "id",         "ids",        "oid",         "rowid",     "index",   "instance", "number",
    "num",        "numbers",    "rank",        "priority",  "track",   "cylinder", "version",
    "revision",   "generation", "sku",         "code",      "opcode",  "type",     "status",
    "state",      "word",       "flag",        "flags",     "count",   "rows",     "slots",
    "partitions", "tracks",     "heads",       "cylinders", "sectors", "lanes",    "processors",
    "cores",      "shaders",    "connections", "commands",  "entries", "events",   "errors",
    "anomalies",  "crashes",    "shutdowns",   "found"};

bool NameShowsNoQuantity(std::string_view name) {
  if (name.starts_with("number_of_")) return true;
  const std::string_view last = name.substr(name.rfind('_') + 1);
  const auto words = WordsOfNoQuantity();
  return std::find(words.begin(), words.end(), last) != words.end();
}

bool ProseShowsNoQuantity(const std::string& text) {
  static const std::regex& pattern =
      *new std::regex("(Number of|Code|Identifier|Index|Flags|Version|Ratio)\\b[^]*");
  return std::regex_match(text, pattern);
}

// Names that hold personal data wherever they occur.
bool NameLooksPersonal(const std::string& name) {
  static const std::regex& pattern = *new std::regex(
      "(.*_)?(serial_number|mac_address|uuid|unique_id|user_id|user_name|latitude|longitude|geo_id|"
      "ct_number|c_t_number|network_name|w_lan_profile_name|network_name_(sha256_)?hash|"
      "file_path|file_name|module_path|install_path|install_folder|install_directory|"
      "window_title|host_name|tenant_name|tenant_id)");
  return std::regex_match(name, pattern);
}

bool IsStorage(const FileDescriptor* file) {
  return file->name().find("/storage/") != std::string::npos;
}

class Check {
 public:
  explicit Check(const Contracts& contracts) : contracts_(contracts) {}

  std::vector<CommentProblem> Run() {
    for (const FileDescriptor* file : contracts_.files()) {
      CheckKeys(file, contracts_.CommentOf(file), {});
      for (int i = 0; i < file->message_type_count(); ++i) CheckMessage(file->message_type(i));
      for (int i = 0; i < file->enum_type_count(); ++i) CheckEnum(file->enum_type(i));
      for (int i = 0; i < file->extension_count(); ++i) {
        CheckProse(file->extension(i));
        CheckField(file->extension(i));
      }
    }
    return std::move(problems_);
  }

 private:
  template <typename AnyDescriptor>
  void Add(const AnyDescriptor* descriptor, int line_of_comment, const std::string& what) {
    const FileDescriptor* file = FileOf(descriptor);
    const int line = contracts_.LineOf(descriptor);
    problems_.push_back(
        {file->name(), line == 0 ? 0 : line + line_of_comment, NameOf(descriptor) + ": " + what});
  }
  static const FileDescriptor* FileOf(const FileDescriptor* file) { return file; }
  static const FileDescriptor* FileOf(const EnumValueDescriptor* value) {
    return value->type()->file();
  }
  template <typename AnyDescriptor>
  static const FileDescriptor* FileOf(const AnyDescriptor* descriptor) {
    return descriptor->file();
  }
  static const std::string& NameOf(const FileDescriptor* file) { return file->name(); }
  template <typename AnyDescriptor>
  static const std::string& NameOf(const AnyDescriptor* descriptor) {
    return descriptor->full_name();
  }

  // The keys of a comment: known, allowed here, each once but Source, in their order, no prose
  // after.
  template <typename AnyDescriptor>
  void CheckKeys(const AnyDescriptor* descriptor, const Comment& comment,
                 const std::vector<std::string_view>& allowed) {
    size_t last = 0;
    std::vector<std::string_view> seen;
    for (const Fact& fact : comment.facts) {
      const auto known = std::find(kKeys.begin(), kKeys.end(), fact.key);
      if (known == kKeys.end()) {
        Add(descriptor, fact.line,
            "'" + fact.key +
                ":' is not a fact; use Unit, Values, Format, Privacy or Source, or "
                "write the sentence without a colon after its first word");
        continue;
      }
      const auto place = static_cast<size_t>(known - kKeys.begin());
      if (std::find(allowed.begin(), allowed.end(), fact.key) == allowed.end()) {
        Add(descriptor, fact.line, fact.key + " does not belong here; remove the line");
      } else if (fact.key != "Source" &&
                 std::find(seen.begin(), seen.end(), fact.key) != seen.end()) {
        Add(descriptor, fact.line, fact.key + " is given twice; keep one line");
      } else if (place < last) {
        Add(descriptor, fact.line,
            fact.key + " comes after " + std::string(kKeys[last]) +
                "; the order is Unit, Values, Format, Privacy, Source");
      }
      last = std::max(last, place);
      seen.push_back(*known);
    }
    if (!comment.misplaced.empty()) {
      Add(descriptor, comment.misplaced_line,
          "'" + comment.misplaced + "' comes after the facts; write prose before them");
    }
  }

  template <typename AnyDescriptor>
  void CheckProse(const AnyDescriptor* descriptor) {
    const std::string text = contracts_.CommentOf(descriptor).text;
    if (text.find(' ') == std::string::npos) {
      Add(descriptor, 0, "has no comment; say above it what it is");
    }
  }

  void CheckMessage(const Descriptor* message) {
    if (message->options().map_entry()) return;
    CheckProse(message);
    const bool is_upload = !IsStorage(message->file());
    CheckKeys(
        message, contracts_.CommentOf(message),
        is_upload ? std::vector<std::string_view>{"Source"} : std::vector<std::string_view>{});
    for (int i = 0; i < message->field_count(); ++i) CheckField(message->field(i));
    for (int i = 0; i < message->nested_type_count(); ++i) CheckMessage(message->nested_type(i));
    for (int i = 0; i < message->enum_type_count(); ++i) CheckEnum(message->enum_type(i));
  }

  void CheckEnum(const EnumDescriptor* enumeration) {
    CheckProse(enumeration);
    CheckKeys(enumeration, contracts_.CommentOf(enumeration), {});
    for (int i = 0; i < enumeration->value_count(); ++i) {
      const EnumValueDescriptor* value = enumeration->value(i);
      CheckKeys(value, contracts_.CommentOf(value), {});
    }
  }

  void CheckField(const FieldDescriptor* field) {
    const Comment comment = contracts_.CommentOf(field);
    const bool is_text = field->type() == FieldDescriptor::TYPE_STRING;
    std::vector<std::string_view> allowed = {"Privacy"};
    if (CanHaveUnit(field)) allowed.insert(allowed.end(), {"Unit", "Values"});
    if (is_text) allowed.push_back("Format");
    if (!IsStorage(field->file())) allowed.push_back("Source");
    CheckKeys(field, comment, allowed);

    FieldFacts facts;
    for (const Fact& fact : comment.facts) {
      if (ReadFact(fact, facts)) continue;
      Add(field, fact.line, "'" + fact.value + "' is not a value of " + fact.key + Fix(fact.key));
    }
    if (facts.unit_from == UnitFrom::kLine && facts.unit == UnitOfName(field->name())) {
      Add(field, LineOfFact(comment, "Unit"),
          "the name gives the unit " + facts.unit + " already; remove the line");
    }
    const bool has_unit = HasFact(comment, "Unit") || !UnitOfName(field->name()).empty();
    if (IsNumber(field) && !has_unit && facts.values.empty() &&
        !NameShowsNoQuantity(field->name()) && !ProseShowsNoQuantity(comment.text)) {
      Add(field, 0,
          "is a number without a unit; add a line Unit, or begin the comment with 'Number of', "
          "'Code', 'Identifier', 'Index', 'Flags', 'Version' or 'Ratio'");
    }
    CheckPrivacy(field, facts.privacy, LineOfFact(comment, "Privacy"));
  }

  void CheckPrivacy(const FieldDescriptor* field, Privacy privacy, int line) {
    const bool holds_data = field->message_type() == nullptr &&
                            field->type() != FieldDescriptor::TYPE_BOOL &&
                            KindOf(field->containing_type()) != Kind::kOption;
    if (privacy == Privacy::kNone && holds_data && NameLooksPersonal(field->name())) {
      Add(field, 0, "its name looks personal; add a line Privacy");
    }
    for (const Origin& origin : contracts_.OriginsOf(field)) {
      if (origin.field == nullptr) continue;
      const Privacy source = FactsOf(contracts_, origin.field).privacy;
      if (privacy < source) {
        Add(field, line,
            "is less sensitive than " + origin.field->full_name() +
                ", where it comes from; set Privacy: " + PrivacyText(source));
      }
    }
  }

  static bool HasFact(const Comment& comment, std::string_view key) {
    return std::any_of(comment.facts.begin(), comment.facts.end(),
                       [&](const Fact& fact) { return fact.key == key; });
  }

  static int LineOfFact(const Comment& comment, std::string_view key) {
    for (const Fact& fact : comment.facts) {
      if (fact.key == key) return fact.line;
    }
    return 0;
  }

  static std::string Fix(const std::string& key) {
    if (key == "Unit") return "; use a code of docs/contracts.md, or unspecified";
    if (key == "Format") return "; use a format of docs/contracts.md, or unspecified";
    if (key == "Privacy") return "; use identifier, location, content or interaction";
    return "; list \"words\" or numbers, separated by commas, with ... at the end of an open list, "
           "or write unspecified";
  }

  const Contracts& contracts_;
  std::vector<CommentProblem> problems_;
};

}  // namespace

std::span<const std::string_view> WordsOfNoQuantity() { return kWordsOfNoQuantity; }

std::vector<CommentProblem> CheckComments(const Contracts& contracts) {
  return Check(contracts).Run();
}

}  // namespace ovix::tool
