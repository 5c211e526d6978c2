// JSON or text format as the binary encoding.
#ifndef OVIX_TOOL_CONVERT_ENCODE_H_
#define OVIX_TOOL_CONVERT_ENCODE_H_

#include "convert/conversion.h"

namespace ovix::tool {

// Whether messages were skipped. Throws Error, with nothing written to a file.
bool Encode(const Contracts& contracts, const Conversion& options);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CONVERT_ENCODE_H_
