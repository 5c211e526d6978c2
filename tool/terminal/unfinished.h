// What a run has begun on the disk, and does not leave there.
#ifndef OVIX_TOOL_TERMINAL_UNFINISHED_H_
#define OVIX_TOOL_TERMINAL_UNFINISHED_H_

#include <filesystem>
#include <string_view>

namespace ovix::tool {

// While one lives, a signal that ends the program (on Windows: Ctrl+C, a console that is closed)
// waits, so that the disk and what is known of it change in one step.
class SignalsHeld {
 public:
  SignalsHeld();
  ~SignalsHeld();
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;
};

// A hidden name in the folder for a file or folder that is not finished, another one each time.
std::filesystem::path TemporaryIn(const std::filesystem::path& folder);
// Whether a file or folder has such a name: of a run that goes on, or that was killed.
bool IsTemporary(std::string_view name);

// Files and folders that this run has made. They are removed at the object's end and on every
// signal that ends a program, the last first; a folder only if it is empty. A process that is
// killed leaves them. Signals that are ignored, as nohup does, stay so. For the main thread.
class Unfinished {
 public:
  Unfinished() = default;
  ~Unfinished() { Remove(); }
  Unfinished(const Unfinished&) = delete;
  Unfinished& operator=(const Unfinished&) = delete;

  // Call it while signals are held, together with what makes the file or folder.
  void Add(const std::filesystem::path& path);
  void Remove();
  // They stay: they are finished.
  void Forget();
};

}  // namespace ovix::tool

#endif  // OVIX_TOOL_TERMINAL_UNFINISHED_H_
