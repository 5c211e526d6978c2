// A machine made of a description, for the collectors to read; machines/README.md has its form.
#ifndef OVIX_TESTS_SUPPORT_MACHINE_H_
#define OVIX_TESTS_SUPPORT_MACHINE_H_

#include <string>

#include "collectors/collectors.h"
#include "support/folder.h"

namespace ovix::tests {

// The bytes of an SMBIOS table that its lines describe.
std::string SmbiosBytes(const std::string& lines);

// Writes the files of a machine below the folder, and returns what is expected of it.
std::string WriteMachine(const std::string& text, const Folder& folder);

// What one collector found, in lines: its name, each row in text format without `time`, each reason
// of what was skipped. What depends on the clock or the time zone is left out.
std::string Describe(const char* collector, const agent::Collection& found);

}  // namespace ovix::tests

#endif  // OVIX_TESTS_SUPPORT_MACHINE_H_
