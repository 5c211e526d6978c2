// export: contracts in the notations of other tools.
#include "export/export.h"

#include <memory>
#include <string>

#include "commands/commands.h"
#include "contracts/names.h"
#include "export/json_schema.h"
#include "export/odcs.h"
#include "terminal/error.h"
#include "terminal/folder.h"
#include "terminal/output.h"

namespace ovix::tool {
namespace {

enum class Notation { kJsonSchema, kOdcs };

struct Options {
  Release release;
  Notation notation = Notation::kJsonSchema;
  std::string name;
  std::string database;
  std::string output;
  std::string out;
  bool allows_unknown = false;
};

std::string OneOf(const Options& options) {
  const Contracts& contracts = options.release.contracts();
  if (options.notation == Notation::kJsonSchema) {
    return JsonSchemaOf(contracts, FindMessage(contracts, options.name), options.allows_unknown);
  }
  if (!options.database.empty()) return Odcs(contracts).OfDatabase(options.database);
  return Odcs(contracts).OfPayload(FindMessage(contracts, options.name));
}

void Export(const Options& options) {
  const bool is_schema = options.notation == Notation::kJsonSchema;
  if (is_schema && !options.database.empty()) {
    throw Error("--database is for --as odcs; name a table, or write all with --out DIR");
  }
  if (!is_schema && options.allows_unknown) {
    throw Error("--allow-unknown is for --as jsonschema; leave it out");
  }
  if (!options.out.empty()) {
    const Contracts& contracts = options.release.contracts();
    return is_schema
               ? WriteFolder(JsonSchemas(contracts, options.allows_unknown), options.out,
                             "folder of JSON Schemas")
               : WriteFolder(OdcsDocuments(contracts), options.out, "folder of ODCS documents");
  }
  if (options.name.empty() && options.database.empty()) {
    throw Error(std::string("nothing to export is named; name a ") +
                (is_schema ? "message" : "payload, a database with --database") +
                ", or write all with --out DIR");
  }
  WriteAll(OneOf(options), options.output);
}

}  // namespace

void AddExport(CLI::App& app, int&) {
  CLI::App* command =
      app.add_subcommand("export",
                         "Write contracts as JSON Schema or in the Open Data Contract "
                         "Standard");
  const auto options = std::make_shared<Options>();
  AddMessage(*command, options->name);
  CLI::Option* name = command->get_option("name")->required(false);
  AddChoice(*command, "--as", options->notation,
            {{"jsonschema", Notation::kJsonSchema}, {"odcs", Notation::kOdcs}})
      ->default_str("")
      ->required();
  CLI::Option* database = command
                              ->add_option("--database", options->database,
                                           "The tables of this database, with --as odcs")
                              ->type_name("NAME")
                              ->excludes(name);
  CLI::Option* output = AddOutput(*command, options->output);
  AddOut(*command, options->out,
         "Write a file for each table and payload (odcs: each database and payload) to this folder")
      ->excludes(name)
      ->excludes(database)
      ->excludes(output);
  command->add_flag("--allow-unknown", options->allows_unknown,
                    "Let a JSON Schema accept the fields of newer contracts");
  AddContracts(*command, options->release);
  command->footer(
      "Examples:\n"
      "  ovix-contracts export IdentityAsCDM --as jsonschema -o identity.schema.json\n"
      "  ovix-contracts export --as odcs --database HealthLog\n"
      "  ovix-contracts export --as odcs --out contracts");
  command->callback([options] { Export(*options); });
}

}  // namespace ovix::tool
