// How fast ovix-contracts is: the start of `list` and `show`, and `decode` and `encode` of a long
// stream against protobuf's own JSON of the same messages in this process, side by side. Usage:
// tool_bench OVIX_CONTRACTS [MESSAGES]   (one million without a number)
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl.h>
#include <google/protobuf/util/delimited_message_util.h>
#include <google/protobuf/util/json_util.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "ovix/telemetry/contract/storage/device_health/battery.pb.h"

namespace {

using ovix::telemetry::contract::storage::device_health::BatteryHealthLog;

double Seconds(const std::function<void()>& work) {
  const auto begin = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

void Run(const std::string& command) {
  if (std::system(command.c_str()) != 0) {
    std::fprintf(stderr, "tool_bench: failed: %s\n", command.c_str());
    std::exit(1);
  }
}

double MedianMilliseconds(const std::string& command) {
  std::vector<double> times;
  for (int i = 0; i < 41; ++i) times.push_back(1000 * Seconds([&] { Run(command); }));
  std::sort(times.begin(), times.end());
  return times[times.size() / 2];
}

BatteryHealthLog Sample(int number) {
  BatteryHealthLog log;
  log.set_time("2026-11-21T04:31:09.120Z");
  log.set_serial_number(std::to_string(number));
  log.set_ct_number("CT-1234567");
  log.set_test_result("PASS");
  log.set_age(static_cast<uint32_t>(number % 4000));
  log.set_cycle_count(311);
  log.set_full_energy_capacity(48000);
  log.set_full_energy_capacity_perc(93.5F);
  log.set_remaining_energy_capacity(30100);
  log.set_eletric_current(1500);
  log.set_voltage(15200);
  log.set_temperature(31);
  for (uint32_t cell : {3801U, 3799U, 3800U, 3802U}) log.add_cell_voltages(cell);
  log.mutable_battery_status()->set_error("none");
  log.mutable_battery_status()->set_discharging(true);
  return log;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: tool_bench OVIX_CONTRACTS [MESSAGES]\n");
    return 2;
  }
  const std::string tool = argv[1];
  const int messages = argc > 2 ? std::atoi(argv[2]) : 1000000;
  const auto stream = std::filesystem::temp_directory_path() / "ovix-tool-bench.binpb";
  const auto printed = std::filesystem::temp_directory_path() / "ovix-tool-bench.jsonl";
  {
    std::ofstream file(stream, std::ios::binary);
    google::protobuf::io::OstreamOutputStream output(&file);
    for (int i = 0; i < messages; ++i) {
      google::protobuf::util::SerializeDelimitedToZeroCopyStream(Sample(i), &output);
    }
  }

  std::printf("shell alone      %6.1f ms\n", MedianMilliseconds("true"));
  std::printf("list             %6.1f ms\n", MedianMilliseconds(tool + " list >/dev/null"));
  std::printf("show             %6.1f ms\n",
              MedianMilliseconds(tool + " show BatteryHealthLog >/dev/null"));

  const double library = Seconds([&] {
    std::ifstream file(stream, std::ios::binary);
    std::ofstream out(printed, std::ios::binary);
    google::protobuf::io::IstreamInputStream input(&file);
    google::protobuf::util::JsonPrintOptions options;
    options.preserve_proto_field_names = true;
    BatteryHealthLog log;
    std::string json;
    bool at_end = false;
    while (google::protobuf::util::ParseDelimitedFromZeroCopyStream(&log, &input, &at_end)) {
      json.clear();
      if (!google::protobuf::util::MessageToJsonString(log, &json, options).ok()) std::exit(1);
      out << json << '\n';
      log.Clear();
    }
  });
  const double decode = Seconds([&] {
    Run(tool + " decode BatteryHealthLog --delimited " + stream.string() + " -o " +
        printed.string());
  });
  const double library_back = Seconds([&] {
    std::ifstream file(printed, std::ios::binary);
    std::ofstream out(stream, std::ios::binary);
    google::protobuf::io::OstreamOutputStream output(&out);
    BatteryHealthLog log;
    for (std::string line; std::getline(file, line); log.Clear()) {
      if (!google::protobuf::util::JsonStringToMessage(line, &log).ok()) std::exit(1);
      google::protobuf::util::SerializeDelimitedToZeroCopyStream(log, &output);
    }
  });
  const double encode = Seconds([&] {
    Run(tool + " encode BatteryHealthLog --delimited " + printed.string() + " -o " +
        stream.string());
  });
  rusage usage{};
  getrusage(RUSAGE_CHILDREN, &usage);
  std::printf("protobuf to JSON %6.2f s for %d messages\n", library, messages);
  std::printf("decode           %6.2f s, %.2f times as fast\n", decode, library / decode);
  std::printf("protobuf back    %6.2f s\n", library_back);
  std::printf("encode           %6.2f s, %.2f times as fast; peak memory of both %ld MB\n", encode,
              library_back / encode, usage.ru_maxrss / 1024);
  std::filesystem::remove(stream);
  std::filesystem::remove(printed);
  // The promises of docs/tool.md.
  return decode < library / 2 && encode < library_back / 3 ? 0 : 1;
}
