#include "clipchain/output/proof_output.h"

#include <fmt/format.h>

#include "clipchain/output/finding_output.h"
#include "workflow/clips/clip_json.h"
#include "workflow/findings/clip_words.h"
#include "workflow/proof_words.h"
#include "workflow/system/files.h"

namespace clipchain {

std::string ProofText(const CardProofOptions& options, const CardProof& proof, const Paint& paint) {
  std::string text;
  for (const PathAndReason& path : proof.leftAside)
    text += fmt::format("passed over: {} {}\n", Shown(path.path), path.reason);
  if (!proof.leftAside.empty())
    text += fmt::format("{} passed over\n", CountWords(proof.leftAside.size(), "path"));
  for (const PathAndReason& path : proof.notKept) {
    text +=
        fmt::format("{}: {}: {}\n", paint(Colour::kBad, "not kept"), Shown(path.path), path.reason);
  }
  const Colour colour = proof.kept ? Colour::kGood : Colour::kBad;
  return text + paint(colour, ProofSumWords(options, proof)) + '\n';
}

std::string ProofJson(const CardProofOptions& options, const CardProof& proof) {
  Json document;
  const auto list = [](const std::vector<PathAndReason>& paths) {
    Json objects = Json::array();
    for (const PathAndReason& path : paths) {
      Json object;
      SetPath(object, path.path);
      object["reason"] = path.reason;
      objects.push_back(object);
    }
    return objects;
  };
  document["safe"] = proof.kept && !options.clipsOnly;
  if (options.clipsOnly) document["clips_kept"] = proof.kept;
  document["clips"] = proof.clips;
  document["recordings"] = proof.recordings;
  document["others"] = proof.others;
  document["without_other_data"] = proof.withoutOtherData;
  document["left_aside"] = proof.leftAside.size();
  document["not_kept"] = list(proof.notKept);
  document["passed_over"] = list(proof.leftAside);
  document["findings"] = FindingsJson(proof.findings);
  return JsonText(document);
}

std::string SplitText(const SplitReport& report) {
  std::string text;
  std::size_t made = 0;
  for (const SplitClip& clip : report.clips) {
    if (!clip.made) continue;
    ++made;
    text += fmt::format("{:>10}  {}\n", Amount(clip.size), Shown(clip.path));
  }
  if (made == 0) return "";
  return text + fmt::format("made {} of {}\n", made, CountWords(report.clips.size(), "clip"));
}

std::string SplitJson(const std::string& merged, const SplitReport& report) {
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
  return JsonText(document);
}

}  // namespace clipchain
