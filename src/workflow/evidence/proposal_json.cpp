#include "workflow/evidence/proposal_json.h"

namespace clipchain {

namespace {

Json EvidenceJson(const Evidence& evidence) {
  Json object;
  object["kind"] = EvidenceName(evidence.kind);
  object["agrees"] = evidence.agrees ? Json(*evidence.agrees) : Json();
  object["text"] = evidence.text;
  return object;
}

}  // namespace

Json ProposalJson(const Proposal& proposal) {
  Json object;
  object["grade"] = GradeName(proposal.grade);
  object["clips"] = Json::array();
  for (const std::string& clip : proposal.clips) {
    Json path;
    SetPath(path, clip);
    object["clips"].push_back(path["path"]);
  }
  object["complete"] = proposal.complete;
  object["date"] = DateJson(proposal.date);
  object["evidence"] = Json::array();
  for (const Evidence& evidence : proposal.evidence)
    object["evidence"].push_back(EvidenceJson(evidence));
  object["sequences"] = Json::array();
  for (const std::size_t sequence : proposal.sequences) object["sequences"].push_back(sequence + 1);
  return object;
}

}  // namespace clipchain
