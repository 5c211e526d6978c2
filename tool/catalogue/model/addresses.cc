#include "catalogue/model/addresses.h"

namespace ovix::tool {
namespace {

// The address of what has this full name and is declared in the page's message.
std::string HrefIn(const Descriptor* page, const std::string& full_name) {
  return PageOf(page) + "#" + full_name.substr(page->full_name().size() + 1);
}

}  // namespace

const Descriptor* Outermost(const Descriptor* message) {
  while (message->containing_type() != nullptr) message = message->containing_type();
  return message;
}

std::string Href(const Descriptor* message) {
  const Descriptor* page = Outermost(message);
  return message == page ? PageOf(page) : HrefIn(page, message->full_name());
}

std::string Href(const EnumDescriptor* enumeration) {
  if (enumeration->containing_type() == nullptr) return PageOf(enumeration);
  return HrefIn(Outermost(enumeration->containing_type()), enumeration->full_name());
}

std::string Href(const FieldDescriptor* field) {
  return HrefIn(Outermost(field->containing_type()), field->full_name());
}

std::string Href(const EnumValueDescriptor* value) {
  const bool nested = value->type()->containing_type() != nullptr;
  return Href(value->type()) + (nested ? "." : "#") + value->name();
}

std::string AnchorOf(const std::string& href) {
  const size_t hash = href.find('#');
  return hash == std::string::npos ? "" : href.substr(hash + 1);
}

}  // namespace ovix::tool
