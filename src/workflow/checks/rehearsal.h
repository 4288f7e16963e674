// Rehearses a merge without media: the boxes are put together as the engine does it, in memory, and
// what comes out is looked at.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "adapt/clips/clip_view.h"
#include "workflow/assembling/image_assembly.h"
#include "workflow/checks/match_check.h"
#include "workflow/checks/table_room.h"
#include "workflow/clips/clip_file.h"
#include "workflow/findings/file_findings.h"

namespace clipchain {

// What the bytes of the engine's movie box become; nothing if they can't.
using MovieCompletion =
    std::function<std::optional<std::vector<unsigned char>>(std::vector<unsigned char>)>;

class Rehearsal {
 public:
  // The movie boxes may take `memoryLimit` bytes. `layout`: of the result, whose clips share no
  // blocks with it.
  explicit Rehearsal(long long memoryLimit, const Layout& layout = {})
      : memoryLimit_(memoryLimit), assembly_(layout) {}

  // The sample tables of all inputs are that many times as large as the first one's.
  void ExpectGrowth(double growth) { growth_ = growth; }

  // Whether the boxes of the clip fit in the memory beside what is there; says so of the first clip
  // that does not.
  bool HasRoomFor(const ClipFile& clip, FileFindings& findings);

  // Takes the first input over, which leaves `clip` null, or compares a later one with it and
  // merges it unless something was found that the engine refuses. `view`: through which it was
  // read, if it is not read as it is.
  void Take(std::unique_ptr<ClipFile>& clip, const ClipView* view, FileFindings& findings);
  // An input could not be parsed: there will be no result.
  void GiveUp() { complete_ = false; }

  // Completes the movie box; `completion` says what becomes of it in the result, if anything does.
  // Findings are about the result. `image`, unless it is null, becomes that of the result; it stays
  // empty where there will be none.
  void Finish(const MovieCompletion& completion, FileFindings& findings, MergeImage* image);

  // Bytes of the result; an estimate if something was refused.
  long long OutputSize() const;
  // The tracks of the input taken last, in the order of the first input's; empty if they don't
  // match.
  const std::vector<TrackPair>& Pairs() const { return pairs_; }

 private:
  void TakeFirst(std::unique_ptr<ClipFile> clip, const ClipView* view, FileFindings& findings);
  void Merge(ClipFile& next, const ClipView* view, FileFindings& findings);
  bool CanSpellOutSizes(FileFindings& findings);
  void CheckSizes(const TrackPair& pair, std::uint64_t before, FileFindings& findings);
  void CheckDurations(FileFindings& findings);
  void CheckDuration(const MP4G::CFullBox* box, std::uint64_t duration, BoxPlaces& places,
                     FileFindings& findings);
  bool Complete(const MovieCompletion& completion, Bytes& movie, FileFindings& findings);
  void CheckMovie(std::span<const unsigned char> bytes, FileFindings& findings);

  long long memoryLimit_;
  // That the boxes taken so far need, about.
  long long memory_ = 0;
  // What the boxes of the clip at hand take by themselves.
  long long boxMemory_ = 0;
  double growth_ = 1;
  // Until the movie box is complete.
  std::unique_ptr<ClipFile> first_;
  // In its tables, as long as they grow.
  std::optional<TableRoom> room_;
  ImageAssembly assembly_;
  bool complete_ = true;
  bool isMemoryTold_ = false;
  std::vector<TrackPair> pairs_;
  // Of each track so far.
  std::map<const MP4G::CTrackBox*, std::uint64_t> samples_;
  // That were spoken of once.
  std::set<const MP4G::CBox*> reported_;
  bool hasMovie_ = false;
  long long headBytes_ = 0;
  long long mediaBytes_ = 0;
  long long movieBytes_ = 0;
};

}  // namespace clipchain
