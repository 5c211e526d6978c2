#include "support/schema_pair.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "support/program.h"

namespace ovix::tests {
namespace {

using google::protobuf::FileDescriptorProto;
using google::protobuf::FileDescriptorSet;

constexpr char kStorage[] = "ovix/telemetry/contract/storage/storage_options.proto";
constexpr char kUpload[] = "ovix/telemetry/contract/upload/upload_options.proto";

std::string PackageOf(size_t number) { return "pair" + std::to_string(number); }

std::string Replaced(std::string text, const std::string& word, const std::string& with) {
  for (size_t at = 0; (at = text.find(word, at)) != std::string::npos; at += with.size()) {
    text.replace(at, word.size(), with);
  }
  return text;
}

// The whole text of a schema.
std::string SchemaOf(size_t number, std::string body) {
  const std::string contract = "ovix.telemetry.contract.";
  body = Replaced(body, "$persistance", "(" + contract + "storage.persistance)");
  body = Replaced(body, "$column", "(" + contract + "storage.column)");
  body = Replaced(body, "$cdm", "(" + contract + "upload.cdm)");
  body = Replaced(body, "$package", PackageOf(number));
  body = Replaced(body, "$extension", std::to_string(60000 + number));
  if (!body.starts_with("syntax")) body.insert(0, "syntax = \"proto3\";\n");
  std::string head = " package " + PackageOf(number) + ";";
  for (const char* options : {kStorage, kUpload}) {
    head += " import \"" + std::string(options) + "\";";
  }
  return body.insert(body.find(';') + 1, head);
}

}  // namespace

FileDescriptorSet Compiled(const Folder& folder, const std::vector<std::string>& texts) {
  std::filesystem::remove_all(folder / "schemas");
  std::string files;
  for (size_t i = 0; i < texts.size(); ++i) {
    std::map<std::string, std::string> bodies = {{"main", ""}};
    std::string name = "main";
    std::istringstream lines(texts[i]);
    for (std::string line; std::getline(lines, line);) {
      if (line.starts_with("=== ")) {
        name = line.substr(4);
        bodies[name];
      } else if (!bodies[name].empty() || !line.empty()) {
        bodies[name] += line + "\n";
      }
    }
    for (const auto& [file, body] : bodies) {
      const std::string path = PackageOf(i) + "/" + file + ".proto";
      folder.Write("schemas/" + path, SchemaOf(i, body));
      files += path + "\n";
    }
  }
  folder.Write("files", files + kStorage + "\n" + kUpload + "\n");
  const auto path = [&](const char* name) { return "'" + Utf8(folder / name) + "'"; };
  const ProgramRun run =
      RunIn(folder, OVIX_TESTS_PROTOC,
            "-I " + path("schemas") +
                " -I '" OVIX_TESTS_SOURCE_ROOT "' -I '" OVIX_TESTS_PROTOBUF_IMPORTS
                "' --include_imports --include_source_info --descriptor_set_out=" +
                path("schemas.binpb") + " @" + path("files"));
  EXPECT_EQ(run.exit_code, 0) << run.errors;
  FileDescriptorSet set;
  EXPECT_TRUE(set.ParseFromString(folder.Read("schemas.binpb")));
  return set;
}

FileDescriptorSet OnlyPackage(const FileDescriptorSet& set, size_t number) {
  FileDescriptorSet only;
  for (const FileDescriptorProto& file : set.file()) {
    if (!file.name().starts_with("pair") || file.package() == PackageOf(number)) {
      *only.add_file() = file;
    }
  }
  return only;
}

}  // namespace ovix::tests
