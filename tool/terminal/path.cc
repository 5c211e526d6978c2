#include "terminal/path.h"

#ifdef _WIN32
#include <algorithm>

#include "terminal/platform.h"
#endif

namespace ovix::tool {

#ifdef _WIN32

std::filesystem::path PathOf(std::string_view name) { return ToUtf16(name); }

std::string NameOf(const std::filesystem::path& path) { return ToUtf8(path.native()); }

std::string GenericNameOf(const std::filesystem::path& path) {
  std::string name = NameOf(path);
  std::replace(name.begin(), name.end(), '\\', '/');
  return name;
}

#else

std::filesystem::path PathOf(std::string_view name) { return name; }

std::string NameOf(const std::filesystem::path& path) { return path.native(); }

std::string GenericNameOf(const std::filesystem::path& path) { return path.native(); }

#endif

}  // namespace ovix::tool
