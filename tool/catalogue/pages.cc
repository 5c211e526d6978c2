#include "catalogue/pages.h"

#include "catalogue/addresses.h"
#include "catalogue/assets.h"
#include "catalogue/contract_page.h"
#include "catalogue/facts.h"
#include "catalogue/frame.h"
#include "catalogue/relations.h"
#include "catalogue/search.h"
#include "catalogue/start_page.h"
#include "terminal/error.h"

namespace ovix::tool {
namespace {

std::map<std::string, std::string> Files(const Relations& relations) {
  std::map<std::string, std::string> files;
  files["index.html"] = StartPage(relations);
  for (const Descriptor* page : relations.pages())
    files["contracts/" + PageOf(page)] = MessagePage(relations, page);
  for (const EnumDescriptor* page : relations.enum_pages())
    files["contracts/" + PageOf(page)] = EnumPage(relations, page);
  files["privacy.html"] = Framed(
      "", "Personal data", "The personal data in tables and payloads, by privacy class.",
      relations.contracts().release(), PrivacyPage(relations.contracts(), relations.personal()));
  files["assets/index.js"] = SearchIndex(relations.contracts(), relations.personal());
  files["assets/style.css"] = kStyleSheet;
  files["assets/site.js"] = kSiteScript;
  files["assets/theme.js"] = kThemeScript;
  return files;
}

}  // namespace

std::map<std::string, std::string> CataloguePages(const Contracts& contracts) {
  try {
    return Files(Relations(contracts));
  } catch (const telemetry::contract::tables::TableError& error) {
    throw Error(error.what());
  }
}

}  // namespace ovix::tool
