#include "catalogue/pages.h"

#include "catalogue/assets.h"
#include "catalogue/model/addresses.h"
#include "catalogue/model/relations.h"
#include "catalogue/model/sections.h"
#include "catalogue/pages/contract_page.h"
#include "catalogue/pages/start_page.h"
#include "catalogue/parts/facts.h"
#include "catalogue/parts/frame.h"
#include "catalogue/parts/navigation.h"
#include "catalogue/parts/texts.h"
#include "catalogue/search.h"

namespace ovix::tool {

std::map<std::string, std::string> CataloguePages(const Contracts& contracts,
                                                  const std::string& docs) {
  const Relations relations(contracts);
  std::map<std::string, std::string> files;
  const Sections sections(relations);
  const Site site{relations.contracts().release(), sections, docs};
  Texts texts(relations);
  files["index.html"] = StartPage(relations, site);
  for (const Descriptor* page : relations.pages())
    files["contracts/" + PageOf(page)] = MessagePage(relations, site, texts, page);
  for (const EnumDescriptor* page : relations.enum_pages())
    files["contracts/" + PageOf(page)] = EnumPage(relations, site, texts, page);
  files["privacy.html"] = Framed(site, "privacy.html", "Personal data",
                                 "The personal data in tables and payloads, by privacy class.",
                                 PrivacyPage(relations.contracts(), relations.personal()));
  files["assets/navigation.js"] = NavigationScript(sections);
  files["assets/index.js"] = SearchIndex(relations.contracts(), relations.personal());
  files["assets/style.css"] = kStyleSheet;
  files["assets/site.js"] = kSiteScript;
  files["assets/search.js"] = kSearchScript;
  files["assets/theme.js"] = kThemeScript;
  return files;
}

}  // namespace ovix::tool
