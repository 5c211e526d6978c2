// The files of the catalogue that are the same for all contracts: assets/, built in.
#ifndef OVIX_TOOL_CATALOGUE_ASSETS_H_
#define OVIX_TOOL_CATALOGUE_ASSETS_H_

#include <string_view>

namespace ovix::tool {

extern const std::string_view kStyleSheet;    // style.css
extern const std::string_view kSiteScript;    // site.js
extern const std::string_view kSearchScript;  // search.js
extern const std::string_view kThemeScript;   // theme.js

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CATALOGUE_ASSETS_H_
