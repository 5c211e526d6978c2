// Batch files: what a receiver reads of one is what waits in the outbox, whatever fails.
#include "uploader/batch.h"

#include <google/protobuf/util/json_util.h>
#include <google/protobuf/wrappers.pb.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <array>
#include <optional>
#include <sstream>

#include "ovix/telemetry/contract/upload/device_profile/identityAsCDM.pb.h"
#include "store/time.h"
#include "support/folder.h"
#include "support/memory_files.h"
#include "support/outbox.h"
#include "support/program.h"
#include "uploader/outbox.h"

namespace ovix::tests {
namespace {

using agent::BatchFile;
using agent::Files;
using agent::Label;
using agent::Outbox;
using telemetry::contract::upload::device_profile::IdentityAsCDM;

constexpr char kName[] = "batch.ndjson.gz";

Label LabelOf(const std::string& bytes, int64_t sequence) {
  return agent::MakeLabel(IdentityAsCDM::descriptor(), bytes, kDevice, agent::TimeText(kNow),
                          sequence);
}

// What a gzip file of one member holds; nothing where it is not one, or not whole.
std::optional<std::string> Unzip(const std::string& zipped) {
  z_stream stream = {};
  if (inflateInit2(&stream, MAX_WBITS + 16) != Z_OK) return std::nullopt;
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(zipped.data()));
  stream.avail_in = static_cast<uInt>(zipped.size());
  std::string text;
  std::array<char, 4096> piece;
  int result = Z_OK;
  while (result == Z_OK) {
    stream.next_out = reinterpret_cast<Bytef*>(piece.data());
    stream.avail_out = piece.size();
    result = inflate(&stream, Z_NO_FLUSH);
    text.append(piece.data(), piece.size() - stream.avail_out);
  }
  const bool is_whole = result == Z_STREAM_END && stream.avail_in == 0;
  inflateEnd(&stream);
  return is_whole ? std::optional(text) : std::nullopt;
}

// A line as a receiver sees it: its metadata, and the bytes.
struct Line {
  Label label;
  std::string payload;
};

std::vector<Line> Lines(const std::string& batch) {
  const auto text = Unzip(batch);
  if (!text) {
    ADD_FAILURE() << "is not a whole gzip file";
    return {};
  }
  EXPECT_TRUE(text->empty() || text->ends_with('\n'));
  std::vector<Line> lines;
  std::istringstream stream(*text);
  for (std::string json; std::getline(stream, json);) {
    const auto label = Label::FromJson(json);
    const std::string key = "\"data\": ";
    const size_t at = json.find(key);
    if (!label || at == std::string::npos) {
      ADD_FAILURE() << "is not a line of a batch: " << json;
      continue;
    }
    const size_t from = at + key.size();
    google::protobuf::BytesValue data;
    EXPECT_TRUE(google::protobuf::util::JsonStringToMessage(
                    json.substr(from, json.find('"', from + 1) + 1 - from), &data)
                    .ok())
        << json;
    lines.push_back({*label, data.value()});
  }
  return lines;
}

std::string BatchOf(const std::vector<std::string>& payloads) {
  MemoryFiles files;
  BatchFile batch(kName, files);
  int64_t sequence = 0;
  for (const std::string& payload : payloads) batch.Add(LabelOf(payload, ++sequence), payload);
  batch.Finish();
  EXPECT_EQ(batch.payloads(), sequence);
  EXPECT_EQ(batch.bytes(), files.Contents().at(kName).size());
  return files.Contents().at(kName);
}

TEST(Batch, HasALineForEachPayload) {
  // Bytes that base64 pads in each way, none, line ends, and more than any buffer holds.
  std::string large;
  for (uint32_t i = 0, value = 1; i < 300000; ++i, value = value * 1103515245 + 12345) {
    large += static_cast<char>(value >> 16);
  }
  const std::vector<std::string> payloads = {"a", "ab", "abc", "", "\n\r\"\\", large, "z"};
  const std::string batch = BatchOf(payloads);
  const std::vector<Line> lines = Lines(batch);
  ASSERT_EQ(lines.size(), payloads.size());
  for (size_t i = 0; i < payloads.size(); ++i) {
    EXPECT_EQ(lines[i].payload, payloads[i]) << i;
    EXPECT_EQ(lines[i].label.ToJson(), LabelOf(payloads[i], static_cast<int64_t>(i) + 1).ToJson());
  }
  EXPECT_EQ(BatchOf(payloads), batch) << "the same payloads give the same bytes";
  EXPECT_TRUE(Lines(BatchOf({})).empty());
}

TEST(Batch, HasWhatWaitsInTheOutboxByItsNumber) {
  const Folder folder;
  std::filesystem::create_directories(folder / "outbox");
  {
    Outbox outbox(folder / "outbox", kMake, Files::System());
    for (const int sequence : {10, 2, 33}) {
      const std::string bytes = std::to_string(sequence);
      // The later the number, the earlier the time: the device's clock goes back.
      outbox.Write(agent::MakeLabel(IdentityAsCDM::descriptor(), bytes, kDevice,
                                    agent::TimeText(kNow - std::chrono::hours(sequence)), sequence),
                   bytes);
    }
    outbox.Write(LabelOf("sound", 4), "sound");
    outbox.Write(LabelOf("longer", 5), "longer");
  }
  const auto pack = [&](const std::string& file) {
    return RunIn(folder, OVIX_TESTS_AGENT, "pack \"" + Utf8(folder / "outbox") + "\" " + file);
  };
  const std::string file = "\"" + Utf8(folder / kName) + "\"";
  ProgramRun run = pack(file);
  EXPECT_EQ(run.exit_code, 0) << run.errors;
  EXPECT_EQ(run.output.substr(0, 17), "5 payloads packed") << run.output;

  // A payload that was changed does not go out with its metadata; the others do.
  folder.Write("outbox/" + LabelOf("sound", 4).FileStem() + ".binpb", "other");
  folder.Write("outbox/" + LabelOf("longer", 5).FileStem() + ".binpb", "short");
  run = pack(file);
  EXPECT_EQ(run.exit_code, 1);
  for (const Label& label : {LabelOf("sound", 4), LabelOf("longer", 5)}) {
    EXPECT_NE(run.errors.find(label.FileStem() + ".binpb: "), std::string::npos) << run.errors;
  }
  std::string sequences;
  for (const Line& line : Lines(folder.Read(kName))) {
    sequences += std::to_string(line.label.sequence) + "=" + line.payload + " ";
  }
  EXPECT_EQ(sequences, "2=2 10=10 33=33 ");

  // What cannot be written leaves the batch of before.
  const std::string before = folder.Read(kName);
  run = pack("\"" + Utf8(folder / "nowhere" / kName) + "\"");
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_NE(run.errors.find("the batch cannot be written"), std::string::npos) << run.errors;
  run = pack("\"" + Utf8(folder.path()) + "\"");
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_NE(run.errors.find("Is a folder, not a file"), std::string::npos) << run.errors;
  EXPECT_EQ(folder.Read(kName), before);
}

// Every call fails once, or is the last one: the file is the new one, whole, or the one before.
TEST(Batch, IsWholeOrNotThere) {
  const std::string before = BatchOf({"before"});
  const std::string after = BatchOf({"a", "b"});
  for (const auto fault : {MemoryFiles::Fault::kFail, MemoryFiles::Fault::kKill}) {
    int call = 0;
    for (bool happened = true; happened; ++call) {
      SCOPED_TRACE(call);
      MemoryFiles files;
      files.Put(kName, before);
      files.Put(".batch.ndjson.gz.ovix-part", "left of a run that was killed");
      files.Plan(fault, call);
      bool finished = false;
      try {
        BatchFile batch(kName, files);
        batch.Add(LabelOf("a", 1), "a");
        batch.Add(LabelOf("b", 2), "b");
        batch.Finish();
        finished = true;
      } catch (const std::runtime_error&) {
      } catch (const MemoryFiles::Killed&) {
      }
      happened = files.happened();
      if (fault == MemoryFiles::Fault::kFail && call != 0) {  // 0: what was left stays
        EXPECT_EQ(files.Contents().size(), 1U) << "something is left over";
      }
      files.LosePower(call % 2 == 0 ? ~0U : 0U);
      const std::string now = files.Contents().at(kName);
      EXPECT_TRUE(now == after || (now == before && !finished));
    }
    EXPECT_GT(call, 5);
  }
}

}  // namespace
}  // namespace ovix::tests
