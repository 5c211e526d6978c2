// show: one message, field or enumeration whole.
#include "show/show.h"

#include <memory>

#include "commands/commands.h"
#include "contracts/contracts.h"
#include "contracts/names.h"
#include "terminal/output.h"

namespace ovix::tool {
namespace {

template <typename AnyDescriptor>
std::string Shown(const Contracts& contracts, const AnyDescriptor* descriptor, Format format) {
  switch (format) {
    case Format::kJson:
      return ShownAsJson(contracts, descriptor);
    case Format::kCsv:
      return ShownAsCsv(contracts, descriptor);
    default:
      return ShownAsText(contracts, descriptor);
  }
}

}  // namespace

void AddShow(CLI::App& app, int&) {
  CLI::App* command = app.add_subcommand("show", "Show one message, field or enumeration whole");
  struct Options {
    Release release;
    std::string name;
    Format format = Format::kTable;
  };
  const auto options = std::make_shared<Options>();
  command
      ->add_option(
          "name", options->name,
          "What to show: a name, full or its end, a gun or the metadata file of a payload, or one "
          "of these and a path to a field")
      ->type_name("NAME[.FIELD]")
      ->required();
  AddFormat(*command, options->format);
  AddContracts(*command, options->release);
  command->footer(
      "Examples:\n"
      "  ovix-contracts show BatteryHealthLog\n"
      "  ovix-contracts show BatteryHealthLog.battery_status.charging\n"
      "  ovix-contracts show upload.device_profile.HwBattery\n"
      "  ovix-contracts show HwBatteryHealthLogAsCDM --format json");
  command->callback([options] {
    const Contracts& contracts = options->release.contracts();
    const Named named = FindNamed(contracts, options->name);
    WriteAll(named.field != nullptr     ? Shown(contracts, named.field, options->format)
             : named.message != nullptr ? Shown(contracts, named.message, options->format)
                                        : Shown(contracts, named.enumeration, options->format));
  });
}

}  // namespace ovix::tool
