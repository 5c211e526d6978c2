#include "store/patience.h"

#include <algorithm>
#include <thread>

namespace ovix::agent {
namespace {

constexpr std::chrono::milliseconds kMoment{5};
constexpr int kShortWaits = 20;

}  // namespace

void Patience::Begin(const std::string& database) {
  database_ = database;
  has_waited_ = false;
  allowed_ = locked_.contains(database) ? Duration(0) : std::max(left_, whole_ / kShortWaits);
}

bool Patience::Wait() {
  has_waited_ = true;
  if (allowed_ <= Duration(0)) return false;
  const auto begin = std::chrono::steady_clock::now();
  std::this_thread::sleep_for(std::min<Duration>(kMoment, allowed_));
  const auto waited = std::chrono::steady_clock::now() - begin;
  allowed_ -= waited;
  left_ -= waited;
  return true;
}

void Patience::End(bool is_free) {
  if (is_free) {
    locked_.erase(database_);
  } else if (has_waited_) {
    locked_.insert(database_);
  }
  if (locked_.empty()) left_ = whole_;
}

}  // namespace ovix::agent
