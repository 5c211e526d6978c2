// What collectors do with the strings in which a machine describes itself.
#ifndef OVIX_AGENT_COLLECTORS_TEXT_H_
#define OVIX_AGENT_COLLECTORS_TEXT_H_

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace ovix::agent {

// "Key: value" lines of a string until its end, keys without the spaces before the colon. A line
// that begins with a space, which goes on with the value before it, is skipped.
std::map<std::string, std::string> Fields(const std::string& text);

// Without spaces, tabs and line ends around it.
std::string Trimmed(const std::string& text);

// The whole number that the text begins with; 0 without one, and where it exceeds 32 bits.
uint32_t ToNumber(const std::string& text);

// The parts of a string between separators; an empty string has none.
std::vector<std::string> Split(const std::string& text, const std::string& separator);

}  // namespace ovix::agent

#endif  // OVIX_AGENT_COLLECTORS_TEXT_H_
