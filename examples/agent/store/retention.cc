#include "store/retention.h"

#include <algorithm>
#include <set>
#include <string>

#include "store/time.h"

namespace ovix::agent {
namespace {

using std::chrono::milliseconds;
using std::chrono::system_clock;
using telemetry::contract::tables::Quoted;

// The names of the store's own numbers for its clock: the last reading that is believed; since a
// leap that is not believed yet, the first and the highest reading, 0 without one, and how long the
// clock has gone on.
constexpr char kClock[] = "clock";
constexpr char kLeap[] = "leap";
constexpr char kLeapSeen[] = "leap seen";
constexpr char kLeapElapsed[] = "leap elapsed";

int64_t ToNumber(system_clock::time_point time) {
  return std::chrono::floor<milliseconds>(time.time_since_epoch()).count();
}

system_clock::time_point FromNumber(int64_t number) {
  return system_clock::time_point(milliseconds(number));
}

class Retention {
 public:
  Retention(Writer& writer, const Catalogue& catalogue)
      : writer_(writer), database_(writer.database()), catalogue_(catalogue) {}

  void Keep();

 private:
  system_clock::time_point Today(const std::string& schema);
  int64_t NewestRow(const std::string& schema);
  void DropOld(Place& place);
  void DropBeyondRows(Place& place);
  int64_t Drop(const Place& place, const std::string& where,
               const std::function<void(Statement&)>& bind);
  void KeepSize(const std::string& name);
  // The table whose first row is the oldest of the database's, null where no row may be dropped,
  // and the time of the next oldest among the other tables.
  std::pair<Place*, std::string> FindOldest(const std::string& name);
  std::string FirstTime(const Place& place);
  int64_t CountFirst(const Place& place, const std::string& until);

  Writer& writer_;
  Database& database_;
  const Catalogue& catalogue_;
  std::map<std::string, system_clock::time_point> today_;  // by schema
};

void Retention::Keep() {
  std::set<std::string> written;
  // To drop a "State" row is recorded in its change log, so the list may grow during the iteration.
  for (size_t i = 0; i < database_.touched().size(); ++i) {
    Place& place = *database_.touched()[i];
    DropOld(place);
    DropBeyondRows(place);
    written.insert(place.table.database);
  }
  for (const std::string& name : written) KeepSize(name);
}

// The time that rows are old by: the clock's, unless it has leapt ahead. The device may have been
// off for long, or the clock may be wrong; only the second passes again, so a leap must last, and
// further leaps must not look as if it had.
system_clock::time_point Retention::Today(const std::string& schema) {
  const auto known = today_.find(schema);
  if (known != today_.end()) return known->second;
  const int64_t now = ToNumber(writer_.now());
  const int64_t span = milliseconds(kClockLeap).count();
  int64_t last = now;
  if (const auto kept = database_.Number(schema, kClock)) {
    last = *kept;
  } else if (!database_.IsNew(schema)) {
    last = NewestRow(schema);
  }
  int64_t leap = database_.Number(schema, kLeap).value_or(0);
  int64_t seen = database_.Number(schema, kLeapSeen).value_or(leap);
  int64_t elapsed = database_.Number(schema, kLeapElapsed).value_or(0);
  if (leap != 0 && now > seen) {
    elapsed += std::min<int64_t>(now - seen, milliseconds(kLongestStep).count());
    if (elapsed >= span) {
      // It has gone on: what it read until now was right.
      last = seen;
      leap = 0;
    }
    seen = now;
  }
  if (now <= last + span) {
    last = now;
    leap = 0;
  } else if (leap == 0 || now < leap) {
    leap = now;
    seen = now;
    elapsed = 0;
  }
  database_.SetNumber(schema, kClock, last);
  database_.SetNumber(schema, kLeap, leap);
  database_.SetNumber(schema, kLeapSeen, seen);
  database_.SetNumber(schema, kLeapElapsed, elapsed);
  const auto ahead = std::chrono::floor<std::chrono::days>(milliseconds(now - last));
  writer_.changes().clock_ahead_days =
      std::max<int64_t>(writer_.changes().clock_ahead_days, ahead.count());
  return today_.emplace(schema, FromNumber(last)).first->second;
}

// The time of the newest row of a database of release 1.0.0, which kept no clock.
int64_t Retention::NewestRow(const std::string& schema) {
  int64_t newest = 0;
  for (const Table& table : catalogue_.tables()) {
    if (database_.SchemaOf(table) != schema || !table.has_time_index() ||
        !database_.HasTable(table)) {
      continue;
    }
    newest = std::max(
        newest,
        database_.connection().Number(
            "SELECT CAST((julianday(max(\"time\")) - 2440587.5) * 86400000 AS INTEGER) FROM " +
                Quoted(schema) + "." + Quoted(table.name) + " WHERE " + kWellFormedTime,
            schema));
  }
  return newest == 0 ? ToNumber(writer_.now()) : newest;
}

void Retention::DropOld(Place& place) {
  if (place.table.max_time_days == 0) return;
  const std::string oldest =
      TimeText(Today(place.schema) - std::chrono::days(place.table.max_time_days));
  const int64_t rows =
      Drop(place, std::string("\"time\" < ? AND ") + kWellFormedTime,
           [&](Statement& statement) { statement.Bind(1, std::string_view(oldest)); });
  writer_.changes().Drop(place.table, Limit::kAge, rows);
}

void Retention::DropBeyondRows(Place& place) {
  if (place.table.max_rows == 0) return;
  const int64_t rows =
      Drop(place,
           place.arrival_column + " <= (SELECT " + place.arrival_column + " FROM " + place.name +
               " ORDER BY " + place.arrival_column + " DESC LIMIT 1 OFFSET ?)",
           [&](Statement& statement) { statement.Bind(1, int64_t{place.table.max_rows}); });
  writer_.changes().Drop(place.table, Limit::kRows, rows);
}

int64_t Retention::Drop(const Place& place, const std::string& where,
                        const std::function<void(Statement&)>& bind) {
  if (place.table.state) return writer_.Delete(database_.Prepare(place.table), where, bind);
  const Use drop = database_.connection().Prepared("DELETE FROM " + place.name + " WHERE " + where,
                                                   place.schema);
  bind(*drop);
  drop->Run();
  return database_.connection().Changes();
}

void Retention::KeepSize(const std::string& name) {
  const int64_t limit = int64_t{catalogue_.MaxSizeMb(name)} << 20;
  if (limit == 0) return;
  const std::string schema = database_.SchemaOf(name);
  Connection& connection = database_.connection();
  while (database_.UsedBytes(schema) > limit) {
    const auto [place, until] = FindOldest(name);
    if (place == nullptr) {
      if (database_.UsedBytes(schema) <= database_.UsedBefore(schema)) break;
      throw StoreError(Printable(database_.FileOf(schema)) + ": database " + name +
                           " is full: its limit is " + std::to_string(limit >> 20) +
                           " MB and its \"State\" rows alone need more; nothing was stored; erase "
                           "rows or move the database away",
                       StoreError::Kind::kFull, database_.FileOf(schema));
    }
    const int64_t rows = CountFirst(*place, until);
    const Use drop =
        connection.Prepared("DELETE FROM " + place->name + " WHERE " + place->arrival_column +
                                " IN (SELECT " + place->arrival_column + " FROM " + place->name +
                                " ORDER BY " + place->arrival_column + " LIMIT ?)",
                            schema);
    drop->Bind(1, rows);
    drop->Run();
    writer_.changes().Drop(place->table, Limit::kSize, connection.Changes());
  }
}

std::pair<Place*, std::string> Retention::FindOldest(const std::string& name) {
  Place* oldest = nullptr;
  std::string oldest_time;
  std::string next = "~";  // after every time
  for (const Table& table : catalogue_.tables()) {
    if (table.database != name || table.state || !database_.HasTable(table)) continue;
    Place& place = database_.Prepare(table);
    if (database_.connection().Number("SELECT EXISTS (SELECT 1 FROM " + place.name + ")",
                                      place.schema) == 0) {
      continue;
    }
    const std::string time = FirstTime(place);
    if (oldest == nullptr || time < oldest_time) {
      if (oldest != nullptr) next = oldest_time;
      oldest = &place;
      oldest_time = time;
    } else {
      next = std::min(next, time);
    }
  }
  return {oldest, next};
}

// The time of the row that came first; empty, which is before any other, where the table has none
// or the row's cannot be believed: it has another form, or lies in the future.
std::string Retention::FirstTime(const Place& place) {
  if (place.table.time == nullptr) return "";
  const Use first = database_.connection().Prepared(
      "SELECT \"time\", " + std::string(kWellFormedTime) + " FROM " + place.name + " ORDER BY " +
          place.arrival_column + " LIMIT 1",
      place.schema);
  if (!first->Step() || first->Integer(1) == 0) return "";
  std::string time(first->Bytes(0));
  return time > TimeText(writer_.now()) ? "" : time;
}

// How many rows go at once: those that came first and are not newer than `until`, yet no more than
// a sixteenth of the table, so that little more than needed goes.
int64_t Retention::CountFirst(const Place& place, const std::string& until) {
  Connection& connection = database_.connection();
  const int64_t span = connection.Number("SELECT max(" + place.arrival_column + ") - min(" +
                                             place.arrival_column + ") FROM " + place.name,
                                         place.schema);
  const int64_t most = span / 16 + 1;
  if (place.table.time == nullptr) return most;
  const Use first = connection.Prepared(
      "SELECT \"time\" FROM " + place.name + " ORDER BY " + place.arrival_column + " LIMIT ?",
      place.schema);
  first->Bind(1, most);
  int64_t rows = 0;
  while (first->Step() && (rows == 0 || first->Bytes(0) <= until)) ++rows;
  return rows;
}

}  // namespace

void KeepLimits(Writer& writer, const Catalogue& catalogue) { Retention(writer, catalogue).Keep(); }

void ShrinkFiles(Database& database, const Catalogue& catalogue) noexcept {
  Connection& connection = database.connection();
  for (const auto& [schema, file] : connection.schemas()) {
    const std::string& name = schema == "main" ? database.name() : schema;
    const int64_t limit = int64_t{catalogue.MaxSizeMb(name)} << 20;
    const std::string pragma = "PRAGMA " + Quoted(schema) + ".";
    try {
      if (limit != 0 && connection.Number(pragma + "page_size", schema) *
                                connection.Number(pragma + "page_count", schema) >
                            limit) {
        connection.Execute(pragma + "incremental_vacuum", schema);
      }
    } catch (const StoreError&) {
      connection.RollBack();
    }
  }
}

}  // namespace ovix::agent
