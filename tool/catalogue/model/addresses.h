// Where a declaration is in the catalogue, seen from the folder contracts/. Made of names alone, so
// that a link holds as long as the contract does.
#ifndef OVIX_TOOL_CATALOGUE_MODEL_ADDRESSES_H_
#define OVIX_TOOL_CATALOGUE_MODEL_ADDRESSES_H_

#include <string>

#include "contracts/contracts.h"

namespace ovix::tool {

// The message at package level that it is nested in, or itself.
const Descriptor* Outermost(const Descriptor* message);

// The page of a message or an enumeration at package level: "FULL.NAME.html".
template <typename AnyDescriptor>
std::string PageOf(const AnyDescriptor* outermost) {
  return outermost->full_name() + ".html";
}

// The page, and the anchor where it has one.
std::string Href(const Descriptor* message);
std::string Href(const EnumDescriptor* enumeration);
std::string Href(const FieldDescriptor* field);
std::string Href(const EnumValueDescriptor* value);

// The anchor of an address; empty where it is a whole page.
std::string AnchorOf(const std::string& href);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CATALOGUE_MODEL_ADDRESSES_H_
