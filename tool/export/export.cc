#include "export/export.h"

#include "export/json_schema.h"
#include "export/odcs.h"
#include "terminal/error.h"
#include "terminal/file_names.h"

namespace ovix::tool {

std::map<std::string, std::string> JsonSchemas(const Contracts& contracts, bool allows_unknown) {
  std::map<std::string, std::string> files;
  for (const auto& messages : {contracts.tables(), contracts.payloads()}) {
    for (const Descriptor* message : messages) {
      files[message->full_name() + ".schema.json"] =
          JsonSchemaOf(contracts, message, allows_unknown);
    }
  }
  return files;
}

std::map<std::string, std::string> OdcsDocuments(const Contracts& contracts) {
  const Odcs odcs(contracts);
  std::map<std::string, std::string> files;
  for (const std::string& database : odcs.Databases()) {
    if (!IsPlainFileName(database)) {
      throw Error("database \"" + database +
                  "\": its name cannot be that of a file; export it with --database and -o");
    }
    files[database + ".odcs.yaml"] = odcs.OfDatabase(database);
  }
  for (const Descriptor* payload : contracts.payloads()) {
    files[payload->full_name() + ".odcs.yaml"] = odcs.OfPayload(payload);
  }
  return files;
}

}  // namespace ovix::tool
