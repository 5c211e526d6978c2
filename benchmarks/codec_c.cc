// The samples by protobuf-c and by nanopb: the same bytes, as codec wrote them, parsed and
// serialized again. Usage: codec-c FOLDER [Google Benchmark's options]
#include <benchmark/benchmark.h>
#include <pb_decode.h>
#include <pb_encode.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "BatteryHealthLog.pb-c.h"
#include "BatteryHealthLog.pb.h"
#include "GraphicsCards.pb-c.h"
#include "GraphicsCards.pb.h"
#include "PcDeviceHealthEventAsCDM.pb-c.h"
#include "PcDeviceHealthEventAsCDM.pb.h"
#include "PcLogPerformanceSamplesAsCDM.pb-c.h"
#include "PcLogPerformanceSamplesAsCDM.pb.h"

namespace {

std::string folder;

std::string Bytes(const char* name) {
  std::ifstream file(folder + "/" + name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void Require(bool condition, const char* what, const char* name) {
  if (condition) return;
  std::fprintf(stderr, "codec-c: %s: %s\n", name, what);
  std::exit(1);
}

const uint8_t* Data(const std::string& bytes) {
  return reinterpret_cast<const uint8_t*>(bytes.data());
}
uint8_t* Data(std::string& bytes) { return reinterpret_cast<uint8_t*>(bytes.data()); }

// protobuf-c: a message on the heap with each of its strings and nested messages.
void RegisterProtobufC(const char* name, const ProtobufCMessageDescriptor* descriptor) {
  const std::string suffix = std::string("/") + name;
  benchmark::RegisterBenchmark(
      ("protobuf_c/parse" + suffix).c_str(), [name, descriptor](benchmark::State& state) {
        const std::string bytes = Bytes(name);
        for (auto _ : state) {
          auto* message = protobuf_c_message_unpack(descriptor, nullptr, bytes.size(), Data(bytes));
          Require(message != nullptr, "protobuf-c does not parse it", name);
          protobuf_c_message_free_unpacked(message, nullptr);
        }
      });
  benchmark::RegisterBenchmark(
      ("protobuf_c/serialize" + suffix).c_str(), [name, descriptor](benchmark::State& state) {
        const std::string bytes = Bytes(name);
        std::string out(bytes.size(), '\0');
        auto* message = protobuf_c_message_unpack(descriptor, nullptr, bytes.size(), Data(bytes));
        Require(message != nullptr && protobuf_c_message_get_packed_size(message) == bytes.size(),
                "protobuf-c reads something else", name);
        for (auto _ : state) {
          benchmark::DoNotOptimize(protobuf_c_message_pack(message, Data(out)));
          benchmark::ClobberMemory();
        }
        Require(out == bytes, "protobuf-c writes something else", name);
        protobuf_c_message_free_unpacked(message, nullptr);
      });
}

// nanopb: one struct with fixed arrays, used again for each message.
template <typename Struct>
void RegisterNanopb(const char* name, const pb_msgdesc_t* fields) {
  const std::string suffix = std::string("/") + name;
  benchmark::RegisterBenchmark(
      ("nanopb/parse" + suffix).c_str(), [name, fields](benchmark::State& state) {
        const std::string bytes = Bytes(name);
        auto message = std::make_unique<Struct>();
        for (auto _ : state) {
          auto in = pb_istream_from_buffer(Data(bytes), bytes.size());
          Require(pb_decode(&in, fields, message.get()), "nanopb does not parse it", name);
        }
      });
  benchmark::RegisterBenchmark(
      ("nanopb/serialize" + suffix).c_str(), [name, fields](benchmark::State& state) {
        const std::string bytes = Bytes(name);
        std::string out(bytes.size(), '\0');
        auto message = std::make_unique<Struct>();
        auto in = pb_istream_from_buffer(Data(bytes), bytes.size());
        Require(pb_decode(&in, fields, message.get()), "nanopb does not parse it", name);
        for (auto _ : state) {
          auto stream = pb_ostream_from_buffer(Data(out), out.size());
          Require(pb_encode(&stream, fields, message.get()), "nanopb does not serialize it", name);
          benchmark::ClobberMemory();
        }
        Require(out == bytes, "nanopb writes something else", name);
      });
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (argc != 2) {
    std::fprintf(stderr, "usage: codec-c FOLDER, where codec --samples=FOLDER wrote\n");
    return 2;
  }
  folder = argv[1];
  RegisterProtobufC("BatteryHealthLog", &battery_health_log__sample__descriptor);
  RegisterProtobufC("GraphicsCards", &graphics_cards__sample__descriptor);
  RegisterProtobufC("PcLogPerformanceSamplesAsCDM",
                    &pc_log_performance_samples_as_cdm__sample__descriptor);
  RegisterProtobufC("PcDeviceHealthEventAsCDM", &pc_device_health_event_as_cdm__sample__descriptor);
  RegisterNanopb<BatteryHealthLog_Sample>("BatteryHealthLog", BatteryHealthLog_Sample_fields);
  RegisterNanopb<GraphicsCards_Sample>("GraphicsCards", GraphicsCards_Sample_fields);
  RegisterNanopb<PcLogPerformanceSamplesAsCDM_Sample>("PcLogPerformanceSamplesAsCDM",
                                                      PcLogPerformanceSamplesAsCDM_Sample_fields);
  RegisterNanopb<PcDeviceHealthEventAsCDM_Sample>("PcDeviceHealthEventAsCDM",
                                                  PcDeviceHealthEventAsCDM_Sample_fields);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
