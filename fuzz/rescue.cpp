// A rescue of the last file in the bytes by what the first one teaches: it ends, leaves both as
// they are, and writes either a clip that holds what the report says or nothing.
#include "workflow/rescue.h"

#include <filesystem>

#include "inputs.h"
#include "support/temp_dir.h"
#include "target.h"
#include "workflow/rescue/reference.h"

using support::Bytes;

namespace {

bool HoldsWhatItSays(const std::string& path, const clipchain::RescueReport& report) {
  clipchain::rescue::Reference clip;
  if (clip.Load(path) || clip.tracks().size() != report.tracks.size()) return false;
  for (std::size_t i = 0; i < report.tracks.size(); ++i) {
    const clipchain::SampleSizes& sizes = clip.tracks()[i].sizes;
    if (sizes.count != report.tracks[i].samples ||
        sizes.Sum() != static_cast<std::uint64_t>(report.tracks[i].bytes))
      return false;
  }
  return true;
}

}  // namespace

void fuzz::RunInput(const unsigned char* data, std::size_t size) {
  const std::vector<Bytes> files = SplitInputs(data, size);
  if (files.size() < 2) return;
  static const support::TempDir folder("/dev/shm");
  const std::string like = folder / "like.mp4";
  const std::string broken = folder / "broken.mp4";
  const std::string output = folder / "out.mp4";
  support::WriteFile(like, files.front());
  support::WriteFile(broken, files.back());
  std::filesystem::remove(output);
  clipchain::RescueOptions options;
  options.references = {like};
  options.output = output;
  options.verification = clipchain::Verification::kFull;
  const clipchain::RescueReport report = clipchain::Rescue(broken, options);
  Require(report.done == std::filesystem::exists(output), "there is an output if it says so");
  Require(!report.done || HoldsWhatItSays(output, report), "the output holds what the report says");
  Require(support::ReadFile(broken) == files.back(), "the broken clip is only read");
  Require(support::ReadFile(like) == files.front(), "the other clip is only read");
}
