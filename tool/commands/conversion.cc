#include "commands/conversion.h"

#include <filesystem>

#include "contracts/names.h"
#include "terminal/error.h"
#include "terminal/path.h"

namespace ovix::tool {
namespace {

namespace fs = std::filesystem;

bool IsNameOfMessage(const Contracts& contracts, const std::string& word) {
  for (const Descriptor* message : contracts.messages()) {
    const std::string& name = message->full_name();
    if (name == word || name.ends_with("." + word)) return true;
  }
  return false;
}

// Whether a word is the name of a label or an outbox. One that does not exist is, if it cannot be
// anything else.
bool IsPath(const std::string& word) {
  const fs::path path = PathOf(word);
  std::error_code ignored;
  return fs::exists(path, ignored) || path.extension() == ".json" || path.has_parent_path();
}

}  // namespace

void AddConversion(CLI::App& command, Conversion& conversion) {
  AddOutput(command, conversion.output);
  AddChoice(command, "--format", conversion.notation,
            {{"json", Notation::kJson}, {"text", Notation::kText}});
}

void AddInputEncoding(CLI::App& command, Encoding& encoding) {
  AddChoice(
      command, "--input-encoding", encoding,
      {{"binary", Encoding::kBinary}, {"hex", Encoding::kHex}, {"base64", Encoding::kBase64}});
}

void AddSubject(CLI::App& command, SubjectWords& words) {
  command
      .add_option("name", words.name,
                  "The message's full name, the end of it, or its gun; instead of it a payload's "
                  "metadata file or an outbox")
      ->check(NamesFile)
      ->type_name("NAME");
  command
      .add_option(
          "input", words.inputs,
          "What to read; standard input without it and for -. After a metadata file more of them")
      ->check(NamesFile)
      ->type_name("FILE");
  command.add_option("--gun", words.gun, "The payload by its gun, instead of a name")
      ->type_name("GUN");
}

Subject ReadSubject(const Contracts& contracts, const SubjectWords& words) {
  Subject subject;
  std::vector<std::string> all = words.inputs;
  if (!words.name.empty()) all.insert(all.begin(), words.name);
  if (!words.gun.empty()) {
    subject.type = FindByGun(contracts, words.gun);
    subject.inputs = all;
  } else if (all.empty()) {
    throw Error(
        "nothing to read is named; name a message, the metadata file of a payload, or an outbox");
  } else if (!IsNameOfMessage(contracts, words.name) && IsPath(words.name)) {
    subject.labelled.assign(all.begin(), all.end());
  } else {
    subject.type = FindMessage(contracts, words.name);
    subject.inputs = words.inputs;
  }
  return subject;
}

}  // namespace ovix::tool
