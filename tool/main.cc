// ovix-contracts: shows, converts and compares the data contracts of the telemetry agent.
#include <google/protobuf/stubs/logging.h>

#include <exception>
#include <new>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "commands/completion.h"
#include "ovix/telemetry/contract/version.h"
#include "terminal/error.h"
#include "terminal/files_read.h"
#include "terminal/output.h"
#include "terminal/platform.h"
#include "terminal/report.h"

namespace ovix::tool {

namespace {

int Main(int argc, char** argv) {
  PrepareStandardStreams();
  // What the runtime reports, the commands say in their own words.
  google::protobuf::SetLogHandler(nullptr);

  CLI::App app("Shows, converts and compares the data contracts of the telemetry agent.",
               "ovix-contracts");
  app.formatter(std::make_shared<HelpFormatter>());
  // A path of the drive's root ("/contracts") is a path on Windows too, not an option.
  app.allow_windows_style_options(false);
  app.set_version_flag("--version", "ovix-contracts " OVIX_TELEMETRY_DATA_CONTRACTS_VERSION,
                       "Print the version and exit");
  app.set_help_flag("-h,--help", "Print this help and exit");
  app.require_subcommand(1);
  app.footer(
      "Examples:\n"
      "  ovix-contracts list --tables\n"
      "  ovix-contracts show BatteryHealthLog\n"
      "  ovix-contracts decode HwBatteryHealthLogAsCDM payload.binpb\n"
      "Exit codes: 0 done, 1 something was found, 2 failed.");
  int exit_code = kDone;
  // In the order of use: look up, read payloads, write them, change contracts, publish.
  AddList(app, exit_code);
  AddShow(app, exit_code);
  AddPrivacy(app, exit_code);
  AddDecode(app, exit_code);
  AddCheck(app, exit_code);
  AddEncode(app, exit_code);
  AddSample(app, exit_code);
  AddLint(app, exit_code);
  AddDiff(app, exit_code);
  AddDdl(app, exit_code);
  AddExport(app, exit_code);
  AddCatalogue(app, exit_code);
  AddHelp(app, exit_code);
  AddDescribe(app, exit_code);

  for (CLI::App* command : app.get_subcommands(nullptr)) {
    command->set_help_flag("-h,--help", "Print this help and exit");
  }
  // The words that follow are another command's: nothing of them is an option here.
  if (argc > 1 && argv[1] == std::string("complete")) {
    WriteAll(Completions(app, {argv + 2, argv + argc}));
    return kDone;
  }
  // CLI11 would only report that a command is missing.
  if (argc > 1) CheckFirst(app, argv[1]);
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    const auto chosen = app.get_subcommands();
    WriteAll(HelpOf(app, chosen.empty() ? "" : chosen.front()->get_name()));
  } catch (const CLI::CallForVersion& version) {
    WriteAll(std::string(version.what()) + "\n");
  } catch (const CLI::ExtrasError&) {
    Report(UnexpectedWord(app));
    return kFailed;
  } catch (const CLI::ParseError& error) {
    const auto chosen = app.get_subcommands();
    const std::string command = chosen.empty() ? "" : " " + chosen.front()->get_name();
    Report(std::string(error.what()) + "; see ovix-contracts" + command + " --help");
    return kFailed;
  }
  return exit_code;
}

int MainOrReport(int argc, char** argv) {
  try {
    return Main(argc, argv);
  } catch (const ClosedPipe&) {
    EndByClosedPipe();
    return kFailed;
  } catch (const std::bad_alloc&) {
    const std::string& input = LastRead();
    Report((input.empty() ? "" : input + ": ") +
           "there is not enough memory to go on; free some, or give it less at once");
    return kFailed;
  } catch (const std::exception& error) {
    Report(error.what());
    return kFailed;
  }
}

}  // namespace
}  // namespace ovix::tool

#ifdef _WIN32
// Windows gives the arguments in UTF-16; inside, and on the way out, all text is UTF-8.
int wmain(int argc, wchar_t** argv) {
  std::vector<std::string> arguments;
  for (int i = 0; i < argc; ++i) {
    arguments.push_back(ovix::tool::ToUtf8(argv[i]));
    // Its UTF-8 is that of another name.
    if (ovix::tool::ToUtf16(arguments.back()) != argv[i]) {
      ovix::tool::Report(arguments.back() + ": is not Unicode; give the file another name");
      return ovix::tool::kFailed;
    }
  }
  std::vector<char*> pointers;
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  return ovix::tool::MainOrReport(argc, pointers.data());
}
#else
int main(int argc, char** argv) { return ovix::tool::MainOrReport(argc, argv); }
#endif
