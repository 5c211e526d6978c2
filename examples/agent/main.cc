// ovix-agent: the agent in small. Collects what this machine tells of itself, keeps it, and builds
// the payloads that go to the cloud.
#include <CLI/CLI.hpp>

#include <chrono>
#include <iostream>
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

// Runs one collector and stores what it found; prints a line for each table.
Changes CollectOne(const Collector& collector, Store& store) {
  const Collection found = Run(collector, TimeText(std::chrono::system_clock::now()));
  Changes changes;
  std::string produced;
  for (const auto& snapshot : found.snapshots()) {
    const Changes of_table = store.Replace(snapshot.record, Pointers(snapshot.rows));
    std::cout << "  " << snapshot.record->name() << ": " << Plural(snapshot.rows.size(), "row")
              << ", " << of_table.inserted << " new, " << of_table.updated << " changed, "
              << of_table.deleted << " gone\n";
    produced += (produced.empty() ? "" : " ") + snapshot.record->name() + "=" +
                std::to_string(snapshot.rows.size());
    changes += of_table;
  }
  if (!found.appended().empty()) {
    const Changes appended = store.Put(Pointers(found.appended()));
    std::cout << "  " << Plural(appended.appended, "sample") << " appended\n";
    produced += (produced.empty() ? "" : " ") + ("samples=" + std::to_string(appended.appended));
    changes += appended;
  }
  for (const std::string& why : found.skipped()) std::cout << "  skipped: " << why << "\n";

  telemetry::contract::storage::CollectorCache cache;
  cache.set_collector(collector.name);
  cache.set_time(found.time());
  cache.set_data(produced);
  store.Put(cache);
  return changes;
}

void Collect(const std::filesystem::path& folder, const std::filesystem::path& root) {
  const Catalogue catalogue;
  Store store(folder, catalogue);
  Changes all;
  for (const Collector& collector : Collectors(root)) {
    std::cout << collector.name << "\n";
    all += CollectOne(collector, store);
  }
  all += store.Trim();
  std::cout << "\n";
  PrintStore(std::cout, store, catalogue);
  std::cout << "\nSince the last run: " << all.inserted << " new, " << all.updated << " changed, "
            << all.deleted << " gone, " << all.unchanged << " as before, " << all.appended
            << " appended, " << all.trimmed << " trimmed to the limits.\n";
}

void Show(const std::filesystem::path& folder) {
  const Catalogue catalogue;
  Store store(folder, catalogue);
  PrintStore(std::cout, store, catalogue);
}

int Main(int argc, char** argv) {
  CLI::App app("Collects what this machine tells of itself and keeps it in local databases.");
  app.set_version_flag("--version", OVIX_TELEMETRY_DATA_CONTRACTS_VERSION);
  app.require_subcommand(1);
  std::string folder;
  std::string root = kThisMachine;

  CLI::App* collect = app.add_subcommand("collect", "Collect, store and say what changed");
  collect->add_option("store", folder, "Folder of the databases; made where it is missing")
      ->required();
  collect->add_option("--root", root, "Read a Linux machine whose files lie in this folder")
      ->check(ExistingFolder());
  CLI::App* show = app.add_subcommand("show", "Print what is stored");
  show->add_option("store", folder, "Folder of the databases")->required()->check(ExistingFolder());

  int exit_code = 0;
  AddUploadCommands(app, exit_code);

  try {
    app.parse(argc, argv);
    if (*collect) Collect(PathOf(folder), PathOf(root));
    if (*show) Show(PathOf(folder));
  } catch (const CLI::ParseError& error) {
    return app.exit(error);
  } catch (const std::exception& error) {
    std::cout.flush();
    std::cerr << "ovix-agent: " << error.what() << "\n";
    return 1;
  }
  return exit_code;
}

}  // namespace
}  // namespace ovix::agent

#ifdef _WIN32
// Windows gives the arguments in UTF-16; inside, and on the way out, all text is UTF-8.
int wmain(int argc, wchar_t** argv) {
  std::vector<std::string> arguments;
  for (int i = 0; i < argc; ++i) arguments.push_back(ovix::agent::ToUtf8(argv[i]));
  std::vector<char*> pointers;
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  SetConsoleOutputCP(CP_UTF8);
  return ovix::agent::Main(argc, pointers.data());
}
#else
int main(int argc, char** argv) { return ovix::agent::Main(argc, argv); }
#endif
