// The numbers and names that messages and enumerations reserve.
#ifndef OVIX_TOOL_DIFF_RESERVED_H_
#define OVIX_TOOL_DIFF_RESERVED_H_

#include "contracts/contracts.h"
#include "diff/differences.h"

namespace ovix::tool {

// What is reserved and used nevertheless, or reserved no longer. `number_besides` and
// `name_besides` are what the reuse of a number or a name breaks in addition to its rule.
void CompareReserved(const Descriptor* before, const Descriptor* after, unsigned number_besides,
                     unsigned name_besides, Differences& differences);
void CompareReserved(const EnumDescriptor* before, const EnumDescriptor* after,
                     unsigned number_besides, unsigned name_besides, Differences& differences);

// The numbers that extensions may have: those that are gone.
void CompareExtensionRanges(const Descriptor* before, const Descriptor* after,
                            Differences& differences);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_DIFF_RESERVED_H_
