// The form of comments: that there is one, and which facts it may have, in which order.
#include <algorithm>
#include <set>
#include <string_view>

#include "contracts/comment.h"
#include "contracts/facts.h"
#include "lint/almost_facts.h"
#include "lint/checks.h"

namespace ovix::tool::lint {
namespace {

using Keys = std::vector<std::string_view>;

// A line that looks like a fact, but is not read as one: its form is another, or its comment is not
// the one above a declaration.
struct Unread {
  std::string words;
  int line;  // of the schema
};

// Of the comment that begins at a line every one, of the others the first, at that line too.
std::vector<Unread> FindUnread(const Comment& comment, const std::vector<std::string>& others,
                               int begin) {
  std::vector<Unread> found;
  for (int number = 0; number < static_cast<int>(comment.lines.size()); ++number) {
    const std::string_view line = comment.lines[number];
    const bool is_fact = std::any_of(comment.facts.begin(), comment.facts.end(),
                                     [&](const Fact& fact) { return fact.line == number; });
    if (is_fact ? HasKey(line.substr(line.find(':') + 1)) : LooksLikeFact(line)) {
      found.push_back({std::string(line), begin + number});
    }
  }
  for (const std::string& other : others) {
    const auto lines = ParseComment(other).lines;
    const auto unread = std::find_if(lines.begin(), lines.end(), LooksLikeFact);
    if (unread == lines.end()) continue;
    found.push_back({*unread, begin});
    break;
  }
  return found;
}

std::string WhatIs(const Unread& unread) { return "'" + unread.words + "' is not read as a fact"; }

constexpr char kOneOfField[] = "the field that it is of, or remove it";

std::string FixAbove(const std::string& place) {
  return "write it as 'KEY: value' on a line of its own, directly above " + place;
}

class Comments {
 public:
  Comments(const Contracts& contracts, Findings& findings)
      : contracts_(contracts), findings_(findings) {}

  void CheckFile(const FileDescriptor* file) {
    for (const Fact& fact : contracts_.CommentOf(file).facts) {
      findings_.AddIn(file->name(), contracts_.LineOf(file) + fact.line, Rule::kComment,
                      "'" + fact.key + ":' does not belong into a file's comment",
                      "remove the line");
    }
    const auto add = [&](const Unread& unread) {
      findings_.AddIn(file->name(), unread.line, Rule::kComment, WhatIs(unread),
                      FixAbove(kOneOfField));
    };
    for (const Unread& unread :
         FindUnread(contracts_.CommentOf(file), {}, contracts_.LineOf(file))) {
      add(unread);
    }
    for (const Contracts::Place& place : contracts_.OtherPlacesOf(file)) {
      Comment comment = ParseComment(place.comment);
      comment.facts.clear();  // it can have none
      for (const Unread& unread : FindUnread(comment, place.other_comments, place.line)) {
        add(unread);
      }
    }
  }

  // A comment of a declaration that needs none.
  template <typename AnyDescriptor>
  void CheckFactKeys(const AnyDescriptor* subject, const Keys& allowed) {
    const Comment comment = contracts_.CommentOf(subject);
    const auto* last = std::begin(kFactKeys);
    std::set<std::string> seen;
    for (const Fact& fact : comment.facts) {
      const auto add = [&](const std::string& what, const std::string& fix) {
        findings_.AddAt(contracts_.LineOf(subject) + fact.line, Rule::kComment, subject, what, fix);
      };
      const auto* place = std::find(std::begin(kFactKeys), std::end(kFactKeys), fact.key);
      if (place == std::end(kFactKeys)) {
        add("'" + fact.key + ":' is not a fact",
            "use Unit, Values, Format, Privacy or Source, or write the sentence without a colon "
            "after its first word");
        continue;
      }
      if (std::find(allowed.begin(), allowed.end(), fact.key) == allowed.end()) {
        add(fact.key + " does not belong here", "remove the line");
      } else if (fact.key != "Source" && seen.contains(fact.key)) {
        add(fact.key + " is given twice", "keep one line");
      } else if (place < last) {
        add(fact.key + " comes after " + std::string(*last),
            "the order is Unit, Values, Format, Privacy, Source");
      }
      last = std::max(last, place);
      seen.insert(fact.key);
    }
    if (!comment.misplaced.empty()) {
      findings_.AddAt(contracts_.LineOf(subject) + comment.misplaced_line, Rule::kComment, subject,
                      "'" + comment.misplaced + "' comes after the facts",
                      "write prose before them");
    }
    for (const Unread& unread :
         FindUnread(comment, contracts_.OtherCommentsOf(subject), contracts_.LineOf(subject))) {
      findings_.AddAt(unread.line, Rule::kComment, subject, WhatIs(unread),
                      FixAbove(allowed.empty() ? kOneOfField : "the declaration"));
    }
  }

  template <typename AnyDescriptor>
  void CheckProse(const AnyDescriptor* subject) {
    if (contracts_.CommentOf(subject).text.find(' ') != std::string::npos) return;
    findings_.AddAt(contracts_.LineOf(subject), Rule::kComment, subject, "has no comment",
                    "say above it what it is");
  }

  void CheckField(const FieldDescriptor* field) {
    Keys allowed = {"Privacy"};
    if (CanHaveUnit(field)) allowed.insert(allowed.end(), {"Unit", "Values"});
    if (field->type() == FieldDescriptor::TYPE_STRING) allowed.push_back("Format");
    if (IsUpload(field->file())) allowed.push_back("Source");
    CheckFactKeys(field, allowed);
  }

 private:
  const Contracts& contracts_;
  Findings& findings_;
};

}  // namespace

void CheckComments(const Checked& checked, Findings& findings) {
  Comments comments(checked.contracts, findings);
  for (const FileDescriptor* file : FilesOf(checked.contracts)) {
    comments.CheckFile(file);
    for (int i = 0; i < file->extension_count(); ++i) {
      comments.CheckProse(file->extension(i));
      comments.CheckField(file->extension(i));
    }
  }
  for (const Descriptor* message : MessagesOf(checked.contracts)) {
    comments.CheckProse(message);
    comments.CheckFactKeys(message, IsUpload(message->file()) ? Keys{"Source"} : Keys{});
    for (int i = 0; i < message->field_count(); ++i) comments.CheckField(message->field(i));
  }
  for (const EnumDescriptor* enumeration : EnumsOf(checked.contracts)) {
    comments.CheckProse(enumeration);
    comments.CheckFactKeys(enumeration, {});
    for (int i = 0; i < enumeration->value_count(); ++i) {
      comments.CheckFactKeys(enumeration->value(i), {});
    }
  }
}

}  // namespace ovix::tool::lint
