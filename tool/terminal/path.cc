#include "terminal/path.h"

#ifdef _WIN32
#include <system_error>

#include "terminal/error.h"
#include "terminal/platform.h"
#endif

namespace ovix::tool {

#ifdef _WIN32

std::filesystem::path PathOf(std::string_view name) { return ToUtf16(name); }

std::string NameOf(const std::filesystem::path& path) { return ToUtf8(path.native()); }

std::string GenericNameOf(const std::filesystem::path& path) {
  return ToUtf8(path.generic_wstring());
}

void CheckFolderName(const std::string& name) {
  // Room for what is in the folder: Windows' limit for a whole path is 260.
  constexpr size_t kMost = 200;
  const auto is_slash = [&](size_t at) {
    return at < name.size() && (name[at] == '/' || name[at] == '\\');
  };
  if (is_slash(0) && is_slash(1)) {
    throw Error(name +
                ": is a folder of a share, or named like one; give the share a drive letter");
  }
  std::error_code ignored;
  if (std::filesystem::absolute(PathOf(name), ignored).native().size() > kMost) {
    throw Error(name + ": has a path of more than " + std::to_string(kMost) +
                " characters; name a folder with a shorter one");
  }
}

#else

std::filesystem::path PathOf(std::string_view name) { return name; }

std::string NameOf(const std::filesystem::path& path) { return path.native(); }

std::string GenericNameOf(const std::filesystem::path& path) { return path.generic_string(); }

void CheckFolderName(const std::string& /*name*/) {}

#endif

}  // namespace ovix::tool
