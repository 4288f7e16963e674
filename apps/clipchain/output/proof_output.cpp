#include "clipchain/output/proof_output.h"

#include <fmt/format.h>

#include "workflow/findings/clip_words.h"
#include "workflow/proof_words.h"
#include "workflow/system/files.h"

namespace clipchain {

std::string ProofText(const CardProofOptions& options, const CardProof& proof, const Paint& paint) {
  std::string text;
  for (const PathAndReason& path : proof.leftAside)
    text += fmt::format("passed over: {} {}\n", PrintablePath(path.path), path.reason);
  // What is passed over is not proven: its number shows that somebody has to look at it.
  if (!proof.leftAside.empty())
    text += fmt::format("{} passed over\n", Counted(proof.leftAside.size(), "path"));
  for (const PathAndReason& path : proof.notKept) {
    text += fmt::format("{}: {}: {}\n", paint(Colour::kBad, "not kept"), PrintablePath(path.path),
                        path.reason);
  }
  for (const PathAndReason& path : proof.besideCards)
    text += fmt::format("{}: {} {}\n", paint(Colour::kNote, "note"), PrintablePath(path.path),
                        path.reason);
  const Colour colour = proof.kept ? Colour::kGood : Colour::kBad;
  return text + paint(colour, ProofSumWords(options, proof)) + '\n';
}

std::string SplitText(const SplitReport& report) {
  std::string text;
  std::size_t made = 0;
  for (const SplitClip& clip : report.clips) {
    if (!clip.made) continue;
    ++made;
    text += fmt::format("{:>10}  {}\n", FormatBytes(clip.size), PrintablePath(clip.path));
  }
  // That nothing was made is an error, and stands among those.
  if (made == 0) return "";
  return text + fmt::format("made {} of {}\n", made, Counted(report.clips.size(), "clip"));
}

}  // namespace clipchain
