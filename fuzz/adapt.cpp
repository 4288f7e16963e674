// A merge that adapts its clips, two to four files out of the bytes: what it completes passed the
// comparison with every sample of the clips, what it does not complete leaves nothing, and the
// clips stay as they are.
#include <algorithm>
#include <filesystem>

#include "inputs.h"
#include "support/temp_dir.h"
#include "target.h"
#include "workflow/safe_merge.h"

using clipchain::Finding;
using clipchain::Message;
using support::Bytes;

namespace {

// What movie boxes may take of inputs that are this small at most.
constexpr long long kMemoryLimit = 64ll << 20;

bool IsOfVerification(const Finding& finding) {
  return finding.message == Message::kResultDiffers || finding.message == Message::kResultDamaged;
}

}  // namespace

void fuzz::RunInput(const unsigned char* data, std::size_t size) {
  static const support::TempDir folder;
  const std::vector<Bytes> inputs = SplitInputs(data, size);
  if (inputs.size() < 2 || std::any_of(inputs.begin(), inputs.end(), ClaimsManyCommonSizes)) return;
  std::vector<std::string> paths;
  for (const Bytes& input : inputs) {
    paths.push_back(folder / ("clip" + std::to_string(paths.size()) + ".mp4"));
    support::WriteFile(paths.back(), input);
  }
  clipchain::SafeMergeOptions options;
  options.check.output = folder / "output.mp4";
  options.check.overwrite = true;
  options.check.memoryLimit = kMemoryLimit;
  options.verification = clipchain::Verification::kFull;
  const clipchain::SafeMergeReport report = clipchain::SafeMerge(paths, options);
  Require(!report.done ||
              std::none_of(report.findings.begin(), report.findings.end(), IsOfVerification),
          "what is completed passed its verification");
  for (std::size_t i = 0; i < inputs.size(); ++i)
    Require(support::ReadFile(paths[i]) == inputs[i], "a merge changes no clip");
  Require(report.done == std::filesystem::exists(options.check.output),
          "what is not completed leaves nothing");
  std::filesystem::remove(options.check.output);
}
