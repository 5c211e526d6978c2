// The page of a contract: one for each message and enumeration at package level, which shows those
// nested in it as sections.
#ifndef OVIX_TOOL_CATALOGUE_PAGES_CONTRACT_PAGE_H_
#define OVIX_TOOL_CATALOGUE_PAGES_CONTRACT_PAGE_H_

#include <string>

#include "catalogue/model/relations.h"
#include "catalogue/parts/frame.h"
#include "catalogue/parts/texts.h"

namespace ovix::tool {

// The whole page, as HTML.
std::string MessagePage(const Relations& relations, const Site& site, Texts& texts,
                        const Descriptor* message);
std::string EnumPage(const Relations& relations, const Site& site, Texts& texts,
                     const EnumDescriptor* enumeration);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CATALOGUE_PAGES_CONTRACT_PAGE_H_
