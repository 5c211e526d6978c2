#include "lint/against.h"

#include <algorithm>

#include "diff/compare.h"
#include "diff/place.h"
#include "diff/report.h"

namespace ovix::tool::lint {
namespace {

// Which contracts of one release contradict each other is said by the rules for contracts.
bool IsOfOneRelease(Change change) {
  return change == Change::kTableTaken || change == Change::kGunTaken ||
         change == Change::kVersionNotOfGun || change == Change::kVersionMalformed;
}

}  // namespace

std::vector<Finding> FindBroken(const Contracts& older, const Contracts& newer) {
  std::vector<Finding> findings;
  for (const Difference& difference : Compare(older, newer)) {
    if (difference.breaks == kSafe || IsOfOneRelease(difference.change)) continue;
    const std::string& subject = difference.subject;
    Place place = PlaceOf(difference, older, newer);
    // What is gone with its schema: where it was.
    if (place.file.empty()) place = {PlaceIn(older, subject).file, 0};
    const std::string words = WhatAndWhyOf(difference);
    findings.push_back({place.file, std::max(place.line, 1), RuleOf(difference.change).id,
                        subject == place.file ? words : subject + ": " + words,
                        difference.fix.empty() ? kUndo : difference.fix});
  }
  return findings;
}

}  // namespace ovix::tool::lint
