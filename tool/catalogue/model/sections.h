// How the pages are grouped, on the start page and in the navigation.
#ifndef OVIX_TOOL_CATALOGUE_MODEL_SECTIONS_H_
#define OVIX_TOOL_CATALOGUE_MODEL_SECTIONS_H_

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "catalogue/model/relations.h"

namespace ovix::tool {

struct Page {
  std::string name;
  std::string href;                     // in contracts/
  const Descriptor* message = nullptr;  // null for an enumeration
};

// A database with its tables, or a folder of schemas with its payloads or with the other messages
// and enumerations; by name. Folders are named from the one that holds them all.
struct Group {
  std::string name;
  std::string anchor;  // on the start page
  std::vector<Page> pages;

  // Whether a page of the group has this address in contracts/.
  bool Has(std::string_view href) const;
};

struct Section {
  std::string name;
  std::string anchor;  // on the start page
  std::vector<Group> groups;
};

// Every table, every payload, and the pages of all other messages and enumerations.
struct Sections {
  explicit Sections(const Relations& relations);

  std::array<const Section*, 3> all() const { return {&databases, &payloads, &others}; }

  Section databases;  // the one with the most tables first
  Section payloads;
  Section others;
};

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CATALOGUE_MODEL_SECTIONS_H_
