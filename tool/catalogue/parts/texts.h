// A contract as programs read it, for its page.
#ifndef OVIX_TOOL_CATALOGUE_PARTS_TEXTS_H_
#define OVIX_TOOL_CATALOGUE_PARTS_TEXTS_H_

#include <string>

#include "catalogue/model/relations.h"
#include "catalogue/model/schema_text.h"
#include "json/printer.h"
#include "sample/sampler.h"
#include "wire/messages.h"

namespace ovix::tool {

// As `ddl`, `sample` and the schemas have it. Not for use by two threads at once.
class Texts {
 public:
  // `relations` must outlive it.
  explicit Texts(const Relations& relations);

  // Blocks that open: the SQL of a table, a sample as JSON of what is written as JSON, and the
  // schema.
  std::string Html(const Descriptor* message);
  std::string Html(const EnumDescriptor* enumeration);

 private:
  std::string Sql(const Descriptor* table) const;
  std::string Sample(const Descriptor* message);

  const Relations& relations_;
  const SchemaTexts schemas_;
  Sampler sampler_;
  Messages messages_;
  JsonPrinter json_{false};
};

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CATALOGUE_PARTS_TEXTS_H_
