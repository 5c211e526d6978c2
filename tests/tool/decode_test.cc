// Payloads decoded from what their users have: an outbox, a label, a gun, bytes as text, bytes of
// which nothing is known, a stream that is still being written.
#include <google/protobuf/descriptor.pb.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <string>

#include "ovix/telemetry/contract/upload/log/hardware/hwBatteryHealthLogAsCDM.pb.h"
#include "payload/labelled.h"
#include "support/contracts.h"
#include "support/folder.h"
#include "support/tool.h"
#include "uploader/label.h"

namespace ovix::tests {
namespace {

using telemetry::contract::upload::log::hardware::HwBatteryHealthLogAsCDM;

constexpr char kCreated[] = "2026-11-21T04:31:09.120Z";
constexpr char kGun[] =
    "com.ovix.cdm.domain.telemetry.type.eventDetail.category.pcLogHwBatteryHealth.version.1";

size_t Lines(const std::string& text) {
  return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

// A payload as the agent's uploader leaves it in an outbox. Its two files have the name that is
// returned, with .binpb and .json.
std::string WritePayload(const Folder& folder, const google::protobuf::Message& message,
                         int64_t sequence, const std::string& created = kCreated) {
  const std::string bytes = message.SerializeAsString();
  const agent::Label label = agent::MakeLabel(
      message.GetDescriptor(), bytes, "5c91a2bf-2873-8c8c-9f56-07345e9936b3", created, sequence);
  const std::string stem = "outbox/" + label.FileStem();
  folder.Write(stem + ".binpb", bytes);
  folder.Write(stem + ".json", label.ToJson());
  return stem;
}

std::string WriteBattery(const Folder& folder, int64_t sequence, uint32_t age,
                         const std::string& created = kCreated) {
  HwBatteryHealthLogAsCDM payload;
  payload.set_version("1.0.0");
  payload.set_battery_serial_number("S1");
  payload.set_age(age);
  return WritePayload(folder, payload, sequence, created);
}

// Replaces a string of a file.
void Change(const Folder& folder, const std::string& name, const std::string& text,
            const std::string& by) {
  std::string content = folder.Read(name);
  const size_t at = content.find(text);
  ASSERT_NE(at, std::string::npos) << name << " has no " << text;
  folder.Write(name, content.replace(at, text.size(), by));
}

// --- By label and outbox

TEST(ToolDecode, TakesAnOutboxOrALabel) {
  const Folder folder;
  // By sequence number, not by name: a clock can go back.
  const std::string second = WriteBattery(folder, 10'000'000'000'000, 2);
  const std::string first = WriteBattery(folder, 7, 1, "2026-11-22T04:31:09.120Z");
  folder.Write("outbox/notes.json", "nobody's label");
  folder.Write("outbox/.ovix-agent.lock", "");
  folder.Write("outbox/20261121T043109120Z-0000000000008-HwBatteryHealthLogAsCDM.binpb",
               "not whole yet");

  const ProgramRun one = RunTool(folder, "decode " + Quoted(folder, first + ".json"));
  EXPECT_EQ(one.exit_code, 0) << one.errors;
  EXPECT_EQ(one.output,
            "{\n \"version\": \"1.0.0\",\n \"battery_serial_number\": \"S1\",\n \"age\": 1\n}\n");

  const ProgramRun all = RunTool(folder, "decode " + Quoted(folder, "outbox"));
  EXPECT_EQ(all.exit_code, 0) << all.errors;
  EXPECT_EQ(all.errors, "");
  ASSERT_EQ(Lines(all.output), 2u) << all.output;
  const size_t end = all.output.find('\n');
  const auto line = Json(all.output.substr(0, end));
  EXPECT_EQ(line.fields().at("message").struct_value().fields().at("age").number_value(), 1);
  // The label whole, as it is in its file.
  EXPECT_EQ(line.fields().at("label").struct_value().DebugString(),
            Json(folder.Read(first + ".json")).DebugString());
  EXPECT_NE(all.output.find("\"age\":2", end), std::string::npos) << all.output;

  const ProgramRun text = RunTool(folder, "decode --format text " + Quoted(folder, "outbox"));
  EXPECT_TRUE(text.output.starts_with("# {\"gun\":\"" + std::string(kGun))) << text.output;
  EXPECT_NE(text.output.find("}\nversion: \"1.0.0\"\n"), std::string::npos) << text.output;

  // Several labels are as their outbox, also where the output is a file.
  const ProgramRun both =
      RunTool(folder, "decode " + Quoted(folder, first + ".json") + " " +
                          Quoted(folder, second + ".json") + " -o " + Quoted(folder, "made"));
  EXPECT_EQ(both.exit_code, 0) << both.errors;
  EXPECT_EQ(folder.Read("made"), all.output);
}

TEST(ToolDecode, RedactsTheLabelToo) {
  const Folder folder;
  WriteBattery(folder, 7, 1);
  const ProgramRun run = RunTool(folder, "decode --redact all " + Quoted(folder, "outbox"));
  EXPECT_EQ(run.exit_code, 0) << run.errors;
  for (const char* key : {"\"device\"", "\"id\"", "\"sha256\"", "\"bytes\"", "\"payload\"",
                          "\"sequence\"", "S1", "5c91a2bf"}) {
    EXPECT_EQ(run.output.find(key), std::string::npos) << key << " in " << run.output;
  }
  EXPECT_NE(run.output.find("\"created\":\"" + std::string(kCreated) + "\"}"), std::string::npos)
      << run.output;
  EXPECT_NE(run.errors.find("dropped: 1"), std::string::npos) << run.errors;

  // A release that does not say what is personal.
  const ProgramRun first =
      RunTool(folder, "decode --redact all " + Quoted(folder, "outbox") + " --contracts \"" +
                          OVIX_TESTS_SOURCE_ROOT + "/compat/1.0.0/contracts.binpb\"");
  EXPECT_EQ(first.exit_code, 2);
  EXPECT_EQ(first.output, "");
  EXPECT_NE(first.errors.find("state no privacy class"), std::string::npos) << first.errors;

  // And one that does not say it of this payload.
  google::protobuf::FileDescriptorSet set = DescriptorSet();
  for (auto& file : *set.mutable_file()) {
    if (file.name().ends_with("/hwBatteryHealthLogAsCDM.proto")) file.clear_source_code_info();
  }
  folder.Write("partly.binpb", set.SerializeAsString());
  const ProgramRun partly = RunTool(folder, "decode --redact all " + Quoted(folder, "outbox") +
                                                " --contracts " + Quoted(folder, "partly.binpb"));
  EXPECT_EQ(partly.exit_code, 1);
  EXPECT_EQ(partly.output, "");
  EXPECT_NE(partly.errors.find("it has no comments of"), std::string::npos) << partly.errors;
}

TEST(ToolDecode, NamesTheBadOfAnOutboxAndGoesOn) {
  const struct {
    const char* name;
    std::function<void(const Folder&, const std::string&)> damage;
    const char* said;
    bool is_decoded;
  } cases[] = {
      {"size",
       [](auto& folder, auto& stem) {
         Change(folder, stem + ".json", "\"bytes\": 13", "\"bytes\": 12");
       },
       ": it has 13 bytes, the metadata file states 12", false},
      {"no size",
       [](auto& folder, auto& stem) { Change(folder, stem + ".json", "\"bytes\"", "\"size\""); },
       "the metadata file does not state the size", false},
      {"content", [](auto& folder, auto& stem) { Change(folder, stem + ".binpb", "S1", "S2"); },
       "the metadata file states \"", false},
      {"gun",
       [](auto& folder, auto& stem) {
         Change(folder, stem + ".json", "Health.version.1", "Health.version.2");
       },
       "; is it "
       "com.ovix.cdm.domain.telemetry.type.eventDetail.category.pcLogHwBatteryHealth.version.1?",
       false},
      {"message",
       [](auto& folder, auto& stem) {
         Change(folder, stem + ".json", "hardware.HwB", "hardware.HwC");
       },
       "but its gun is that of ovix.telemetry.contract.upload.log.hardware.HwBatteryHealthLogAsCDM",
       false},
      // Whatever has the gun can be read.
      {"version",
       [](auto& folder, auto& stem) { Change(folder, stem + ".json", "\"1.0.0\"", "\"1.1.0\""); },
       "the metadata file states \"1.1.0\", these contracts have 1.0.0", true},
      {"missing",
       [](auto& folder, auto& stem) { std::filesystem::remove(folder / (stem + ".binpb")); },
       ".binpb is missing or not a file", false},
      {"elsewhere",
       [](auto& folder, auto& stem) {
         folder.Write("other", folder.Read(stem + ".binpb"));
         Change(folder, stem + ".json", "\"payload\": \"",
                "\"payload\": \"../other\", \"was\": \"");
       },
       "\"../other\" does not name a file next to the metadata file", false},
      {"no label", [](auto& folder, auto& stem) { folder.Write(stem + ".json", "{}"); },
       "is not a metadata file: it has no gun", false},
      {"no JSON", [](auto& folder, auto& stem) { folder.Write(stem + ".json", "\x1b[1m"); },
       "is not a metadata file: line 1 is not JSON", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Folder folder;
    const std::string good = WriteBattery(folder, 1, 1);
    const std::string bad = WriteBattery(folder, 2, 2);
    const std::string last = WriteBattery(folder, 3, 3);
    c.damage(folder, bad);
    const ProgramRun run = RunTool(folder, "decode " + Quoted(folder, "outbox"));
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_EQ(Lines(run.output), c.is_decoded ? 3u : 2u) << run.output;
    EXPECT_EQ(run.output.find("\"age\":2") != std::string::npos, c.is_decoded);
    EXPECT_NE(run.output.find("\"age\":3"), std::string::npos);
    // One line for the payload, with its label, then how many there were.
    EXPECT_EQ(Lines(run.errors), c.is_decoded ? 1u : 2u) << run.errors;
    EXPECT_TRUE(run.errors.starts_with("ovix-contracts: " +
                                       Utf8((folder / (bad + ".json")).make_preferred())))
        << run.errors;
    EXPECT_NE(run.errors.find(c.said), std::string::npos) << run.errors;
    if (!c.is_decoded) {
      EXPECT_NE(run.errors.find("1 of 3 payloads were left out\n"), std::string::npos);
    }
    // Alone: nothing is written.
    folder.Write("made", "as it was");
    const ProgramRun alone = RunTool(
        folder, "decode " + Quoted(folder, bad + ".json") + " -o " + Quoted(folder, "made"));
    EXPECT_EQ(alone.exit_code, c.is_decoded ? 1 : 2);
    EXPECT_EQ(Lines(alone.errors), 1u) << alone.errors;
    EXPECT_EQ(folder.Read("made") == "as it was", !c.is_decoded);
  }
}

TEST(ToolDecode, ReadsWhatDoesNotParseAsBadToo) {
  const Folder folder;
  WriteBattery(folder, 1, 1);
  const std::string bad = WriteBattery(folder, 2, 2);
  // Bytes that are labelled as they are, but are not a message.
  const std::string bytes = "\x12\x7fx";
  const agent::Label label = agent::MakeLabel(HwBatteryHealthLogAsCDM::descriptor(), bytes, "",
                                              "2026-11-21T04:31:09.120Z", 2);
  folder.Write("outbox/" + label.FileStem() + ".json", label.ToJson());
  folder.Write("outbox/" + label.FileStem() + ".binpb", bytes);
  const ProgramRun run = RunTool(folder, "decode " + Quoted(folder, "outbox"));
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_EQ(Lines(run.output), 1u);
  EXPECT_NE(run.errors.find(".binpb: byte 0: "), std::string::npos) << run.errors;
}

TEST(ToolDecode, RefusesWordsThatNameNothing) {
  const Folder folder;
  const std::string stem = WriteBattery(folder, 1, 1);
  const std::string label = Quoted(folder, stem + ".json");
  std::filesystem::create_directories(folder / "empty");
  const struct {
    std::string arguments;
    int exit_code;
    const char* said;
  } cases[] = {
      {"", 2, "name a message, the metadata file of a payload, or an outbox"},
      {Quoted(folder, "nowhere.json"), 2, "nowhere.json: cannot be read"},
      {Quoted(folder, "empty"), 0, "empty: holds no metadata files of payloads"},
      {label + " --delimited", 2, "is the metadata file of a payload or an outbox"},
      {label + " --input-encoding hex", 2, "is the metadata file of a payload or an outbox"},
      {"BatteryHealthLog a b", 2, "b: is a second input"},
      {"BatteryHealthLog --skip-bad", 2, "it is for streams (--delimited)"},
      {label + " -o " + Quoted(folder, stem + ".binpb"), 2, "would destroy it"},
      {label + " -o " + label, 2, "would destroy it"},
      {"--gun " + std::string(kGun) + "2", 2, "no payload has this gun; is it"},
      {"BatteryHealthLog --input-encoding octal", 2, "'octal' is none of binary, hex or base64"},
      {"--raw --gun x", 2, "--gun"},
      {"--raw --redact all", 2, "--redact"},
      {"--raw --format text", 2, "--format"},
  };
  const auto before = folder.Contents();
  for (const auto& c : cases) {
    SCOPED_TRACE(c.arguments);
    const ProgramRun run = RunTool(folder, "decode " + c.arguments);
    EXPECT_EQ(run.exit_code, c.exit_code);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(Lines(run.errors), 1u) << run.errors;
    EXPECT_NE(run.errors.find(c.said), std::string::npos) << run.errors;
    for (const auto& [name, content] : before) {
      EXPECT_EQ(folder.Contents().at(name), content) << name;
    }
  }
}

// --- By gun, as text, and without a contract

TEST(ToolDecode, TakesAGunAndBytesWrittenAsText) {
  const Folder folder;
  const std::string bytes =
      "\x0a\x05"
      "1.0.0"
      "\x38\x01";
  const std::string json = "{\n \"version\": \"1.0.0\",\n \"age\": 1\n}\n";
  folder.Write("payload", bytes);
  const std::string gun = "decode --gun " + std::string(kGun);
  EXPECT_EQ(RunTool(folder, gun + " " + Quoted(folder, "payload")).output, json);
  EXPECT_EQ(RunTool(folder, gun, bytes).output, json);
  const std::pair<std::string, std::string> cases[] = {
      {"hex", "0a05312e302e303801"},
      {"hex", "0x0A05312E302E303801\n"},
      {"hex", " 0a 05 31 2e\r\n30 2e\t30 38 01 \n"},
      {"base64", "CgUxLjAuMDgB"},
      {"base64", "CgUxLj\nAuMDgB\n"},
      // Nine bytes need no padding; eight do, and ten have another.
      {"base64",
       "CgUxLjAuMDg"
       "B"},
  };
  for (const auto& [encoding, text] : cases) {
    SCOPED_TRACE(text);
    const ProgramRun run = RunTool(folder, gun + " --input-encoding " + encoding, text);
    EXPECT_EQ(run.exit_code, 0) << run.errors;
    EXPECT_EQ(run.output, json);
  }
  // Each remainder of three, with padding and without, and both alphabets.
  const std::pair<std::string, std::string> padded[] = {
      {"CgE+", ">"},    {"CgE-", ">"},       {"CgI/Pw==", "??"},
      {"CgI_Pw", "??"}, {"CgM/Pz8=", "???"}, {"CgM/Pz8", "???"},
  };
  for (const auto& [text, value] : padded) {
    SCOPED_TRACE(text);
    const ProgramRun run =
        RunTool(folder, "decode BatteryHealthLog --format text --input-encoding base64", text);
    EXPECT_EQ(run.output, "time: \"" + value + "\"\n") << run.errors;
  }
  // A stream, whose text is cut anywhere.
  std::string stream;
  for (int i = 0; i < 100'000; ++i) stream += "02 3801\n";
  const ProgramRun many =
      RunTool(folder, "decode BatteryHealthLog --delimited --input-encoding hex", stream);
  EXPECT_EQ(many.exit_code, 0) << many.errors;
  EXPECT_EQ(many.output.size(), 100'000 * std::string("{\"age\":1}\n").size());
}

TEST(ToolDecode, RefusesTextThatIsNotTheEncoding) {
  const Folder folder;
  const struct {
    const char* encoding;
    const char* text;
    const char* said;
  } cases[] = {
      {"hex", "0a\n0g", "standard input:2:2: the character here is not a hexadecimal digit"},
      {"hex", "0a0", "standard input: the input ends within a byte"},
      {"hex", "0a0x31", "standard input:1:4: "},
      {"hex", "1x31", "standard input:1:2: "},
      {"base64", "Cg!x", "standard input:1:3: the character here is not a digit of base64"},
      {"base64", "CgUxLjAuMDgBC", "standard input: the input ends within a byte"},
      {"base64", "Cg==Cg==", "standard input:1:5: the character here follows the padding"},
      {"base64", "C===", "standard input:1:2: the character here is padding in a wrong place"},
      {"base64", "Cg===", "standard input:1:5: the character here is padding in a wrong place"},
      {"base64", "CgI/Pw=", "standard input: the input ends within a byte"},
      {"base64", "CgI/Px", "standard input: the input ends within a byte"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    const ProgramRun run = RunTool(
        folder, "decode BatteryHealthLog --input-encoding " + std::string(c.encoding), c.text);
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(Lines(run.errors), 1u);
    EXPECT_NE(run.errors.find(c.said), std::string::npos) << run.errors;
  }
}

// A sender removes the label, then the payload: what was listed may be gone when its turn comes.
TEST(ToolDecode, MissesNothingThatASenderTakesMeanwhile) {
  const Folder folder;
  const std::string stem = WriteBattery(folder, 1, 1);
  const std::string label = Utf8(folder / (stem + ".json"));
  const auto& contracts = tool::Contracts::Installed();
  EXPECT_TRUE(tool::ReadLabelled(contracts, {label, true}).has_value());
  std::filesystem::remove(folder / (stem + ".binpb"));
  EXPECT_TRUE(tool::ReadLabelled(contracts, {label, true}).has_value())
      << "the label is still there";
  std::filesystem::remove(folder / (stem + ".json"));
  EXPECT_FALSE(tool::ReadLabelled(contracts, {label, true}).has_value());
  EXPECT_THROW(tool::ReadLabelled(contracts, {label, false}), std::runtime_error);
}

TEST(ToolDecode, GuessesWithoutAContract) {
  const Folder folder;
  const std::string long_text = "2026-11-21T04:31:09.120Z, and so on";
  const std::pair<std::string, std::string> cases[] = {
      {"", ""},
      {Tag(7, 0) + "\x03", "7 (varint): 3\n"},
      {Tag(7, 0) + Varint(static_cast<uint64_t>(-1)), "7 (varint): 18446744073709551615 or -1\n"},
      {Tag(10, 5) + std::string("\0\0\x80\x3f", 4), "10 (i32): 1065353216 or 1\n"},
      {Tag(10, 1) + std::string("\0\0\0\0\0\0\xf8\xbf", 8),
       "10 (i64): 13832806255468478464 or -1.5\n"},
      {Tag(1, 2) + Varint(5) + "12:00", "1 (len): \"12:00\"\n"},
      {Tag(1, 2) + Varint(0), "1 (len): \"\"\n"},
      {Tag(1, 2) + Varint(6) + "\xc3\xa4\xe2\x82\xac\x0a",
       "1 (len): \"\xc3\xa4\xe2\x82\xac\\n\"\n"},
      // Text that could be a message is text, unless there is more of a message in it.
      {Tag(1, 2) + Varint(2) + "81", "1 (len): \"81\"\n"},
      {Tag(2, 2) + Varint(2 + long_text.size()) + Tag(4, 2) + Varint(long_text.size()) + long_text,
       "2 (len): {\n  4 (len): \"" + long_text + "\"\n}\n"},
      {Tag(19, 2) + Varint(2) + Tag(1, 0) + "\x01", "19 (len): {\n  1 (varint): 1\n}\n"},
      {Tag(5, 3) + Tag(1, 0) + "\x01" + Tag(5, 4) + Tag(6, 0) + "\x02",
       "5 (group): {\n  1 (varint): 1\n}\n6 (varint): 2\n"},
      // A packed list, and bytes that are nothing at all.
      {Tag(18, 2) + Varint(3) + "\x03\x8e\x02", "18 (len): 0x038e02 or 3, 270\n"},
      {Tag(18, 2) + Varint(3) + "\xff\xfe\xff", "18 (len): 0xfffeff\n"},
  };
  for (const auto& [bytes, said] : cases) {
    const ProgramRun run = RunTool(folder, "decode --raw", bytes);
    EXPECT_EQ(run.exit_code, 0) << run.errors;
    EXPECT_EQ(run.output, said);
  }
  // What precedes a fault is shown, and a stream goes on after one.
  const ProgramRun cut = RunTool(folder, "decode --raw",
                                 Tag(7, 0) + "\x03" + Tag(1, 2) +
                                     "\x05"
                                     "ab");
  EXPECT_EQ(cut.exit_code, 2);
  EXPECT_EQ(cut.output, "7 (varint): 3\n");
  EXPECT_NE(
      cut.errors.find("standard input: byte 2: unknown field 1 needs 5 bytes, but 2 are left"),
      std::string::npos)
      << cut.errors;
  folder.Write("stream", std::string("\x02\x38\x01\x01\x38\x02\x38\x02"));
  const ProgramRun stream =
      RunTool(folder, "decode --raw --delimited --skip-bad " + Quoted(folder, "stream"));
  EXPECT_EQ(stream.exit_code, 1);
  EXPECT_EQ(stream.output, "# message 1\n7 (varint): 1\n# message 2\n# message 3\n7 (varint): 2\n");
  EXPECT_NE(stream.errors.find("byte 5: the input ends within a number; skipped\n"),
            std::string::npos)
      << stream.errors;
}

// --- Streams

TEST(ToolDecode, GoesOnAfterABadMessageIfAsked) {
  const Folder folder;
  const std::string stream = std::string("\x02\x38\x01") + "\x02\x0a\x05" + "\x02\x38\x02" +
                             "\x03\x0a\x01\xff" + "\x02\x38\x03";
  const ProgramRun strict = RunTool(folder, "decode BatteryHealthLog --delimited", stream);
  EXPECT_EQ(strict.exit_code, 2);
  const ProgramRun run = RunTool(folder, "decode BatteryHealthLog --delimited --skip-bad", stream);
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_EQ(run.output, "{\"age\":1}\n{\"age\":2}\n{\"age\":3}\n");
  EXPECT_EQ(Lines(run.errors), 3u) << run.errors;
  EXPECT_NE(run.errors.find("byte 4: "), std::string::npos) << run.errors;
  EXPECT_NE(run.errors.find("standard input: 2 bad messages were skipped\n"), std::string::npos);
  // A stream that is cut off cannot go on.
  EXPECT_EQ(RunTool(folder, "decode BatteryHealthLog --delimited --skip-bad", "\x09\x38").exit_code,
            2);

  // A thousand of them are not a thousand lines.
  std::string lines;
  for (int i = 0; i < 1'000; ++i)
    lines += "{\"age\":" + std::string(i % 2 == 0 ? "1" : "x") + "}\n";
  EXPECT_EQ(RunTool(folder, "encode BatteryHealthLog --delimited", lines).exit_code, 2);
  const ProgramRun encoded =
      RunTool(folder, "encode BatteryHealthLog --delimited --skip-bad", lines);
  EXPECT_EQ(encoded.exit_code, 1);
  EXPECT_EQ(encoded.output.size(), 500 * 3u);
  EXPECT_EQ(Lines(encoded.errors), 21u);
  EXPECT_NE(encoded.errors.find("standard input:2:8: "), std::string::npos) << encoded.errors;
  EXPECT_NE(encoded.errors.find("standard input: 500 bad messages were skipped\n"),
            std::string::npos);
  EXPECT_EQ(RunTool(folder, "encode BatteryHealthLog --skip-bad", "{}").exit_code, 2);
}

#ifndef _WIN32

// What was written to a stream is on its other end before the stream ends: each message, however
// short, and each line.
TEST(ToolDecode, WritesWhatItHasWhenTheInputPauses) {
  const Folder folder;
  // Waits for a file to have this size, for ten seconds at most.
  const std::string wait =
      "await() { for try in $(seq 200); do [ \"$(wc -c <$1)\" -ge $2 ] && return; sleep 0.05; "
      "done; echo \"$1 has $(wc -c <$1) bytes\"; }\n";
  const std::pair<const char*, const char*> cases[] = {
      {"decode BatteryHealthLog --delimited",
       "printf '\\002\\070\\001' >&3; await seen 10\n"
       "printf '\\002\\070\\002' >&3; await seen 20\n"
       "printf '\\000' >&3; await seen 23\n"},
      {"decode BatteryHealthLog --delimited --input-encoding hex",
       "echo 02 38 01 >&3; await seen 10\necho 023802 >&3; await seen 20\n"},
      {"decode --raw --delimited", "printf '\\002\\070\\001' >&3; await seen 26\n"},
      {"encode BatteryHealthLog --delimited",
       "echo '{\"age\":1}' >&3; await seen 3\n"
       "echo '{\"age\":2}' >&3; await seen 6\n"},
      {"check BatteryHealthLog --delimited", "printf '\\003\\070\\001\\300' >&3; await seen 40\n"},
  };
  for (const auto& [command, feed] : cases) {
    SCOPED_TRACE(command);
    const ProgramRun run =
        RunShell(folder, wait + "rm -f pipe seen; mkfifo pipe; : >seen\n\"$tool\" " + command +
                             " <pipe >seen 2>said &\nexec 3>pipe\n" + feed + "exec 3>&-\nwait");
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, "");
  }
}

TEST(ToolDecode, EndsWithoutAWordWhereNobodyReads) {
  const Folder folder;
  const std::string feed = "yes '{\"age\":1}' | head -n 200000 | ";
  const std::pair<std::string, std::string> cases[] = {
      {feed +
           "{ \"$tool\" encode BatteryHealthLog --delimited; echo $? >code; } | head -c 1 | wc -c",
       "1\n141\n"},
      {"{ \"$tool\" sample BatteryHealthLog -n 1000000; echo $? >code; } | head -n 1 | wc -l",
       "1\n141\n"},
      // It did not start with a signal that ends it.
      {"trap '' PIPE; { \"$tool\" sample BatteryHealthLog -n 1000000; echo $? >code; } | head -n 1 "
       "| "
       "wc -l",
       "1\n2\n"},
  };
  for (const auto& [script, output] : cases) {
    SCOPED_TRACE(script);
    const ProgramRun run = RunShell(folder, "ulimit -c 0; " + script + "; cat code");
    EXPECT_EQ(run.output, output);
    EXPECT_EQ(run.errors, "");
  }
}

#endif

// --- Errors in the words of the schema

TEST(ToolDecode, ExplainsBadValuesInTheWordsOfTheSchema) {
  const Folder folder;
  const struct {
    const char* arguments;
    const char* input;
    const char* said;
  } cases[] = {
      {"HardwareEvents", R"({"event":"STATE_EVENT_INSRT"})",
       ":1:10: ovix.telemetry.contract.storage.device_profile.HardwareEvents.event: "
       "\"STATE_EVENT_INSRT\" is not of type"},
      {"HardwareEvents", R"({"event":"STATE_EVENT_INSRT"})",
       "; is it STATE_EVENT_INSERT? Write the number or the name of a value: "},
      {"HardwareEvents", R"({"event":"insert"})", "; is it STATE_EVENT_INSERT? Write the number"},
      // All values begin alike, so that says nothing.
      {"HardwareEvents", R"({"event":"STATE_EVENT_NOTHING"})", "; write the number or the name"},
      {"HardwareEvents", R"({"event":"x"})", "; write the number or the name of a value: "},
      {"BatteryHealthLog", R"({"agee":1})", "has no field \"agee\"; is it age?"},
      {"--format text BatteryHealthLog", "age: x",
       "standard input:1:6: ovix.telemetry.contract.storage.device_health.BatteryHealthLog.age: x "
       "is not of type uint32; write a whole number from 0 to 4294967295"},
      {"--format text BatteryHealthLog", "time: \"a\"\n\tage: 4294967296",
       ":2:7: ovix.telemetry.contract.storage.device_health.BatteryHealthLog.age: 4294967296 is "
       "not of type uint32"},
      {"--format text BatteryHealthLog", "age: -1", ".age: -1 is not of type uint32"},
      {"--format text BatteryHealthLog", "time: 5", ".time: 5 is not of type string"},
      {"--format text BatteryHealthLog", "voltage_perc: x",
       ".voltage_perc: x is not of type float; write a number of its range, nan, inf or -inf"},
      {"--format text BatteryHealthLog", "age: 1\nagee: 1",
       ":2:1: ovix.telemetry.contract.storage.device_health.BatteryHealthLog: has no field "
       "\"agee\"; is it age?"},
      {"--format text BatteryHealthLog", "battery_status { dischargin: true }",
       ":1:18: ovix.telemetry.contract.storage.device_health.BatteryStatus: has no field "
       "\"dischargin\"; is it discharging?"},
      {"--format text BatteryHealthLog", "battery_status { discharging: maybe }",
       ".discharging: maybe is not of type bool; write true or false"},
      {"--format text HardwareEvents", "event: STATE_EVENT_INSRT",
       "; is it STATE_EVENT_INSERT? Write the number or the name of a value: "},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.input);
    const ProgramRun run = RunTool(folder, "encode " + std::string(c.arguments), c.input);
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(Lines(run.errors), 1u);
    EXPECT_NE(run.errors.find(c.said), std::string::npos) << run.errors;
  }
}

}  // namespace
}  // namespace ovix::tests
