// Every command of ovix-contracts that reads a file, given any bytes: it ends with its own error or
// does what it says. The first byte chooses the command, the next two the contract.
#include <google/protobuf/stubs/logging.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "commands/commands.h"
#include "contracts.h"
#include "folder.h"
#include "terminal/error.h"

namespace {

using namespace ovix::fuzz;
namespace fs = std::filesystem;

// Where this run's files lie.
const fs::path& Base() {
  static const Folder folder("tool");
  // What the commands print is not looked at.
  static const bool is_silent = std::freopen("/dev/null", "w", stdout) != nullptr;
  if (!is_silent) std::abort();
  return folder.path();
}

// As a shell gives it, but in this process.
void Run(std::vector<std::string> words) {
  CLI::App app;
  int exit_code = 0;
  ovix::tool::AddDdl(app, exit_code);
  ovix::tool::AddEncode(app, exit_code);
  ovix::tool::AddDecode(app, exit_code);
  ovix::tool::AddCheck(app, exit_code);
  ovix::tool::AddDiff(app, exit_code);
  std::reverse(words.begin(), words.end());  // as CLI11 takes them
  try {
    app.parse(words);
  } catch (const CLI::ParseError&) {
  } catch (const ovix::tool::Error& error) {
    if (*error.what() == '\0') std::abort();
  } catch (const ovix::tool::ClosedPipe&) {
    std::abort();  // nothing is a pipe here
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 3) return 0;
  const Input input = Choose(Prototypes(), data + 1, size - 1);
  const std::string file = (Base() / "input").string();
  const std::string output = (Base() / "output").string();
  std::ofstream(file, std::ios::binary) << input.content;
  const std::string name = input.prototype->GetTypeName();
  switch (data[0] % 15) {
    case 0:
      Run({"decode", name, file, "-o", output});
      break;
    case 1:
      Run({"decode", name, file, "--format", "text", "-o", output});
      break;
    case 2:
      Run({"decode", name, file, "--delimited", "-o", output});
      break;
    case 3:
      Run({"encode", name, file, "-o", output});
      break;
    case 4:
      Run({"encode", name, file, "--format", "text", "-o", output});
      break;
    case 5:
      Run({"encode", name, file, "--delimited", "-o", output});
      break;
    case 6:
      Run({"diff", file, "--format", "json"});
      break;
    case 7:
      Run({"ddl", "--from", file});
      break;
    case 8:
      Run({"decode", "--raw", file, "-o", output});
      break;
    case 9:
      Run({"decode", "--raw", "--delimited", "--skip-bad", file, "-o", output});
      break;
    case 10:
      Run({"decode", name, file, "--input-encoding", "hex", "-o", output});
      break;
    case 11:
      Run({"decode", name, file, "--input-encoding", "base64", "-o", output});
      break;
    case 12:
      Run({"check", name, file});
      break;
    case 13:
      Run({"check", name, "--delimited", file});
      break;
    case 14:
      fs::rename(file, file + ".json");
      Run({"decode", file + ".json", "-o", output});
      break;
  }
  return 0;
}
