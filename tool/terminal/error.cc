#include "terminal/error.h"

#include <utility>

#include "terminal/format.h"

namespace ovix::tool {

Error::Error(std::string what) : std::runtime_error(OneLine(std::move(what))) {}

}  // namespace ovix::tool
