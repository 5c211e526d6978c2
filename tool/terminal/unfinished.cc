#include "terminal/unfinished.h"

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#ifdef _WIN32
#include <windows.h>

#include <mutex>
#else
#include <unistd.h>

#include <csignal>
#endif

namespace ovix::tool {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kPrefix = ".ovix-contracts-", kSuffix = ".tmp";

struct Entry {
  const Unfinished* owner;
  fs::path path;
};

// Changes only while signals are held. Never destroyed: a signal may come at the very end.
std::vector<Entry>& Entries() {
  static auto* const entries = new std::vector<Entry>();
  return *entries;
}

#ifdef _WIN32

// The handler of a console runs in a thread of its own.
std::recursive_mutex& Held() {
  static auto* const held = new std::recursive_mutex();
  return *held;
}

void RemoveOne(const fs::path& path) {
  if (!DeleteFileW(path.c_str())) RemoveDirectoryW(path.c_str());
}

BOOL WINAPI RemoveAndEnd(DWORD) {
  const std::lock_guard<std::recursive_mutex> held(Held());
  for (auto entry = Entries().rbegin(); entry != Entries().rend(); ++entry) RemoveOne(entry->path);
  Entries().clear();
  return FALSE;  // the next handler ends the process
}

void Watch() {
  static const bool is_watched = SetConsoleCtrlHandler(RemoveAndEnd, TRUE) != 0;
  static_cast<void>(is_watched);
}

#else

// Those that do not end a program, and those that nothing can catch.
constexpr int kHarmless[] = {SIGCHLD, SIGCONT, SIGSTOP, SIGTSTP, SIGTTIN,
                             SIGTTOU, SIGURG,  SIGKILL, SIGWINCH};

std::vector<Entry>* watched = nullptr;  // for the handler, which calls nothing that is not safe

void RemoveOne(const fs::path& path) {
  if (unlink(path.c_str()) != 0) rmdir(path.c_str());
}

void RemoveAndEnd(int signal) {
  for (auto entry = watched->rbegin(); entry != watched->rend(); ++entry) RemoveOne(entry->path);
  // The handler is gone with its first call (SA_RESETHAND): this ends the process as the signal
  // does.
  raise(signal);
}

void Watch() {
  if (watched != nullptr) return;
  watched = &Entries();
  for (int signal = 1; signal < NSIG; ++signal) {
    if (std::find(std::begin(kHarmless), std::end(kHarmless), signal) != std::end(kHarmless)) {
      continue;
    }
    struct sigaction action {};
    // What was ignored, as nohup does, stays so, and what somebody else handles.
    if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler != SIG_DFL) continue;
    action.sa_handler = RemoveAndEnd;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(signal, &action, nullptr);
  }
}

sigset_t before_held;
int held = 0;

#endif

}  // namespace

#ifdef _WIN32

SignalsHeld::SignalsHeld() { Held().lock(); }
SignalsHeld::~SignalsHeld() { Held().unlock(); }

#else

SignalsHeld::SignalsHeld() {
  if (held++ != 0) return;
  sigset_t all;
  sigfillset(&all);
  sigprocmask(SIG_BLOCK, &all, &before_held);
}

SignalsHeld::~SignalsHeld() {
  if (--held == 0) sigprocmask(SIG_SETMASK, &before_held, nullptr);
}

#endif

fs::path TemporaryIn(const fs::path& folder) {
  std::random_device random;
  return folder / (std::string(kPrefix) + std::to_string(random()) + std::string(kSuffix));
}

bool IsTemporary(std::string_view name) {
  return name.starts_with(kPrefix) && name.ends_with(kSuffix);
}

void Unfinished::Add(const fs::path& path) {
  Watch();
  Entries().push_back({this, path});
}

void Unfinished::Remove() {
  const SignalsHeld signals;
  for (auto entry = Entries().rbegin(); entry != Entries().rend(); ++entry) {
    if (entry->owner == this) RemoveOne(entry->path);
  }
  Forget();
}

void Unfinished::Forget() {
  const SignalsHeld signals;
  std::erase_if(Entries(), [this](const Entry& entry) { return entry.owner == this; });
}

}  // namespace ovix::tool
