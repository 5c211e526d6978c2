#include "commands/conversion.h"

namespace ovix::tool {

void AddConversion(CLI::App& command, Conversion& conversion) {
  command
      .add_option("name", conversion.name,
                  "The message's full name, or the end of it where no other has the same")
      ->type_name("NAME")
      ->required();
  command
      .add_option("input", conversion.input, "What to read; standard input without it and for -")
      ->type_name("FILE");
  command
      .add_option("-o,--output", conversion.output,
                  "Where to write, whole or not at all; standard output without it")
      ->type_name("FILE");
  AddChoice(command, "--format", conversion.notation,
            {{"json", Notation::kJson}, {"text", Notation::kText}});
}

}  // namespace ovix::tool
