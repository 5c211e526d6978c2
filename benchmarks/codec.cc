// Serializes and parses the samples in each way that a program may. Built twice from this one
// source: with the library and with the baseline of the same schemas.
//   codec --samples=FOLDER   writes the samples' bytes there, for the runtimes in C, and measures
//   nothing
#include <benchmark/benchmark.h>
#include <google/protobuf/arena.h>

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "samples.h"

namespace ovix::benchmarks {
namespace {

template <typename Contract>
void Serialize(benchmark::State& state) {
  const Contract message = Sample<Contract>();
  std::string bytes = message.SerializeAsString();
  const int size = static_cast<int>(bytes.size());
  for (auto _ : state) {
    benchmark::DoNotOptimize(message.SerializeToArray(bytes.data(), size));
    benchmark::ClobberMemory();
  }
}

template <typename Contract>
void SerializeAsString(benchmark::State& state) {
  const Contract message = Sample<Contract>();
  for (auto _ : state) benchmark::DoNotOptimize(message.SerializeAsString());
}

template <typename Contract>
void ParseFresh(benchmark::State& state) {
  const std::string bytes = Sample<Contract>().SerializeAsString();
  for (auto _ : state) {
    Contract message;
    benchmark::DoNotOptimize(message.ParseFromString(bytes));
  }
}

template <typename Contract>
void ParseReused(benchmark::State& state) {
  const std::string bytes = Sample<Contract>().SerializeAsString();
  Contract message;
  for (auto _ : state) benchmark::DoNotOptimize(message.ParseFromString(bytes));
}

template <typename Contract>
void ParseArena(benchmark::State& state) {
  const std::string bytes = Sample<Contract>().SerializeAsString();
  std::vector<char> block(64 * 1024);
  google::protobuf::ArenaOptions options;
  options.initial_block = block.data();
  options.initial_block_size = block.size();
  for (auto _ : state) {
    google::protobuf::Arena arena(options);
    auto* message = google::protobuf::Arena::CreateMessage<Contract>(&arena);
    benchmark::DoNotOptimize(message->ParseFromString(bytes));
  }
}

template <typename Contract>
void Register() {
  const std::string name = "/" + Contract::descriptor()->name();
  benchmark::RegisterBenchmark(("serialize" + name).c_str(), Serialize<Contract>);
  benchmark::RegisterBenchmark(("serialize_as_string" + name).c_str(), SerializeAsString<Contract>);
  benchmark::RegisterBenchmark(("parse_fresh" + name).c_str(), ParseFresh<Contract>);
  benchmark::RegisterBenchmark(("parse_reused" + name).c_str(), ParseReused<Contract>);
  benchmark::RegisterBenchmark(("parse_arena" + name).c_str(), ParseArena<Contract>);
}

template <typename... Contracts>
struct Each {
  static void Register() { (benchmarks::Register<Contracts>(), ...); }
  static bool Write(const std::string& folder) { return (Write<Contracts>(folder) && ...); }

 private:
  template <typename Contract>
  static bool Write(const std::string& folder) {
    std::ofstream file(folder + "/" + Contract::descriptor()->name(), std::ios::binary);
    return Sample<Contract>().SerializeToOstream(&file) && file.flush();
  }
};
using Samples =
    Each<BatteryHealthLog, GraphicsCards, PcLogPerformanceSamplesAsCDM, PcDeviceHealthEventAsCDM>;

}  // namespace
}  // namespace ovix::benchmarks

int main(int argc, char** argv) {
  constexpr char kSamples[] = "--samples=";
  if (argc == 2 && std::strncmp(argv[1], kSamples, std::strlen(kSamples)) == 0) {
    const std::string folder = argv[1] + std::strlen(kSamples);
    if (ovix::benchmarks::Samples::Write(folder)) return 0;
    std::fprintf(stderr, "codec: the samples cannot be written to %s\n", folder.c_str());
    return 1;
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  ovix::benchmarks::Samples::Register();
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
