#include "diff/place.h"

namespace ovix::tool {

Place PlaceIn(const Contracts& contracts, const std::string& subject) {
  const auto& pool = contracts.pool();
  const auto place = [&](const auto* found) {
    return Place{found->file()->name(), contracts.LineOf(found)};
  };
  if (const auto* file = pool.FindFileByName(subject))
    return {file->name(), contracts.LineOf(file)};
  if (const auto* message = pool.FindMessageTypeByName(subject)) return place(message);
  if (const auto* field = pool.FindFieldByName(subject)) return place(field);
  if (const auto* extension = pool.FindExtensionByName(subject)) return place(extension);
  if (const auto* enumeration = pool.FindEnumTypeByName(subject)) return place(enumeration);
  if (const auto* value = pool.FindEnumValueByName(subject)) {
    return place(value);
  }
  if (const auto* service = pool.FindServiceByName(subject)) return place(service);
  if (const auto* method = pool.FindMethodByName(subject)) return place(method);
  return {};
}

Place PlaceOf(const Difference& difference, const Contracts& older, const Contracts& newer) {
  for (std::string name = difference.subject;;) {
    const Place place = PlaceIn(newer, name);
    if (!place.file.empty()) return place;
    const size_t dot = name.rfind('.');
    if (dot == std::string::npos) break;
    name.resize(dot);
  }
  const Place before = PlaceIn(older, difference.subject);
  const bool is_left = newer.pool().FindFileByName(before.file) != nullptr;
  return is_left ? Place{before.file, 0} : Place{};
}

}  // namespace ovix::tool
