// Completion of the command line, for every shell from the definitions of the commands and options.
// The scripts for the shells only ask the tool: `ovix-contracts complete WORD...`.
#ifndef OVIX_TOOL_COMMANDS_COMPLETION_H_
#define OVIX_TOOL_COMMANDS_COMPLETION_H_

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace ovix::tool {

enum class Shell { kBash, kZsh, kFish };

// The script that a shell reads.
std::string CompletionScript(Shell shell);

// What the last of the words can become, which is being typed; the others come before it, without
// the program. A line says what comes next, "words", "files" or "folders"; after "words" follows a
// line for each: the word, and after a tab what it is.
std::string Completions(const CLI::App& app, std::vector<std::string> words);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_COMMANDS_COMPLETION_H_
