#include "support/comments.h"

#include <gtest/gtest.h>

#include <sstream>

namespace ovix::tests {

Comments::Comments(const google::protobuf::FileDescriptorSet& set) {
  for (const auto& file : set.file()) {
    EXPECT_NE(pool_.BuildFile(file), nullptr) << file.name();
  }
}

std::vector<Source> Sources(const std::string& comment) {
  std::vector<Source> sources;
  std::istringstream lines(comment);
  const std::string mark = "Source: ";
  bool goes_on = false;
  for (std::string line; std::getline(lines, line);) {
    const size_t first = line.find_first_not_of(' ');
    line = first == std::string::npos ? "" : line.substr(first);
    if (line.starts_with(mark)) {
      const size_t comma = line.find(", ");
      sources.push_back(
          {line.substr(mark.size(), comma == std::string::npos ? comma : comma - mark.size()),
           comma == std::string::npos ? "" : line.substr(comma + 2)});
      goes_on = true;
    } else if (line.empty()) {
      goes_on = false;
    } else if (goes_on) {
      sources.back().words += " " + line;
    } else if (!sources.empty()) {
      ADD_FAILURE() << "text behind the lineage: " << line;
    }
  }
  return sources;
}

}  // namespace ovix::tests
