// catalogue: the contracts as a static site.
#include <memory>

#include "catalogue/catalogue.h"
#include "commands/commands.h"

namespace ovix::tool {

void AddCatalogue(CLI::App& app, int&) {
  CLI::App* command = app.add_subcommand("catalogue", "Write the contracts as a static site");
  const auto out = std::make_shared<std::string>();
  command
      ->add_option("--out", *out,
                   "Folder of the site: new, empty or of an earlier catalogue, which is replaced")
      ->type_name("DIR")
      ->required();
  command->footer(
      "Examples:\n"
      "  ovix-contracts catalogue --out site");
  command->callback([out] { WriteCatalogue(Contracts::Installed(), *out); });
}

}  // namespace ovix::tool
