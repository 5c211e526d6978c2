// What the catalogue prints for programs, read by programs: a schema that protoc reads is the same
// contract, and every page has its place in the navigation. The SQL and the samples are held
// against the tool's own output in catalogue_test.mjs.
#include <google/protobuf/compiler/importer.h>
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/descriptor_database.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <utility>

#include "catalogue/model/relations.h"
#include "catalogue/model/schema_text.h"
#include "catalogue/model/sections.h"
#include "catalogue/pages.h"
#include "contracts/contracts.h"
#include "contracts/embedded.h"

namespace ovix::tests {
namespace {

using google::protobuf::FileDescriptor;
using tool::Contracts;

class Schemas : public google::protobuf::compiler::SourceTree {
 public:
  explicit Schemas(const std::map<std::string, std::string>& texts) : texts_(texts) {}
  google::protobuf::io::ZeroCopyInputStream* Open(const std::string& path) override {
    const auto text = texts_.find(path);
    if (text == texts_.end()) return nullptr;
    return new google::protobuf::io::ArrayInputStream(text->second.data(),
                                                      static_cast<int>(text->second.size()));
  }

 private:
  const std::map<std::string, std::string>& texts_;
};

class Errors : public google::protobuf::compiler::MultiFileErrorCollector {
 public:
  void AddError(const std::string& file, int line, int, const std::string& message) override {
    ADD_FAILURE() << file << ":" << line + 1 << ": " << message;
  }
};

// The descriptor set that protoc makes of schemas, comments included.
std::string Compiled(const std::map<std::string, std::string>& texts) {
  Schemas schemas(texts);
  Errors errors;
  google::protobuf::FileDescriptorSet set;
  google::protobuf::FileDescriptorProto::descriptor()->file()->CopyTo(set.add_file());
  google::protobuf::SimpleDescriptorDatabase well_known;
  well_known.Add(set.file(0));
  google::protobuf::compiler::SourceTreeDescriptorDatabase sources(&schemas, &well_known);
  sources.RecordErrorsTo(&errors);
  google::protobuf::DescriptorPool pool(&sources, sources.GetValidationErrorCollector());
  std::set<const FileDescriptor*> added = {
      pool.FindFileByName(google::protobuf::FileDescriptorProto::descriptor()->file()->name())};
  const auto add = [&](const FileDescriptor* file, const auto& self) -> void {
    if (!added.insert(file).second) return;
    for (int i = 0; i < file->dependency_count(); ++i) self(file->dependency(i), self);
    auto* copy = set.add_file();
    file->CopyTo(copy);
    file->CopyJsonNameTo(copy);
    file->CopySourceCodeInfoTo(copy);
  };
  for (const auto& [path, text] : texts) {
    const FileDescriptor* file = pool.FindFileByName(path);
    if (file != nullptr) add(file, add);
  }
  return set.SerializeAsString();
}

// The schemas again, their messages and enumerations as the catalogue prints them.
std::map<std::string, std::string> Printed(const Contracts& contracts) {
  const tool::SchemaTexts schemas(contracts);
  std::map<std::string, std::string> texts;
  for (const FileDescriptor* file : contracts.files()) {
    std::string& text = texts[file->name()];
    text = "syntax = \"proto3\";\npackage " + file->package() + ";\n";
    for (int i = 0; i < file->dependency_count(); ++i) {
      text += "import \"" + file->dependency(i)->name() + "\";\n";
    }
    for (int i = 0; i < file->extension_count(); ++i) {
      const auto* extension = file->extension(i);
      text += "extend " + extension->containing_type()->full_name() + " { " +
              tool::TypeText(extension) + " " + extension->name() + " = " +
              std::to_string(extension->number()) + "; }\n";
    }
    for (int i = 0; i < file->message_type_count(); ++i) text += schemas.Of(file->message_type(i));
    for (int i = 0; i < file->enum_type_count(); ++i) text += schemas.Of(file->enum_type(i));
  }
  return texts;
}

std::string AllOf(const tool::Comment& comment) {
  std::string all = comment.text + "\n";
  for (const tool::Fact& fact : comment.facts) all += fact.key + ": " + fact.value + "\n";
  return all;
}

// What no contract of today has, and a schema may have.
constexpr const char* kUnusual = R"(syntax = "proto3";
package unusual;
// The part of the package.
message Part {
  string text = 1;
}
// First paragraph (.unusual.Part) " .unusual.Part".
//
//   a drawing
//     of two lines
//
// Source: none
message Outer {
  // Hides the part of the package.
  message Part {
    int32 number = 1;
  }
  enum Choice {
    reserved 5 to 7;
    NONE = 0;
    SOME = 1;
  }
  reserved 9, 20 to 30;
  reserved "old";
  .unusual.Part of_package = 1;
  Part of_message = 2;
  string named = 3 [json_name = "NAMED", deprecated = true];
  map<string, .unusual.Part> parts = 4;
  map<int32, Part> own_parts = 5;
  oneof one {
    // In a oneof.
    string a = 6;
    .unusual.Other b = 7;
  }
  optional Choice choice = 8;
  repeated int32 loose = 10 [packed = false];
}
message Other {
  Outer.Part part = 1;
}
)";

TEST(CatalogueTexts, APrintedSchemaIsTheSameContract) {
  const Contracts unusual(Compiled({{"unusual.proto", kUnusual}}), "unusual.binpb");
  const Contracts release(std::string(tool::EmbeddedDescriptorSet()), "contracts.binpb");
  for (const Contracts* contracts : {&release, &unusual}) {
    SCOPED_TRACE(contracts->release());
    const Contracts again(Compiled(Printed(*contracts)), "printed.binpb");
    ASSERT_EQ(again.messages().size(), contracts->messages().size());
    ASSERT_EQ(again.enums().size(), contracts->enums().size());
    size_t comments = 0;
    for (const tool::Descriptor* message : contracts->messages()) {
      SCOPED_TRACE(message->full_name());
      const auto* other = again.pool().FindMessageTypeByName(message->full_name());
      ASSERT_NE(other, nullptr);
      EXPECT_EQ(other->DebugString(), message->DebugString());
      EXPECT_EQ(AllOf(again.CommentOf(other)), AllOf(contracts->CommentOf(message)));
      for (int i = 0; i < message->field_count(); ++i) {
        const std::string comment = AllOf(contracts->CommentOf(message->field(i)));
        EXPECT_EQ(AllOf(again.CommentOf(other->field(i))), comment);
        comments += comment.size() > 1 ? 1 : 0;
      }
    }
    for (const tool::EnumDescriptor* enumeration : contracts->enums()) {
      SCOPED_TRACE(enumeration->full_name());
      const auto* other = again.pool().FindEnumTypeByName(enumeration->full_name());
      ASSERT_NE(other, nullptr);
      EXPECT_EQ(other->DebugString(), enumeration->DebugString());
      EXPECT_EQ(AllOf(again.CommentOf(other)), AllOf(contracts->CommentOf(enumeration)));
      for (int i = 0; i < enumeration->value_count(); ++i) {
        EXPECT_EQ(AllOf(again.CommentOf(other->value(i))),
                  AllOf(contracts->CommentOf(enumeration->value(i))));
      }
    }
    EXPECT_GE(comments, contracts == &unusual ? 1u : 500u);
  }
}

// As an author writes it: no name from the root, nothing that protoc adds.
TEST(CatalogueTexts, ASchemaReadsAsOneDoes) {
  const Contracts& contracts = Contracts::Installed();
  const tool::SchemaTexts schemas(contracts);
  for (const tool::Descriptor* message : contracts.messages()) {
    if (message->containing_type() != nullptr) continue;
    const std::string text = schemas.Of(message);
    for (const char* part : {"json_name", "(.", "//  Source", " \n", " .ovix", "// \n"}) {
      EXPECT_EQ(text.find(part), std::string::npos) << message->full_name() << " has " << part;
    }
    EXPECT_NE(text.find("\nmessage " + message->name() + " {\n"), std::string::npos) << text;
  }
  const Contracts behind(
      Compiled({{"behind.proto",
                 "syntax = \"proto3\";\npackage x.telemetry;\n"
                 "enum E {\n  // Above it.\n  A = 0;  // After it.\n  B = 1;\n}\n"
                 "message M { .google.protobuf.FileOptions o = 1; }\n"
                 "import \"google/protobuf/descriptor.proto\";\n"}}),
      "behind.binpb");
  const tool::SchemaTexts texts(behind);
  EXPECT_EQ(texts.Of(behind.enums().at(0)),
            "enum E {\n  // Above it.\n  // After it.\n  A = 0;\n  B = 1;\n}\n");
  EXPECT_EQ(texts.Of(behind.messages().at(0)),
            "message M {\n  google.protobuf.FileOptions o = 1;\n}\n");
}

TEST(CatalogueTexts, EveryPageIsOnceInTheNavigationAndMarkedOnItself) {
  const Contracts& contracts = Contracts::Installed();
  const tool::Relations relations(contracts);
  const tool::Sections sections(relations);
  const auto pages = tool::CataloguePages(contracts);
  const std::string& start = pages.at("index.html");
  std::map<std::string, size_t> seen;
  std::set<std::string> anchors;
  for (const auto* section : sections.all()) {
    for (const tool::Group& group : section->groups) {
      EXPECT_TRUE(anchors.insert(group.anchor).second) << group.anchor;
      EXPECT_NE(start.find(" id=\"" + group.anchor + "\""), std::string::npos) << group.anchor;
      for (const tool::Page& page : group.pages) {
        ++seen["contracts/" + page.href];
        const std::string& html = pages.at("contracts/" + page.href);
        const size_t list = html.find("<nav id=\"page-contracts\"");
        const size_t end = html.find("</nav>", list);
        const std::string current = " aria-current=\"page\" href=\"" + page.href + "\"";
        const size_t at = html.find(current, list);
        EXPECT_LT(at, end) << page.href;
        EXPECT_GT(html.find(current, at + 1), end) << page.href << " is marked twice";
        // Without scripts the others of the group are still there.
        for (const tool::Page& other : group.pages) {
          EXPECT_LT(html.find("href=\"" + other.href + "\"", list), end) << page.href;
        }
        EXPECT_LT(html.find("../index.html#" + group.anchor, list), end) << page.href;
      }
    }
  }
  // The list of all is in one file: no page grows with the number of contracts.
  const size_t all = pages.at("assets/navigation.js").size();
  for (const auto& [path, bytes] : pages) {
    if (!path.ends_with(".html")) continue;
    if (path.starts_with("contracts/")) {
      EXPECT_EQ(seen[path], 1u) << path;
    }
    const size_t list = bytes.find("<nav id=\"page-contracts\"");
    EXPECT_LT(bytes.find("</nav>", list) - list, all / 4) << path;
  }
}

}  // namespace
}  // namespace ovix::tests
