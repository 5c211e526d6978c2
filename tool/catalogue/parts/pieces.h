// What several pages show in the same way: counts, limits, links and comments.
#ifndef OVIX_TOOL_CATALOGUE_PARTS_PIECES_H_
#define OVIX_TOOL_CATALOGUE_PARTS_PIECES_H_

#include <string>
#include <vector>

#include "catalogue/model/relations.h"

namespace ovix::tool {

// How long a table keeps its rows, and how many.
std::string KeptText(const TableOptions& options);
// The size limit of a database.
std::string SizeText(const Relations& relations, const std::string& database);

// A source of a lineage that is not a known record. `words` are HTML already.
std::string NoRecord(const std::string& name, const std::string& words);

// Links, seen from `root`: "" in contracts/, "contracts/" on the start page.
std::string LinkTo(const Descriptor* message, const std::string& root = "");
std::string LinksTo(const std::vector<const Descriptor*>& messages, const std::string& root = "");

// A comment, for a page in contracts/. `scope` is the full name of what has it.
std::string Prose(const Relations& relations, const std::string& scope, const std::string& text);
// Its first sentence, for the start page.
std::string FirstLine(const Relations& relations, const std::string& scope,
                      const std::string& text);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CATALOGUE_PARTS_PIECES_H_
