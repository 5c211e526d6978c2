// The guns and versions of payloads.
#ifndef OVIX_TOOL_DIFF_PAYLOADS_H_
#define OVIX_TOOL_DIFF_PAYLOADS_H_

#include "contracts/contracts.h"
#include "diff/differences.h"

namespace ovix::tool {

// The option cdm of a message of both releases.
void ComparePayloads(const Descriptor* before, const Descriptor* after, Differences& differences);

// What a release's payloads must be, whatever they were before: a version, and a gun of their own
// that ends in its major number.
void CheckPayloads(const Contracts& newer, Differences& differences);

// Whether each payload's version was raised as far as the changes of its content, which
// `differences` has, ask for.
void CompareVersions(const Contracts& older, const Contracts& newer, Differences& differences);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_DIFF_PAYLOADS_H_
