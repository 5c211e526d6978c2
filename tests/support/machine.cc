#include "support/machine.h"

#include <google/protobuf/text_format.h>

#include <cstdlib>
#include <sstream>
#include <string_view>

namespace ovix::tests {
namespace {

std::string FromHex(const std::string& digits) {
  std::string bytes;
  std::string pair;
  for (const char c : digits) {
    if (std::isxdigit(static_cast<unsigned char>(c)) == 0) continue;
    pair += c;
    if (pair.size() < 2) continue;
    bytes += static_cast<char>(std::strtoul(pair.c_str(), nullptr, 16));
    pair.clear();
  }
  return bytes;
}

// Takes `end` off the text; false where it does not end so.
bool TakeOff(std::string& text, std::string_view end) {
  if (!std::string_view(text).ends_with(end)) return false;
  text.resize(text.size() - end.size());
  return true;
}

void WriteFile(std::string name, const std::string& content, const Folder& folder) {
  if (const size_t arrow = name.find(" -> "); arrow != std::string::npos) {
    const std::string link = name.substr(0, arrow);
    std::filesystem::create_directories((folder / link).parent_path());
    std::filesystem::create_symlink(name.substr(arrow + 4), folder / link);
  } else if (TakeOff(name, "/")) {
    std::filesystem::create_directories(folder / name);
  } else if (TakeOff(name, " (hex)")) {
    folder.Write(name, FromHex(content));
  } else if (TakeOff(name, " (smbios)")) {
    folder.Write(name, SmbiosBytes(content));
  } else {
    folder.Write(name, content);
  }
}

}  // namespace

std::string SmbiosBytes(const std::string& lines) {
  std::string table;
  std::istringstream input(lines);
  for (std::string line; std::getline(input, line);) {
    const size_t bar = std::min(line.find(" | "), line.size());
    std::istringstream words(line.substr(0, bar));
    std::string word;
    words >> word;
    size_t length = 0;
    words >> length;
    if (word == "cut") {
      table.resize(table.size() - length);
      continue;
    }
    std::string structure(length, '\0');
    structure[0] = static_cast<char>(std::stoul(word));
    structure[1] = static_cast<char>(length);
    while (words >> word) {  // OFFSET=VALUE:BYTES
      char* end = nullptr;
      const size_t offset = std::strtoul(word.c_str(), &end, 0);
      const uint64_t value = std::strtoull(end + 1, &end, 0);
      const size_t bytes = std::strtoul(end + 1, nullptr, 0);
      for (size_t i = 0; i < bytes; ++i)
        structure.at(offset + i) = static_cast<char>(value >> 8 * i);
    }
    std::string texts;
    for (size_t begin = bar; begin < line.size();) {
      const size_t end = std::min(line.find(" | ", begin + 3), line.size());
      texts += line.substr(begin + 3, end - begin - 3) + '\0';
      begin = end;
    }
    table += structure + texts + std::string(texts.empty() ? 2 : 1, '\0');
  }
  return table;
}

std::string WriteMachine(const std::string& text, const Folder& folder) {
  std::string name;
  std::string content;
  std::istringstream input(text);
  for (std::string line; std::getline(input, line);) {
    const bool ends = line == "== expected";
    if (ends || line.starts_with("= ")) {
      if (!name.empty()) WriteFile(name, content, folder);
      name = line.substr(2);
      content.clear();
      if (ends) break;
    } else {
      content += line + "\n";
    }
  }
  return {std::istreambuf_iterator<char>(input), {}};
}

std::string Describe(const char* collector, const agent::Collection& found) {
  google::protobuf::TextFormat::Printer printer;
  printer.SetSingleLineMode(true);
  printer.SetUseUtf8StringEscaping(true);
  std::string text = std::string(collector) + "\n";
  const auto describe = [&](const google::protobuf::Message& row) {
    std::unique_ptr<google::protobuf::Message> copy(row.New());
    copy->CopyFrom(row);
    for (const char* varying : {"time", "current_time_zone", "install_time"}) {
      const auto* field = row.GetDescriptor()->FindFieldByName(varying);
      if (field != nullptr) copy->GetReflection()->ClearField(copy.get(), field);
    }
    std::string fields;
    printer.PrintToString(*copy, &fields);
    if (fields.ends_with(' ')) fields.pop_back();
    text += "  " + row.GetDescriptor()->name() + " " + fields + "\n";
  };
  for (const auto& snapshot : found.snapshots()) {
    if (snapshot.rows.empty()) text += "  no " + snapshot.record->name() + "\n";
    for (const auto& row : snapshot.rows) describe(*row);
  }
  for (const auto& row : found.appended()) describe(*row);
  for (const std::string& why : found.skipped()) text += "  skipped: " + why + "\n";
  return text;
}

}  // namespace ovix::tests
