#include "terminal/report.h"

#include <iostream>
#include <utility>

#include "terminal/format.h"

namespace ovix::tool {

void Report(std::string what) { std::cerr << "ovix-contracts: " + OneLine(std::move(what)) + "\n"; }

}  // namespace ovix::tool
