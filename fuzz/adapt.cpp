// A merge that adapts its clips, two to four files out of the bytes: what it completes passed the
// comparison with every sample of the clips, what it does not complete leaves nothing, and the
// clips stay as they are. What it completes has a form with the movie box in front, too, but for
// tables that make no sense, and standard output would get the same bytes.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "inputs.h"
#include "support/temp_dir.h"
#include "target.h"
#include "workflow/safe_merge.h"
#include "workflow/stream_merge.h"

using clipchain::Finding;
using clipchain::Message;
using support::Bytes;

namespace {

// What movie boxes may take of inputs that are this small at most.
constexpr long long kMemoryLimit = 64ll << 20;

bool IsOfVerification(const Finding& finding) {
  return finding.message == Message::kResultDiffers || finding.message == Message::kResultDamaged;
}

bool IsUnfinished(const Finding& finding) { return finding.message == Message::kOutputUnfinished; }

bool IsAnyOf(const clipchain::Findings& findings, bool (*is)(const Finding&)) {
  return std::any_of(findings.begin(), findings.end(), is);
}

// The clips, which were merged, with the movie box in front.
void MergeInFront(const std::vector<std::string>& paths, clipchain::SafeMergeOptions options) {
  options.faststart = true;
  const clipchain::SafeMergeReport front = clipchain::SafeMerge(paths, options);
  fuzz::Require(front.done || IsAnyOf(front.findings, IsUnfinished),
                "what merges does so with the movie in front");
  const std::string path = options.check.output + ".streamed";
  clipchain::StreamOptions stream;
  stream.check = options.check;
  stream.descriptor = ::open(path.c_str(), O_CREAT | O_TRUNC | O_WRONLY | O_CLOEXEC, 0600);
  const bool streamed = clipchain::StreamMerge(paths, stream).done;
  ::close(stream.descriptor);
  fuzz::Require(streamed == front.done, "a stream is complete where a file is");
  fuzz::Require(!streamed || support::ReadFile(path) == support::ReadFile(options.check.output),
                "a stream gets what a file gets");
  std::filesystem::remove(path);
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
  Require(!report.done || !IsAnyOf(report.findings, IsOfVerification),
          "what is completed passed its verification");
  for (std::size_t i = 0; i < inputs.size(); ++i)
    Require(support::ReadFile(paths[i]) == inputs[i], "a merge changes no clip");
  Require(report.done == std::filesystem::exists(options.check.output),
          "what is not completed leaves nothing");
  if (report.done) MergeInFront(paths, options);
  std::filesystem::remove(options.check.output);
}
