// What the tests of the store share: its tables, its clock, and short ways to look into it.
#ifndef OVIX_TESTS_SUPPORT_STORE_H_
#define OVIX_TESTS_SUPPORT_STORE_H_

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "store/store.h"
#include "store/time.h"
#include "store_test.pb.h"

namespace ovix::tests {

// What the stores of a test take for the time.
inline std::chrono::system_clock::time_point clock_now =
    std::chrono::sys_days(std::chrono::year(2026) / 11 / 21);

inline agent::Store::Options Options() {
  return {.patience = std::chrono::milliseconds(50), .clock = [] { return clock_now; }};
}

inline std::string DaysAgo(int days) {
  return agent::TimeText(clock_now - std::chrono::days(days));
}

inline const agent::Catalogue& Library() {
  static const agent::Catalogue catalogue;
  return catalogue;
}

// The tables of store_test.proto.
inline const agent::Catalogue& Awkward() {
  static const agent::Catalogue catalogue(
      {Everything::descriptor(), EverythingEvents::descriptor(), Sample::descriptor(),
       Small::descriptor(), SmallAged::descriptor(), SmallLog::descriptor(),
       SmallOtherLog::descriptor(), SmallState::descriptor(), WithMap::descriptor()});
  return catalogue;
}

inline std::vector<std::unique_ptr<google::protobuf::Message>> Rows(
    agent::Store& store, const google::protobuf::Descriptor* record) {
  std::vector<std::unique_ptr<google::protobuf::Message>> rows;
  store.Read(record, [&](const google::protobuf::Message& row) {
    rows.emplace_back(row.New())->CopyFrom(row);
  });
  return rows;
}

template <typename Record>
std::vector<Record> Rows(agent::Store& store) {
  std::vector<Record> rows;
  store.Read(Record::descriptor(), [&](const google::protobuf::Message& row) {
    rows.push_back(static_cast<const Record&>(row));
  });
  return rows;
}

// Runs SQL on a file, and gives the first number that it returns.
inline int64_t Execute(const std::filesystem::path& file, const std::string& sql) {
  agent::Connection connection(file, std::chrono::milliseconds(50));
  return connection.Number(sql);
}

// The line of the error that `action` ends with.
inline std::string ErrorOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const std::runtime_error& error) {
    EXPECT_EQ(std::string(error.what()).find('\n'), std::string::npos) << "more than one line";
    return error.what();
  }
  return "no error";
}

inline void ExpectContains(const std::string& text, std::initializer_list<const char*> parts) {
  for (const char* part : parts)
    EXPECT_NE(text.find(part), std::string::npos) << part << " in: " << text;
}

}  // namespace ovix::tests

#endif  // OVIX_TESTS_SUPPORT_STORE_H_
