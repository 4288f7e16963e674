#include "workflow/clips/finding_json.h"

#include <string>

namespace clipchain {

namespace {

Json TextOrNull(const std::string& text) { return text.empty() ? Json() : Json(text); }

}  // namespace

Json FindingJson(const Finding& finding) {
  Json object;
  object["name"] = MessageName(finding.message);
  object["severity"] = SeverityName(finding.severity);
  object["path"] = nullptr;
  if (!finding.path.empty()) SetPath(object, finding.path);
  object["track"] = finding.track != 0 ? Json(finding.track) : Json();
  object["box"] = TextOrNull(finding.box);
  object["offset"] = finding.offset >= 0 ? Json(finding.offset) : Json();
  object["text"] = finding.text;
  object["remedy"] = TextOrNull(finding.remedy);
  object["result"] = finding.result != S_OK ? Json(ResultName(finding.result)) : Json();
  return object;
}

Json FindingsJson(const Findings& findings) {
  Json array = Json::array();
  for (const Finding& finding : findings) array.push_back(FindingJson(finding));
  return array;
}

}  // namespace clipchain
