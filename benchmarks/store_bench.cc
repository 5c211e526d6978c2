// The store against a loop of plain SQLite calls, in turn within one run: the same SQL, the same
// values bound, the same journal and synchronous settings.
//   store_bench ROUNDS       records a second, in batches and one by one, as JSON
//   store_bench million      one million rows kept, trimmed and read back: time and memory, as JSON
#include <sqlite3.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "ovix/telemetry/contract/storage/device_health/battery.pb.h"
#include "store/store.h"
#include "store/time.h"

namespace ovix::benchmarks {
namespace {

namespace fs = std::filesystem;
using agent::Catalogue;
using agent::Store;
using google::protobuf::Message;
using telemetry::contract::storage::device_health::BatteryHealthLog;

const Catalogue& Library() {
  static const Catalogue catalogue;
  return catalogue;
}

// A folder in memory, gone with this: the disk would be all that is measured.
class Scratch {
 public:
  Scratch()
      : folder_((fs::exists("/dev/shm") ? fs::path("/dev/shm") : fs::temp_directory_path()) /
                ("ovix-store-bench-" + std::to_string(getpid()))) {
    fs::remove_all(folder_);
    fs::create_directories(folder_);
  }
  ~Scratch() {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  fs::path operator/(const char* name) const { return folder_ / name; }

 private:
  fs::path folder_;
};

std::chrono::system_clock::time_point Start() {
  return std::chrono::sys_days(std::chrono::year(2026) / 11 / 21);
}

BatteryHealthLog Record(int number) {
  BatteryHealthLog record;
  record.set_time(agent::TimeText(Start() + std::chrono::seconds(number % 86400)));
  record.set_serial_number("S" + std::to_string(number % 2));
  record.set_voltage(12000 + number % 500);
  record.mutable_battery_status()->set_discharging(number % 3 == 0);
  return record;
}

std::vector<BatteryHealthLog> Records(int count) {
  std::vector<BatteryHealthLog> records;
  for (int i = 0; i < count; ++i) records.push_back(Record(i));
  return records;
}

double SecondsOf(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void Check(int code, int expected) {
  if (code == expected) return;
  std::fprintf(stderr, "store_bench: SQLite returned %d\n", code);
  std::exit(1);
}

// A row's values, as the store has bound them.
struct Value {
  int type;
  int64_t integer;
  double real;
  std::string bytes;
};

std::vector<std::vector<Value>> ValuesOf(const fs::path& file) {
  agent::Connection connection(file, std::chrono::seconds(1));
  agent::Statement all(connection, "SELECT *, _rowid_ FROM BatteryHealthLog");
  const int columns =
      static_cast<int>(Library().Get(BatteryHealthLog::descriptor()).columns.size());
  std::vector<std::vector<Value>> rows;
  while (all.Step()) {
    auto& row = rows.emplace_back();
    for (int i = 0; i <= columns; ++i) {
      row.push_back({all.Type(i), all.Integer(i), all.Real(i), std::string(all.Bytes(i))});
    }
  }
  return rows;
}

// Keeps the rows by plain SQLite, `batch` to a transaction; the file is as the store has made it.
double PlainSeconds(const fs::path& file, const std::vector<std::vector<Value>>& rows, int batch) {
  sqlite3* database = nullptr;
  Check(sqlite3_open(file.c_str(), &database), SQLITE_OK);
  const auto execute = [&](const char* sql) {
    Check(sqlite3_exec(database, sql, nullptr, nullptr, nullptr), SQLITE_OK);
  };
  execute("PRAGMA synchronous = EXTRA; DELETE FROM BatteryHealthLog; VACUUM");
  std::string columns;
  std::string parameters;
  for (const auto& column : Library().Get(BatteryHealthLog::descriptor()).columns) {
    columns += "\"" + column.name() + "\", ";
    parameters += "?, ";
  }
  const std::string sql =
      "INSERT INTO BatteryHealthLog (" + columns + "_rowid_) VALUES (" + parameters + "?)";
  sqlite3_stmt* insert = nullptr;
  Check(sqlite3_prepare_v2(database, sql.c_str(), -1, &insert, nullptr), SQLITE_OK);
  const double seconds = SecondsOf([&] {
    for (size_t i = 0; i < rows.size(); ++i) {
      if (i % batch == 0) execute("BEGIN IMMEDIATE");
      int parameter = 0;
      for (const Value& value : rows[i]) {
        ++parameter;
        const auto size = static_cast<int>(value.bytes.size());
        switch (value.type) {
          case SQLITE_INTEGER:
            sqlite3_bind_int64(insert, parameter, value.integer);
            break;
          case SQLITE_FLOAT:
            sqlite3_bind_double(insert, parameter, value.real);
            break;
          case SQLITE_TEXT:
            sqlite3_bind_text(insert, parameter, value.bytes.data(), size, SQLITE_TRANSIENT);
            break;
          case SQLITE_BLOB:
            sqlite3_bind_blob(insert, parameter, value.bytes.data(), size, SQLITE_TRANSIENT);
            break;
          default:
            sqlite3_bind_null(insert, parameter);
        }
      }
      Check(sqlite3_step(insert), SQLITE_DONE);
      sqlite3_reset(insert);
      if ((i + 1) % batch == 0 || i + 1 == rows.size()) execute("COMMIT");
    }
  });
  sqlite3_finalize(insert);
  sqlite3_close(database);
  return seconds;
}

void PutAll(Store& store, const std::vector<BatteryHealthLog>& records, size_t batch) {
  std::vector<const Message*> pointers;
  for (const auto& record : records) {
    pointers.push_back(&record);
    if (pointers.size() < batch && &record != &records.back()) continue;
    store.Put(pointers);
    pointers.clear();
  }
}

void CompareOnce(int batch, int count) {
  const Scratch scratch;
  const auto records = Records(count);
  double ours = 0;
  {
    // Open and prepared, as the plain one is before it is measured.
    Store store(scratch / "store", Library(), {.clock = Start});
    store.Put(records.front());
    ours = SecondsOf([&] { PutAll(store, records, batch); });
  }
  fs::copy_file(scratch / "store/HealthLog.db", scratch / "plain.db");
  const auto values = ValuesOf(scratch / "store/HealthLog.db");
  const double plain = PlainSeconds(scratch / "plain.db", values, batch);
  std::printf("{\"batch\": %d, \"ours\": %.0f, \"plain\": %.0f}\n", batch, count / ours,
              count / plain);
}

double PeakMegabytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024;
}

void MeasureAMillion() {
  constexpr int kRows = 1000000;
  const Scratch scratch;
  auto now = Start();
  Store store(scratch / "store", Library(), {.clock = [&] { return now; }});
  const double before = PeakMegabytes();
  int64_t dropped = 0;
  const double kept = SecondsOf([&] {
    for (int first = 0; first < kRows; first += 1000) {
      std::vector<BatteryHealthLog> records;
      std::vector<const Message*> pointers;
      for (int i = first; i < first + 1000; ++i) records.push_back(Record(i));
      for (const auto& record : records) pointers.push_back(&record);
      dropped += store.Put(pointers).trimmed;
    }
  });
  int64_t read = 0;
  const double read_back = SecondsOf(
      [&] { store.Read(BatteryHealthLog::descriptor(), [&](const Message&) { ++read; }); });
  // Half of the rows are too old, by a clock that has gone on.
  for (int day = 0; day < 180; day += 6) {
    now += std::chrono::days(6);
    store.Trim();
  }
  now += std::chrono::hours(12);
  const double trimmed = SecondsOf([&] { dropped += store.Trim().trimmed; });
  std::printf(
      "{\"rows\": %d, \"kept_s\": %.2f, \"read\": %lld, \"read_s\": %.2f, \"dropped\": %lld, "
      "\"trim_s\": %.2f, \"peak_mb\": %.1f, \"before_mb\": %.1f}\n",
      kRows, kept, static_cast<long long>(read), read_back, static_cast<long long>(dropped),
      trimmed, PeakMegabytes(), before);
}

}  // namespace
}  // namespace ovix::benchmarks

int main(int argc, char** argv) {
  const std::string_view what = argc == 2 ? argv[1] : "";
  if (what == "million") {
    ovix::benchmarks::MeasureAMillion();
    return 0;
  }
  const int rounds = std::atoi(std::string(what).c_str());
  if (rounds <= 0) {
    std::fprintf(stderr, "usage: store_bench ROUNDS | million\n");
    return 2;
  }
  for (int round = 0; round < rounds; ++round) {
    ovix::benchmarks::CompareOnce(1000, 20000);
    ovix::benchmarks::CompareOnce(1, 1000);
  }
  return 0;
}
