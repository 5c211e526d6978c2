#include "upload_commands.h"

#include <google/protobuf/util/json_util.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <limits>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "arguments.h"
#include "collectors/collectors.h"
#include "device_id.h"
#include "report.h"
#include "store/error.h"
#include "store/files/files.h"
#include "store/store.h"
#include "uploader/batch.h"
#include "uploader/upload.h"

namespace ovix::agent {
namespace {

struct UploadOptions {
  std::string store;
  std::string outbox;
  std::string root = kThisMachine;
  std::string shown;
  uint64_t max_bytes = OutboxLimits().max_bytes;
  int max_age_days = static_cast<int>(OutboxLimits().max_age.count());
};

struct PackOptions {
  std::string outbox;
  std::string batch;
};

struct AckOptions {
  std::string outbox;
  std::vector<std::string> ids;
  std::string file;
};

// Prints the first payload of the message `shown`.
void Show(const UploadResult& result, const std::string& shown) {
  for (const Payload& payload : result.built.payloads) {
    if (payload.message->GetDescriptor()->name() != shown) continue;
    google::protobuf::util::JsonPrintOptions options;
    options.preserve_proto_field_names = true;
    options.add_whitespace = true;
    std::string json;
    if (google::protobuf::util::MessageToJsonString(*payload.message, &json, options).ok()) {
      std::cout << "\n" << shown << "\n" << json;
    }
    return;
  }
  if (!shown.empty()) PrintNote(shown + ": no payload was built, as no record of it is new");
}

void PrintResult(const UploadResult& result, const std::string& shown) {
  std::vector<std::vector<std::string>> table = {{"PAYLOAD", "GUN", "VERSION", "RECORDS", "BYTES"}};
  for (const UploadResult::Sent& sent : result.sent) {
    table.push_back({sent.label.message.substr(sent.label.message.rfind('.') + 1), sent.label.gun,
                     sent.label.version, std::to_string(sent.records),
                     std::to_string(sent.label.bytes)});
  }
  PrintTable(std::cout, table, {3, 4});
  if (result.as_before != 0) {
    std::cout << result.as_before << " more as they were sent today already\n";
  }
  Show(result, shown);
  for (const std::string& note : result.notes) PrintNote(note);
  for (const std::string& line : result.problems) PrintProblem(line);
}

// Accepts a whole number of 1 or more that 64 bits hold.
CLI::Validator AtLeastOne() {
  return CLI::Validator(
      [](const std::string& number) -> std::string {
        uint64_t value = 0;
        const char* const end = number.data() + number.size();
        const auto [read_to, error] = std::from_chars(number.data(), end, value);
        // CLI11 takes what is larger than the largest number for that.
        if (error == std::errc::result_out_of_range ||
            value == std::numeric_limits<uint64_t>::max()) {
          return "Value " + number + " is too large";
        }
        return error == std::errc() && read_to == end && value != 0
                   ? ""
                   : "Value " + number + " is not a whole number of 1 or more";
      },
      kNoType);
}

// Accepts the name of a message that `upload` builds payloads of, without its package.
CLI::Validator BuiltPayload() {
  return CLI::Validator(
      [](const std::string& name) -> std::string {
        for (const auto* message : BuiltPayloads()) {
          if (message->name() == name) return "";
        }
        return name + " is not a payload that is built; docs/payloads.md lists those that are";
      },
      kNoType);
}

// Whether anything has a database's name here; what is wrong with it is for the store to report.
bool HoldsDatabases(const Store& store, const Catalogue& catalogue) {
  return std::any_of(catalogue.tables().begin(), catalogue.tables().end(), [&](const Table& table) {
    std::error_code error;
    return std::filesystem::symlink_status(store.FileOf(table.database), error).type() !=
           std::filesystem::file_type::not_found;
  });
}

// Builds the payloads and puts them into the outbox; false where something was wrong.
bool RunUpload(const UploadOptions& options) {
  const Catalogue catalogue;
  Store store(PathOf(options.store), catalogue, {.access = Store::Access::kRead});
  if (!HoldsDatabases(store, catalogue)) {
    throw std::runtime_error(Printable(PathOf(options.store)) +
                             ": holds no databases of the agent; name the folder that collect has "
                             "filled");
  }
  Files& files = Files::System();
  const UploadLock lock(PathOf(options.store), "Upload.lock", "uploads from this store",
                        UploadLock::IfMissing::kMake, files);
  const std::filesystem::path folder = PathOf(options.outbox);
  for (const auto& made : CreatePrivateFolder(folder)) SyncFolder(made.parent_path());
  Outbox outbox(folder, UploadLock::IfMissing::kMake, files);
  if (!outbox.holds_others()) MakePrivate(folder);
  UploadLog log(PathOf(options.store), files);
  for (const std::string& note : log.notes()) PrintNote(note);
  for (const std::string& line : log.problems()) PrintProblem(line);
  OutboxLimits limits;
  limits.max_bytes = options.max_bytes;
  limits.max_age = std::chrono::days(options.max_age_days);
  const UploadResult result =
      Upload(store, catalogue, DeviceIdOrKept(PathOf(options.root), PathOf(options.store), files),
             limits, std::chrono::system_clock::now(), log, outbox);
  PrintResult(result, options.shown);
  return result.problems.empty() && log.problems().empty();
}

// The id in lower case. Throws where it is none; `place` is where it was given.
std::string CheckedId(std::string id, const std::string& place) {
  std::transform(id.begin(), id.end(), id.begin(),
                 [](unsigned char c) { return c < 0x80 ? std::tolower(c) : c; });
  if (IsUuid(id)) return id;
  constexpr size_t kMostShown = 80;
  throw std::runtime_error(
      place + ": \"" + Escaped(id.substr(0, kMostShown)) + (id.size() > kMostShown ? "..." : "") +
      "\" is not the id of a payload; give the value of `id` in its metadata file "
      "(nothing was acknowledged)");
}

// The ids of a file's lines; "-" is the standard input.
void ReadIds(const std::string& name, std::vector<std::string>& ids) {
  std::ifstream file;
  const bool is_file = name != "-";
  const std::string said = is_file ? Printable(PathOf(name)) : "standard input";
  if (is_file) file.open(PathOf(name), std::ios::binary);
  std::istream& input = is_file ? file : std::cin;
  std::string line;
  for (int number = 1; std::getline(input, line); ++number) {
    // What editors put before UTF-8.
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (number == 1 && line.starts_with(kByteOrderMark)) line.erase(0, kByteOrderMark.size());
    line.erase(line.find_last_not_of(" \t\r") + 1);
    line.erase(0, line.find_first_not_of(" \t"));
    if (!line.empty()) ids.push_back(CheckedId(line, said + ":" + std::to_string(number)));
  }
  // std::cin takes an error of the standard input for its end.
  const bool failed = is_file ? !file.is_open() || file.bad() : std::ferror(stdin) != 0;
  if (failed) {
    throw std::runtime_error(said + ": cannot be read (" + std::strerror(errno) +
                             "); name a file of ids, one a line");
  }
}

// Writes the payloads that wait into a batch; false where one could not be read.
bool RunPack(const PackOptions& options) {
  Files& files = Files::System();
  Outbox outbox(PathOf(options.outbox), UploadLock::IfMissing::kRefuse, files);
  BatchFile batch(PathOf(options.batch), files);
  std::vector<std::string> problems;
  outbox.Read([&](const Label& label, std::string_view payload) { batch.Add(label, payload); },
              problems);
  batch.Finish();
  std::cout << batch.payloads() << (batch.payloads() == 1 ? " payload" : " payloads") << " packed, "
            << batch.bytes() << " bytes\n";
  for (const std::string& line : problems) PrintProblem(line);
  return problems.empty();
}

int RunAck(const AckOptions& options) {
  std::vector<std::string> ids;
  for (const std::string& id : options.ids) ids.push_back(CheckedId(id, "ack"));
  if (!options.file.empty()) ReadIds(options.file, ids);
  std::sort(ids.begin(), ids.end());
  ids.erase(std::unique(ids.begin(), ids.end()), ids.end());

  Outbox outbox(PathOf(options.outbox), UploadLock::IfMissing::kRefuse, Files::System());
  std::vector<std::string> unknown;
  std::vector<std::string> problems;
  const Outbox::Taken taken = outbox.Acknowledge(ids, unknown, problems);
  std::cout << taken.payloads << (taken.payloads == 1 ? " payload" : " payloads")
            << " acknowledged and removed, " << taken.bytes << " bytes\n";
  for (const std::string& line : outbox.remarks()) {
    if (std::find(problems.begin(), problems.end(), line) == problems.end()) PrintNote(line);
  }
  for (const std::string& id : unknown) PrintProblem(id + ": is not in the outbox");
  for (const std::string& line : problems) PrintProblem(line);
  return !problems.empty() ? 1 : !unknown.empty() ? 2 : 0;
}

}  // namespace

void AddUploadCommands(CLI::App& app, int& exit_code) {
  CLI::App* upload = app.add_subcommand("upload", "Build payloads from what is stored");
  const auto to_upload = std::make_shared<UploadOptions>();
  upload->add_option("store", to_upload->store, "Folder of the databases")
      ->type_name("DIR")
      ->required()
      ->check(ExistingFolder());
  upload->add_option("outbox", to_upload->outbox, "Folder of the payloads; created if missing")
      ->type_name("DIR")
      ->required()
      ->check(FolderName());
  upload->add_option("--root", to_upload->root, "The machine that was collected: see collect")
      ->type_name("DIR")
      ->check(ExistingFolder())
      ->capture_default_str();
  upload
      ->add_option("--max-bytes", to_upload->max_bytes,
                   "Largest size of the outbox, such as 256mb; the\noldest payloads are dropped")
      ->type_name("SIZE")
      ->transform(CLI::AsSizeValue(false).description(kNoType))
      ->check(AtLeastOne())
      ->capture_default_str();
  upload
      ->add_option("--max-age-days", to_upload->max_age_days,
                   "Payloads that wait longer are dropped (2 to 36500)")
      ->type_name("NUMBER")
      ->check(CLI::Range(2, 36500).description(kNoType))
      ->capture_default_str();
  upload->add_option("--show", to_upload->shown, "Print the first payload of this message as JSON")
      ->type_name("MESSAGE")
      ->check(BuiltPayload());
  upload->callback([to_upload, &exit_code] { exit_code = RunUpload(*to_upload) ? 0 : 1; });

  CLI::App* pack = app.add_subcommand("pack", "Write the payloads of the outbox into a batch file");
  const auto to_pack = std::make_shared<PackOptions>();
  pack->add_option("outbox", to_pack->outbox, "Folder of the payloads")
      ->type_name("DIR")
      ->required()
      ->check(ExistingFolder());
  pack->add_option("batch", to_pack->batch, "The file, such as batch.ndjson.gz; it is replaced")
      ->type_name("FILE")
      ->required()
      ->check(FileName());
  pack->callback([to_pack, &exit_code] { exit_code = RunPack(*to_pack) ? 0 : 1; });

  CLI::App* ack = app.add_subcommand("ack", "Remove payloads that were received from the outbox");
  const auto to_ack = std::make_shared<AckOptions>();
  ack->add_option("outbox", to_ack->outbox, "Folder of the payloads")
      ->type_name("DIR")
      ->required()
      ->check(ExistingFolder());
  CLI::Option* ids =
      ack->add_option("id", to_ack->ids, "Ids of payloads, from their metadata files")
          ->type_name("ID");
  ack->add_option("--file", to_ack->file, "A file of ids, one a line; - is the standard input")
      ->type_name("FILE");
  ack->callback([to_ack, ids, &exit_code] {
    if (ids->empty() && to_ack->file.empty()) {
      throw std::runtime_error("ack: no ids; give them after the outbox or by --file");
    }
    exit_code = RunAck(*to_ack);
  });
}

}  // namespace ovix::agent
