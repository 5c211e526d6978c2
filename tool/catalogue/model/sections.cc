#include "catalogue/model/sections.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <utility>

#include "catalogue/model/addresses.h"

namespace ovix::tool {
namespace {

using Pages = std::vector<std::pair<const FileDescriptor*, Page>>;

std::string FolderOf(const FileDescriptor* file) {
  return file->name().substr(0, file->name().rfind('/') + 1);
}

// "a/b/" of "a/b/c.proto" and "a/b/d/e.proto".
std::string CommonFolder(const Pages& pages) {
  std::string common = pages.empty() ? "" : FolderOf(pages.front().first);
  for (const auto& [file, page] : pages) {
    const auto differs =
        std::mismatch(common.begin(), common.end(), file->name().begin(), file->name().end());
    common.erase(differs.first, common.end());
    common.erase(common.rfind('/') + 1);
  }
  return common;
}

std::vector<Group> ByFolder(const Pages& pages, const std::string& anchor) {
  const std::string common = CommonFolder(pages);
  std::map<std::string, Group> groups;
  for (const auto& [file, page] : pages) {
    std::string name = FolderOf(file).substr(common.size());
    if (!name.empty()) name.pop_back();
    Group& group = groups[name];
    group.anchor = anchor + name;
    std::replace(group.anchor.begin(), group.anchor.end(), '/', '.');
    group.name = name.empty() ? "directly in " + (common.empty() ? "the root" : common) : name;
    group.pages.push_back(page);
  }
  std::vector<Group> sorted;
  for (auto& [name, group] : groups) {
    std::stable_sort(group.pages.begin(), group.pages.end(),
                     [](const Page& a, const Page& b) { return a.name < b.name; });
    sorted.push_back(std::move(group));
  }
  return sorted;
}

// A table or payload may be nested; its address is then on the page of what holds it.
Page PageFor(const Descriptor* message) { return {ShortName(message), Href(message), message}; }

}  // namespace

bool Group::Has(std::string_view href) const {
  return std::any_of(pages.begin(), pages.end(),
                     [&](const Page& page) { return page.href == href; });
}

Sections::Sections(const Relations& relations)
    : databases{"Databases", "page-databases", {}},
      payloads{"Payloads", "page-payloads", {}},
      others{"Other messages", "page-parts", {}} {
  for (const auto& [database, records] : relations.databases()) {
    Group& group = databases.groups.emplace_back(Group{database, "database-" + database, {}});
    for (const Descriptor* record : records) group.pages.push_back(PageFor(record));
  }
  std::stable_sort(databases.groups.begin(), databases.groups.end(),
                   [](const Group& a, const Group& b) { return a.pages.size() > b.pages.size(); });
  Pages with_gun, rest;
  for (const Descriptor* payload : relations.contracts().payloads()) {
    with_gun.emplace_back(payload->file(), PageFor(payload));
  }
  for (const Descriptor* page : relations.pages()) {
    if (KindOf(page) == Kind::kTable || KindOf(page) == Kind::kPayload) continue;
    rest.emplace_back(page->file(), PageFor(page));
  }
  for (const EnumDescriptor* page : relations.enum_pages()) {
    rest.emplace_back(page->file(), Page{page->name(), PageOf(page), nullptr});
  }
  payloads.groups = ByFolder(with_gun, "payloads-");
  others.groups = ByFolder(rest, "parts-");
}

}  // namespace ovix::tool
