#include "terminal/files_read.h"

#include <algorithm>
#include <vector>

#include "terminal/error.h"

namespace ovix::tool {
namespace {

struct Noted {
  FileId id;
  std::string name;
};

std::vector<Noted> files_read;
std::optional<FileId> written;
std::string written_name;
std::string last_read;

[[noreturn]] void Fail(const std::string& name, const std::string& read_as) {
  throw Error(name + ": is read too (" + read_as +
              "), and writing it would destroy it; name another file");
}

}  // namespace

void NoteRead(const std::optional<FileId>& id, const std::string& name) {
  last_read = name;
  if (!id) return;
  if (written && *written == *id) Fail(written_name, name);
  const auto is_it = [&](const Noted& noted) { return noted.id == *id; };
  if (std::none_of(files_read.begin(), files_read.end(), is_it)) files_read.push_back({*id, name});
}

const std::string& LastRead() { return last_read; }

void CheckNotRead(const std::optional<FileId>& file, const std::string& name) {
  if (!file) return;
  for (const Noted& noted : files_read) {
    if (noted.id == *file) Fail(name, noted.name);
  }
}

void NoteWritten(const std::optional<FileId>& id, const std::string& name) {
  CheckNotRead(id, name);
  written = id;
  written_name = name;
}

}  // namespace ovix::tool
