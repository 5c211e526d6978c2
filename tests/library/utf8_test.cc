// Text is accepted, refused and reported just as the runtime alone does it, whatever the
// library tests before it asks the runtime.
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/stubs/common.h>
#include <google/protobuf/wire_format_lite.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "ovix/telemetry/contract/storage/cache.pb.h"
#include "ovix/telemetry/contract/upload/log/PcLogPerformanceSamplesAsCDM.pb.h"
#include "support/contracts.h"

namespace ovix::tests {
namespace {

using google::protobuf::internal::IsStructurallyValidUTF8;
using google::protobuf::internal::WireFormatLite;
using google::protobuf::io::ArrayInputStream;
using telemetry::contract::storage::CollectorCache;
using Error =
    telemetry::contract::upload::log::PcLogPerformanceSamplesAsCDM_HwInfo_SystemBoardInfo_Error;

// Every case where the code is fast; a sample of them, which meets every byte at every place, under
// the sanitizers.
#ifdef OVIX_TESTS_INSTRUMENTED
constexpr uint32_t kStride = 251;
#else
constexpr uint32_t kStride = 1;
#endif

thread_local int reports = 0;

// Counts what the runtime reports, for each thread separately.
class CountReports {
 public:
  CountReports() {
    google::protobuf::SetLogHandler(
        [](google::protobuf::LogLevel, const char*, int, const std::string&) { ++reports; });
  }
  ~CountReports() { google::protobuf::SetLogHandler(nullptr); }
};

// Parses and serializes strings with one record. Each thread has its own, as a local variable:
// MinGW frees the memory of a thread_local object before it calls the destructor.
class Utf8Check {
 public:
  // Whether parsing and serializing treat the text as the runtime's validator does: refused by the
  // one, reported by both, its bytes never changed. Needs a CountReports.
  bool AsTheRuntimeDoes(const std::string& text) {
    const bool valid = IsStructurallyValidUTF8(text.data(), static_cast<int>(text.size()));
    bytes_.assign(Tag(1, 2)).append(Varint(text.size())).append(text);
    reports = 0;
    if (record_.ParseFromString(bytes_) != valid || reports != (valid ? 0 : 1)) return false;
    // Parsed or not, the record has the text now.
    record_.set_collector(text);
    reports = 0;
    return record_.SerializeToString(&written_) && reports == (valid ? 0 : 1) &&
           (text.empty() ? written_.empty() : written_ == bytes_);
  }

 private:
  CollectorCache record_;
  std::string bytes_;
  std::string written_;
};

std::string Hex(const std::string& text) {
  std::string hex;
  for (const unsigned char byte : text) {
    constexpr char kDigits[] = "0123456789abcdef";
    hex += {' ', kDigits[byte / 16], kDigits[byte % 16]};
  }
  return hex;
}

TEST(Utf8, AnswersAsTheRuntimeForEverySequenceOfOneToThreeBytes) {
  const CountReports count;
  for (uint32_t size = 1; size <= 3; ++size) {
    const uint32_t end = 1U << (8 * size);
    const uint32_t stride = size == 3 ? kStride : 1;
    std::atomic<uint32_t> differing = 0, example = 0;
    std::vector<std::thread> threads;
    const uint32_t parts = std::max(1U, std::thread::hardware_concurrency());
    for (uint32_t part = 0; part < parts; ++part) {
      threads.emplace_back([&, part] {
        Utf8Check check;
        std::string text(size, '\0');
        for (uint32_t value = part * stride; value < end; value += parts * stride) {
          for (uint32_t i = 0; i < size; ++i) text[i] = static_cast<char>(value >> (8 * i));
          if (!check.AsTheRuntimeDoes(text)) ++differing, example = value;
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(differing, 0U) << "of " << size << " bytes, for example (last byte first) 0x"
                             << std::hex << example;
  }
}

TEST(Utf8, AnswersAsTheRuntimeAtTheBoundariesOfFourBytes) {
  const CountReports count;
  Utf8Check check;
  const std::string leads = "\x7f\x80\xbf\xc1\xc2\xdf\xe0\xed\xef\xf0\xf1\xf3\xf4\xf5\xf7\xff";
  const std::string followers = "\x01\x7f\x80\x8f\x90\x9f\xa0\xbf\xc0\xc2\xe0\xf0\xff";
  for (const char a : leads) {
    for (const char b : followers) {
      for (const char c : followers) {
        for (const char d : followers) {
          const std::string text = {a, b, c, d};
          ASSERT_TRUE(check.AsTheRuntimeDoes(text)) << Hex(text);
          ASSERT_TRUE(check.AsTheRuntimeDoes("text" + text + "text")) << Hex(text);
        }
      }
    }
  }
}

TEST(Utf8, FindsAByteThatIsNotAsciiAtEveryPlace) {
  const CountReports count;
  Utf8Check check;
  for (size_t size = 0; size <= 70; ++size) {
    ASSERT_TRUE(check.AsTheRuntimeDoes(std::string(size, 'a')));
    ASSERT_TRUE(check.AsTheRuntimeDoes(std::string(size, '\x7f')));
    for (size_t at = 0; at < size; ++at) {
      for (const char* piece : {"\x80", "\xff", "\xc3\xa4", "\xe2\x82\xac", "\xf0\x9f\x94\x8b"}) {
        std::string text(size, 'a');
        text.replace(at, 1, piece);
        ASSERT_TRUE(check.AsTheRuntimeDoes(text)) << Hex(text);
      }
    }
  }
}

TEST(Utf8, AnswersAsTheRuntimeForRandomText) {
  const CountReports count;
  Utf8Check check;
  std::mt19937 random(20240517);  // the same text each time
  const char* pieces[] = {
      "a", "text", "\xc3\xa4", "\xe2\x82\xac", "\xf0\x9f\x94\x8b", "\xed\xa0\x80", "\xff", "\xc3"};
  for (uint32_t i = 0; i < 200000 / kStride; ++i) {
    std::string text;
    // Mostly valid, now and then broken, for both answers are wanted of long strings too.
    const uint32_t kinds = random() % 3 == 0 ? 8 : 5;
    for (uint32_t n = random() % 24; n > 0; --n) text += pieces[random() % kinds];
    if (random() % 4 == 0 && !text.empty()) text.resize(random() % text.size());
    ASSERT_TRUE(check.AsTheRuntimeDoes(text)) << Hex(text);
  }
}

TEST(Utf8, IsReadTheSameFromInputThatComesInPieces) {
  const CountReports count;
  const char* ends[] = {"", "\xc3\xa4", "\xe2\x82\xac", "\xff", "\xe2\x82"};
  for (const size_t size : {0, 1, 7, 8, 13, 16, 17, 40, 127, 128, 300}) {
    for (const std::string end : ends) {
      const std::string text = std::string(size, 'a') + end;
      const std::string bytes = Tag(1, 2) + Varint(text.size()) + text;
      const bool valid = IsStructurallyValidUTF8(text.data(), static_cast<int>(text.size()));
      for (const int piece : {1, 2, 3, 15, 16, 17, 33, 1000}) {
        CollectorCache record;
        ArrayInputStream input(bytes.data(), static_cast<int>(bytes.size()), piece);
        reports = 0;
        ASSERT_EQ(record.ParseFromZeroCopyStream(&input), valid) << Hex(text) << " by " << piece;
        ASSERT_EQ(reports, valid ? 0 : 1) << Hex(text) << " by " << piece;
        ASSERT_EQ(record.collector(), text) << "by " << piece;
        ArrayInputStream less(bytes.data(), static_cast<int>(bytes.size()) - 1, piece);
        ASSERT_FALSE(record.ParseFromZeroCopyStream(&less)) << Hex(text) << " by " << piece;
      }
    }
  }
}

TEST(Utf8, ReportsTheFieldByItsFullNameAsTheRuntimeDoes) {
  const std::string text = "not UTF-8: \xff";
  // What the runtime says of a field when asked itself.
  const auto said = [&](WireFormatLite::Operation operation, const char* field) {
    const RuntimeLog log;
    WireFormatLite::VerifyUtf8String(text.data(), static_cast<int>(text.size()), operation, field);
    return log.text();
  };
  const auto check = [&](google::protobuf::Message* message, const std::string& full_name) {
    const std::string bytes = Tag(1, 2) + Varint(text.size()) + text;
    {
      const RuntimeLog log;
      EXPECT_FALSE(message->ParseFromString(bytes));
      EXPECT_EQ(log.text(), said(WireFormatLite::PARSE, full_name.c_str()));
      EXPECT_NE(log.text().find(full_name), std::string::npos);
    }
    const RuntimeLog log;
    EXPECT_EQ(message->SerializeAsString(), bytes);
    EXPECT_EQ(log.text(), said(WireFormatLite::SERIALIZE, full_name.c_str()));
  };
  CollectorCache record;
  check(&record, "ovix.telemetry.contract.storage.CollectorCache.collector");
  Error nested;
  check(&nested,
        "ovix.telemetry.contract.upload.log.PcLogPerformanceSamplesAsCDM.HwInfo.SystemBoardInfo."
        "Error."
        "system_error_states");
}

}  // namespace
}  // namespace ovix::tests
