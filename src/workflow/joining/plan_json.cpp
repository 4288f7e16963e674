#include "workflow/joining/plan_json.h"

#include "workflow/evidence/proposal_json.h"
#include "workflow/findings/clip_words.h"

namespace clipchain {

Json JobJson(const Job& job) {
  Json object;
  object["date"] = DateJson(job.date);
  object["state"] = StateWords(job.identified, job.closedAtHead, job.closedAtTail);
  object["size"] = job.size;
  object["inputs"] = Json::array();
  for (const std::string& input : job.inputs) SetPath(object["inputs"].emplace_back(), input);
  object["output"] = nullptr;
  if (!job.output.empty()) SetPath(object["output"], job.output);
  object["accepted"] = nullptr;
  if (job.accepted)
    object["accepted"] = {{"grade", GradeName(*job.accepted)}, {"evidence", job.evidence}};
  return object;
}

Json PlannedJson(const PlannedProposal& planned) {
  Json object = ProposalJson(planned.proposal);
  object["accepted"] = planned.accepted;
  return object;
}

}  // namespace clipchain
