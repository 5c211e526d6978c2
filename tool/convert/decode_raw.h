// The binary encoding read without a schema.
#ifndef OVIX_TOOL_CONVERT_DECODE_RAW_H_
#define OVIX_TOOL_CONVERT_DECODE_RAW_H_

#include <string>
#include <string_view>

#include "convert/conversion.h"
#include "wire/wire.h"

namespace ovix::tool {

// Appends the fields of an encoding, one a line: number, wire type, value. What a field of bytes
// holds is guessed: text, a message, else the bytes with the numbers that a packed list would have.
// The first fault ends it.
WireProblem PrintRaw(std::string_view encoded, std::string& out);

// Prints messages of any type. Whether some were skipped. Throws Error at the first fault, after
// what precedes it.
bool DecodeRaw(const Conversion& options);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CONVERT_DECODE_RAW_H_
