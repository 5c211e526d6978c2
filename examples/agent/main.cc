// ovix-agent: the example agent. Collects what this machine reports of itself, keeps it, and builds
// the payloads that go to the cloud.
#include <CLI/CLI.hpp>

#include <chrono>
#include <iostream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "arguments.h"
#include "collectors/collectors.h"
#include "ovix/telemetry/contract/storage/cache.pb.h"
#include "ovix/telemetry/contract/version.h"
#include "report.h"
#include "store/store.h"
#include "store/time.h"
#include "upload_commands.h"
#ifdef _WIN32
#include "collectors/windows/windows.h"
#else
#include <fcntl.h>
#include <signal.h>
#endif

namespace ovix::agent {
namespace {

std::string Plural(int64_t count, const std::string& thing) {
  return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

template <typename Rows>
std::vector<const google::protobuf::Message*> Pointers(const Rows& rows) {
  std::vector<const google::protobuf::Message*> pointers;
  for (const auto& row : rows) pointers.push_back(row.get());
  return pointers;
}

// A run of all collectors. What fails is reported, and the rest goes on.
class CollectRun {
 public:
  CollectRun(const Catalogue& catalogue, Store& store) : catalogue_(catalogue), store_(store) {}

  // Runs one collector and stores what it found; prints a line for each table.
  void Collect(const Collector& collector) {
    std::cout << collector.name << "\n";
    const Collection found = Run(collector, TimeText(std::chrono::system_clock::now()));
    if (!found.failure().empty()) {
      return Say(std::string("collector ") + collector.name + ": " + found.failure() +
                 "; what it keeps stays as it was");
    }
    std::string produced;
    for (const auto& snapshot : found.snapshots()) {
      Try([&] {
        const Changes changes = store_.Replace(snapshot.record, Pointers(snapshot.rows));
        std::cout << "  " << snapshot.record->name() << ": " << Plural(snapshot.rows.size(), "row")
                  << ", " << changes.inserted << " new, " << changes.updated << " changed, "
                  << changes.deleted << " gone\n";
        produced += (produced.empty() ? "" : " ") + snapshot.record->name() + "=" +
                    std::to_string(snapshot.rows.size());
        all_ += changes;
      });
    }
    // One write for each database, so that one that fails takes no other's rows with it.
    std::map<std::string, std::vector<const google::protobuf::Message*>> samples;
    for (const auto* row : Pointers(found.appended())) {
      samples[catalogue_.Get(row->GetDescriptor()).database].push_back(row);
    }
    for (const auto& [database, rows] : samples) {
      Try([&, &rows = rows] {
        const Changes changes = store_.Put(rows);
        std::cout << "  " << Plural(changes.appended, "sample") << " appended\n";
        produced += (produced.empty() ? "" : " ") + ("samples=" + std::to_string(changes.appended));
        all_ += changes;
      });
    }
    for (const std::string& why : found.skipped()) std::cout << "  skipped: " << why << "\n";
    telemetry::contract::storage::CollectorCache cache;
    cache.set_collector(collector.name);
    cache.set_time(found.time());
    cache.set_data(produced);
    Try([&] { store_.Put(cache); });
  }

  void Trim() {
    Try([&] { all_ += store_.Trim(); });
  }

  // Prints what all collectors did; false where something was wrong, all of which has been said.
  bool Report() {
    std::cout << "\n";
    for (const std::string& problem : PrintStore(std::cout, store_, catalogue_)) Say(problem);
    std::cout << "\nSince the last run: ";
    PrintChanges(std::cout, all_);
    return succeeded_;
  }

 private:
  // Does one thing of which others are independent, and says what goes wrong.
  template <typename Action>
  bool Try(const Action& action) {
    bool succeeded = true;
    try {
      action();
    } catch (const std::exception& error) {
      Say(error.what());
      succeeded = false;
    }
    for (const std::string& problem : store_.TakeProblems()) Say(problem);
    return succeeded;
  }

  // What several collectors meet is said once.
  void Say(const std::string& problem) {
    succeeded_ = false;
    if (!said_.insert(problem).second) return;
    PrintProblem(problem);
  }

  const Catalogue& catalogue_;
  Store& store_;
  Changes all_;
  bool succeeded_ = true;
  std::set<std::string> said_;
};

bool Collect(const std::filesystem::path& folder, const std::filesystem::path& root) {
  const Catalogue catalogue;
  Store store(folder, catalogue);
  CollectRun run(catalogue, store);
  for (const Collector& collector : Collectors(root)) run.Collect(collector);
  run.Trim();
  return run.Report();
}

bool Show(const std::filesystem::path& folder) {
  const Catalogue catalogue;
  Store store(folder, catalogue, {.access = Store::Access::kRead});
  const std::set<std::string> problems = PrintStore(std::cout, store, catalogue);
  for (const std::string& problem : problems) PrintProblem(problem);
  return problems.empty();
}

// The line for arguments that are not accepted, which may quote them.
std::string ProblemOf(const CLI::App& app, const CLI::ParseError& error) {
  std::string command = "ovix-agent";
  for (const CLI::App* called : app.get_subcommands()) command += " " + called->get_name();
  return Escaped(error.what()) + "; see `" + command + " --help`";
}

int Run(int argc, char** argv) {
  CLI::App app("Collects what this machine reports of itself and keeps it in local databases.",
               "ovix-agent");
  app.set_version_flag("--version", OVIX_TELEMETRY_DATA_CONTRACTS_VERSION);
  app.require_subcommand(1);
  std::string folder;
  std::string root = kThisMachine;

  CLI::App* collect = app.add_subcommand("collect", "Collect, store and report what changed");
  collect->add_option("store", folder, "Folder of the databases; created if missing")
      ->type_name("DIR")
      ->required()
      ->check(FolderName());
  collect->add_option("--root", root, "Read a copy of a Linux machine in this folder")
      ->type_name("DIR")
      ->check(ExistingFolder());
  CLI::App* show = app.add_subcommand("show", "Print what is stored");
  show->add_option("store", folder, "Folder of the databases")
      ->type_name("DIR")
      ->required()
      ->check(ExistingFolder());

  int exit_code = 0;
  AddUploadCommands(app, exit_code);

  try {
    app.parse(argc, argv);
    if (*collect && !Collect(PathOf(folder), PathOf(root))) return 1;
    if (*show && !Show(PathOf(folder))) return 1;
  } catch (const CLI::ParseError& error) {
    // Help and the version are asked for by what CLI11 takes for an error of code 0.
    if (error.get_exit_code() == 0) return app.exit(error);
    PrintProblem(ProblemOf(app, error));
    return 1;
  } catch (const std::exception& error) {
    PrintProblem(error.what());
    return 1;
  }
  return exit_code;
}

#ifndef _WIN32
// A file that is opened must not take the place of a standard stream that is closed: what is
// printed would be written into it. What takes it instead fails as the closed stream does.
void OccupyClosedStreams() {
  for (int stream = 0; stream <= 2; ++stream) {
    if (fcntl(stream, F_GETFD) == -1) open("/dev/null", stream == 0 ? O_WRONLY : O_RDONLY);
  }
}

// A reader of the output that goes away must not end a run in the middle of its writes.
void IgnoreClosedPipes() { signal(SIGPIPE, SIG_IGN); }
#endif

int Main(int argc, char** argv) {
#ifndef _WIN32
  OccupyClosedStreams();
  IgnoreClosedPipes();
#endif
  const int exit_code = Run(argc, argv);
  if (std::cout.flush()) return exit_code;
  PrintProblem(
      "standard output: cannot be written in full; free space or print to another place (what was "
      "to be done is done, but for what is said above)");
  return 1;
}

}  // namespace
}  // namespace ovix::agent

#ifdef _WIN32
// Windows gives the arguments in UTF-16; inside, and on the way out, all text is UTF-8.
int wmain(int argc, wchar_t** argv) {
  std::vector<std::string> arguments;
  SetConsoleOutputCP(CP_UTF8);
  for (int i = 0; i < argc; ++i) {
    arguments.push_back(ovix::agent::ToUtf8(argv[i]));
    // Its UTF-8 is that of another name.
    if (ovix::agent::ToWide(arguments.back()) != argv[i]) {
      ovix::agent::PrintProblem(arguments.back() + ": is not Unicode; give it another name");
      return 1;
    }
  }
  std::vector<char*> pointers;
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  return ovix::agent::Main(argc, pointers.data());
}
#else
int main(int argc, char** argv) { return ovix::agent::Main(argc, argv); }
#endif
