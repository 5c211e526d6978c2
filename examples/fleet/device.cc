// ovix-fleet-device: a day of a simulated device, as a batch file. Takes payloads that
// `ovix-contracts sample --out DIR --delimited` has made, and gives each the metadata that the
// example agent would.
#include <google/protobuf/io/coded_stream.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "arguments.h"
#include "ovix/telemetry/contract/contracts_collection.h"
#include "ovix/telemetry/contract/upload/upload_options.pb.h"
#include "store/time.h"
#include "system/hash.h"
#include "uploader/batch.h"
#include "uploader/label.h"

namespace ovix::agent {
namespace {

using google::protobuf::Descriptor;

struct Made {
  const Descriptor* message;
  std::string bytes;
};

// The messages that a program's delimited stream holds: each after its length.
std::vector<std::string> ReadDelimited(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  const std::string content{std::istreambuf_iterator<char>(stream), {}};
  google::protobuf::io::CodedInputStream input(reinterpret_cast<const uint8_t*>(content.data()),
                                               static_cast<int>(content.size()));
  std::vector<std::string> messages;
  while (input.CurrentPosition() < static_cast<int>(content.size())) {
    uint32_t size = 0;
    if (!input.ReadVarint32(&size) ||
        !input.ReadString(&messages.emplace_back(), static_cast<int>(size))) {
      throw std::runtime_error(PathText(file) + ": is cut off; make the samples again");
    }
  }
  return messages;
}

// The payloads of every contract in turn, so that each kind has its share of the day.
std::vector<Made> ReadSamples(const std::filesystem::path& folder) {
  std::map<size_t, std::vector<Made>> rounds;
  telemetry::contract::ContractsCollection contracts;
  while (const auto* prototype = contracts.Next()) {
    const Descriptor* message = prototype->GetDescriptor();
    if (!message->options().HasExtension(telemetry::contract::upload::cdm)) continue;
    const std::filesystem::path file = folder / (message->full_name() + ".binpb");
    if (!std::filesystem::exists(file)) {
      throw std::runtime_error(PathText(file) +
                               ": is not there; make the samples by ovix-contracts sample --out");
    }
    size_t round = 0;
    for (std::string& bytes : ReadDelimited(file)) {
      rounds[round++].push_back({message, std::move(bytes)});
    }
  }
  std::vector<Made> all;
  for (auto& [round, made] : rounds) std::move(made.begin(), made.end(), std::back_inserter(all));
  return all;
}

std::chrono::system_clock::time_point ParseDay(const std::string& text) {
  std::istringstream stream(text);
  int year = 0;
  unsigned month = 0, day = 0;
  char first = 0, second = 0;
  stream >> year >> first >> month >> second >> day;
  const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(month),
                                         std::chrono::day(day)};
  if (!stream || first != '-' || second != '-' || !date.ok() || !stream.eof()) {
    throw std::runtime_error(text + ": is not a day; write it like 2026-11-21");
  }
  return std::chrono::sys_days(date);
}

int Main(int argc, char** argv) {
  CLI::App app("Packs a day of a simulated device into a batch file.");
  std::string samples, batch, day_text;
  uint64_t number = 0;
  app.add_option("samples", samples, "Folder of ovix-contracts sample --out --delimited")
      ->type_name("DIR")
      ->required()
      ->check(ExistingFolder());
  app.add_option("batch", batch, "The file; it is replaced")
      ->type_name("FILE")
      ->required()
      ->check(FileName());
  app.add_option("--device", number, "Which device")->type_name("NUMBER")->required();
  app.add_option("--day", day_text, "When its payloads were built, like 2026-11-21")
      ->type_name("DATE")
      ->required();
  try {
    app.parse(argc, argv);
    const auto day = ParseDay(day_text);
    const std::string device = UuidOf(Sha256("simulated device " + std::to_string(number)));
    const std::vector<Made> all = ReadSamples(PathOf(samples));
    // As a store begins to count.
    int64_t sequence =
        std::chrono::duration_cast<std::chrono::milliseconds>(day.time_since_epoch()).count();
    BatchFile file(PathOf(batch), Files::System());
    const auto step = std::chrono::milliseconds(std::chrono::days(1)) / (all.size() + 1);
    for (size_t i = 0; i < all.size(); ++i) {
      file.Add(MakeLabel(all[i].message, all[i].bytes, device,
                         TimeText(day + step * static_cast<int64_t>(i)), ++sequence),
               all[i].bytes);
    }
    file.Finish();
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);
    std::cerr << "ovix-fleet-device: " << error.what() << "\n";
    return 1;
  } catch (const std::exception& error) {
    std::cerr << "ovix-fleet-device: " << error.what() << "\n";
    return 1;
  }
  return 0;
}

}  // namespace
}  // namespace ovix::agent

int main(int argc, char** argv) { return ovix::agent::Main(argc, argv); }
