// The pages of the catalogue, as text.
#ifndef OVIX_TOOL_CATALOGUE_PAGES_H_
#define OVIX_TOOL_CATALOGUE_PAGES_H_

#include <map>
#include <string>

#include "contracts/contracts.h"

namespace ovix::tool {

// Every file of the site, by its path below the site's folder; the same for the same contracts.
// There is a page for each message and enumeration at package level, which shows those nested in it
// as sections:
//
//   index.html
//   privacy.html                   #class-identifier ...
//   contracts/FULL.NAME.html       #field_name, #Nested, #Nested.field_name, #VALUE
//   assets/style.css, site.js, search.js, theme.js, navigation.js, index.js
//
// Throws Error for options that contradict themselves.
std::map<std::string, std::string> CataloguePages(const Contracts& contracts,
                                                  const std::string& docs = "");

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CATALOGUE_PAGES_H_
