// Pairs of schemas that show each rule of a comparison.
#ifndef OVIX_TESTS_SCHEMA_PAIRS_H_
#define OVIX_TESTS_SCHEMA_PAIRS_H_

#include <string>
#include <vector>

namespace ovix::tests {

struct SchemaPair {
  std::string name;
  std::string older, newer;       // as AddSchemas() takes them
  std::vector<std::string> said;  // every change, "field-added: safe"
  // A sentence of docs/compatibility.md where buf judges the wire or the source otherwise.
  std::string why_not_as_buf = "";
};

const std::vector<SchemaPair>& SchemaPairs();

}  // namespace ovix::tests

#endif  // OVIX_TESTS_SCHEMA_PAIRS_H_
