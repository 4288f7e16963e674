#include "workflow/keeping/proof_json.h"

#include <vector>

#include "workflow/clips/finding_json.h"

namespace clipchain {

namespace {

Json ListJson(const std::vector<PathAndReason>& paths) {
  Json objects = Json::array();
  for (const PathAndReason& path : paths) {
    Json object;
    SetPath(object, path.path);
    object["reason"] = path.reason;
    objects.push_back(object);
  }
  return objects;
}

}  // namespace

Json ProofJson(const CardProofOptions& options, const CardProof& proof) {
  Json document;
  document["safe"] = proof.kept && !options.clipsOnly;
  if (options.clipsOnly) document["clips_kept"] = proof.kept;
  document["clips"] = proof.clips;
  document["recordings"] = proof.recordings;
  document["others"] = proof.others;
  document["without_other_data"] = proof.withoutOtherData;
  document["left_aside"] = proof.leftAside.size();
  document["not_kept"] = ListJson(proof.notKept);
  document["passed_over"] = ListJson(proof.leftAside);
  document["beside_cards"] = ListJson(proof.besideCards);
  document["findings"] = FindingsJson(proof.findings);
  return document;
}

Json SplitJson(const std::string& merged, const SplitReport& report) {
  Json document;
  SetPath(document, merged);
  document["done"] = report.done;
  document["clips"] = Json::array();
  for (const SplitClip& clip : report.clips) {
    Json object;
    SetPath(object, clip.path);
    object["made"] = clip.made;
    object["size"] = clip.size;
    document["clips"].push_back(object);
  }
  document["findings"] = FindingsJson(report.findings);
  return document;
}

}  // namespace clipchain
