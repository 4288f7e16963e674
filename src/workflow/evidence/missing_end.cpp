#include "workflow/evidence/missing_end.h"

#include <filesystem>

#include "workflow/evidence/clip_names.h"
#include "workflow/system/part_name.h"

namespace clipchain {

namespace {

namespace fs = std::filesystem;

std::string StemOf(const std::string& path) { return fs::path(path).stem().string(); }

}  // namespace

MissingEnds::MissingEnds(const ScanReport& scan) {
  for (std::size_t i = 0; i < scan.sequences.size(); ++i) {
    const SequenceReport& sequence = scan.sequences[i];
    // Of a copy the original is asked.
    if (sequence.closedAtTail || sequence.copyOf || sequence.clips.empty()) continue;
    const std::string& last = sequence.clips.back().path;
    const std::string folder = FolderOf(last);
    Folder& found = folders_[folder];
    ++found.open;
    found.last = i;
    for (const NextName& next : NamesBehind(StemOf(last), 1))
      byNext_.try_emplace({folder, next.name}, i);
  }
  for (const RejectedClip& clip : scan.rejected) ++folders_[FolderOf(clip.path)].broken;
}

std::optional<std::size_t> MissingEnds::Of(const std::string& broken) const {
  const auto folder = folders_.find(FolderOf(broken));
  if (folder == folders_.end()) return std::nullopt;
  const auto named = byNext_.find({folder->first, StemOf(broken)});
  if (named != byNext_.end()) return named->second;
  // One that is open and one that is broken: more of either, and it would be a guess.
  const bool isPlain = folder->second.open == 1 && folder->second.broken == 1;
  return isPlain ? std::optional(folder->second.last) : std::nullopt;
}

}  // namespace clipchain
