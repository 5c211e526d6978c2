// The commands that work on the outbox: upload, pack and ack.
#ifndef OVIX_AGENT_UPLOAD_COMMANDS_H_
#define OVIX_AGENT_UPLOAD_COMMANDS_H_

#include <CLI/CLI.hpp>

namespace ovix::agent {

// Adds the commands; the one that was called sets `exit_code`: 0 where all is done, 1 where
// something was wrong, all of which was said, 2 where an id to acknowledge was not in the outbox.
// Throws std::runtime_error, in one line, where it could not begin. `exit_code` must outlive `app`.
void AddUploadCommands(CLI::App& app, int& exit_code);

}  // namespace ovix::agent

#endif  // OVIX_AGENT_UPLOAD_COMMANDS_H_
