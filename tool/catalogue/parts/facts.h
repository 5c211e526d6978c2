// What the catalogue shows of the facts in comments: on a field its unit, values, format and
// privacy class; on a contract its personal data; and privacy.html, which lists all of that.
#ifndef OVIX_TOOL_CATALOGUE_PARTS_FACTS_H_
#define OVIX_TOOL_CATALOGUE_PARTS_FACTS_H_

#include <string>
#include <vector>

#include "contracts/contracts.h"
#include "contracts/facts.h"
#include "contracts/personal.h"

namespace ovix::tool {

// The facts of a field with a label each, for a page in contracts/; empty without one.
std::string FactsHtml(const FieldFacts& facts);

// The personal data of a message by class, each field with a link, for a page in contracts/, or
// that they are not known; empty without any.
std::string PersonalDataHtml(const Contracts& contracts, const PersonalData& personal,
                             const Descriptor* message);

// What is between the bar and the footer of privacy.html: the classes, and every field that has
// one, by payload and table, then those without one. A script filters it; without scripts it is the
// full list. Of a release that states no class it says only that.
std::string PrivacyPage(const Contracts& contracts, const PersonalData& personal);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CATALOGUE_PARTS_FACTS_H_
