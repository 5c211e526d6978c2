#include "collectors/collectors.h"

#include <algorithm>
#include <exception>

#include "collectors/linux/collectors.h"
#ifdef _WIN32
#include "collectors/windows/collectors.h"
#endif

namespace ovix::agent {

std::vector<Collector> Collectors(const std::filesystem::path& root) {
#ifdef _WIN32
  return root.empty() ? WindowsCollectors() : LinuxCollectors(root);
#else
  return LinuxCollectors(root);
#endif
}

Collection Run(const Collector& collector, const std::string& time) {
  Collection found(time);
  try {
    collector.collect(found);
  } catch (const std::exception& error) {
    std::string why = error.what();
    std::replace_if(
        why.begin(), why.end(), [](unsigned char c) { return c < 0x20 || c == 0x7f; }, '?');
    Collection none(time);
    none.Fail(std::move(why));
    return none;
  }
  found.MakeUtf8();
  found.KeepOneOfEachKey();
  return found;
}

}  // namespace ovix::agent
