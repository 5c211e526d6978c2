#include "catalogue/parts/pieces.h"

#include "catalogue/model/addresses.h"
#include "catalogue/parts/html.h"

namespace ovix::tool {

std::string KeptText(const TableOptions& options) {
  std::string text = options.type == "State" ? "one row per key" : "rows are appended";
  if (options.max_rows != 0) text += ", at most " + Count(options.max_rows, "row");
  if (options.max_time_days != 0) text += ", for " + Count(options.max_time_days, "day");
  return text;
}

std::string SizeText(const Relations& relations, const std::string& database) {
  const uint32_t max_size_mb = relations.contracts().MaxSizeMb(database);
  return max_size_mb == 0 ? "no size limit" : "at most " + std::to_string(max_size_mb) + " MB";
}

std::string NoRecord(const std::string& name, const std::string& words) {
  return (name == "none" ? "no record" : Breakable(name)) + (words.empty() ? "" : ", " + words);
}

std::string LinkTo(const Descriptor* message, const std::string& root) {
  return Link(root + Href(message), Breakable(ShortName(message)));
}

std::string LinksTo(const std::vector<const Descriptor*>& messages, const std::string& root) {
  std::string html = "<ul class=\"links\">";
  for (const Descriptor* message : messages) html += "<li>" + LinkTo(message, root) + "</li>";
  return html + "</ul>";
}

std::string Prose(const Relations& relations, const std::string& scope, const std::string& text) {
  return CommentHtml(text, [&](const std::string& word) { return relations.Resolve(scope, word); });
}

std::string FirstLine(const Relations& relations, const std::string& scope,
                      const std::string& text) {
  return InlineHtml(FirstSentence(text), [&](const std::string& word) {
    const std::string href = relations.Resolve(scope, word);
    return href.empty() ? href : "contracts/" + href;
  });
}

}  // namespace ovix::tool
