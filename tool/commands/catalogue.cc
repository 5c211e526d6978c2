// catalogue: the contracts as a static site.
#include <memory>

#include "catalogue/catalogue.h"
#include "commands/commands.h"

namespace ovix::tool {

void AddCatalogue(CLI::App& app, int&) {
  CLI::App* command = app.add_subcommand("catalogue", "Write the contracts as a static site");
  struct Options {
    Release release;
    std::string out;
    std::string docs;
  };
  const auto options = std::make_shared<Options>();
  AddOut(*command, options->out, "Folder of the site")->required();
  command
      ->add_option(
          "--docs", options->docs,
          "Address of the pages on the contracts (contracts.md ...), for links on the start "
          "page; none without it")
      ->type_name("URL");
  AddContracts(*command, options->release);
  command->footer(
      "Examples:\n"
      "  ovix-contracts catalogue --out site");
  command->callback(
      [options] { WriteCatalogue(options->release.contracts(), options->out, options->docs); });
}

}  // namespace ovix::tool
