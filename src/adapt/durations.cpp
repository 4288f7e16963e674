#include "adapt/durations.h"

#include <algorithm>
#include <optional>

#include "adapt/fit_clip.h"
#include "adapt/track_headers.h"
#include "adapt/track_tables.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

__extension__ using Wide = unsigned __int128;

constexpr std::uint32_t kNormalRate = 0x10000;

// Rounded up, so that nothing of the end is cut off.
std::uint64_t Rescaled(std::uint64_t time, std::uint32_t from, std::uint32_t to) {
  if (from == 0) return 0;
  return static_cast<std::uint64_t>((static_cast<Wide>(time) * to + from - 1) / from);
}

// The end of the last sample of those that have a common duration and offset is the latest.
std::uint64_t LatestEnd(const TimeRuns& times, const OffsetRuns& offsets) {
  std::uint64_t decoded = 0;
  std::int64_t latest = 0;
  std::size_t offset = 0;
  std::uint64_t used = 0;
  for (const TimeRun& run : times) {
    std::uint64_t left = run.count;
    while (left != 0) {
      while (offset < offsets.size() && used >= offsets[offset].count) {
        ++offset;
        used = 0;
      }
      const bool hasOffset = offset < offsets.size();
      const std::uint64_t step = hasOffset ? std::min(left, offsets[offset].count - used) : left;
      decoded += step * run.delta;
      const std::int64_t shift = hasOffset ? offsets[offset].offset : 0;
      latest = std::max(latest, static_cast<std::int64_t>(decoded) + shift);
      left -= step;
      used += step;
    }
  }
  return static_cast<std::uint64_t>(latest);
}

// The one part of an edit list that shows anything, at the usual rate; null if there are others.
Edit* OnlyShown(Edits& edits) {
  if (edits.empty()) return nullptr;
  const bool isEmptyBefore = std::all_of(edits.begin(), edits.end() - 1,
                                         [](const Edit& edit) { return edit.mediaTime == -1; });
  Edit& last = edits.back();
  return isEmptyBefore && last.mediaTime >= 0 && last.rate == kNormalRate ? &last : nullptr;
}

std::uint64_t TrackDuration(RawBox& track, std::uint64_t end, std::uint32_t mediaScale,
                            std::uint32_t movieScale) {
  RawBox* box = track.At({FourCc("edts"), FourCc("elst")});
  auto edits = box != nullptr ? ReadEdits(*box) : std::nullopt;
  if (!edits || edits->empty()) return Rescaled(end, mediaScale, movieScale);
  if (Edit* shown = OnlyShown(*edits)) {
    const auto start = static_cast<std::uint64_t>(shown->mediaTime);
    shown->duration = Rescaled(end > start ? end - start : 0, mediaScale, movieScale);
    *box = EditsBox(*edits);
  }
  std::uint64_t sum = 0;
  for (const Edit& edit : *edits) sum += edit.duration;
  return sum;
}

}  // namespace

std::uint64_t CompositionEnd(const RawBox& track) {
  const RawBox* table = SampleTable(track);
  const RawBox* stts = table != nullptr ? table->Child(FourCc("stts")) : nullptr;
  const auto times = stts != nullptr ? ReadTimes(*stts) : std::nullopt;
  if (!times) return 0;
  const RawBox* ctts = table->Child(FourCc("ctts"));
  const auto offsets = ctts != nullptr ? ReadOffsets(*ctts) : std::nullopt;
  return LatestEnd(*times, offsets.value_or(OffsetRuns()));
}

void RewriteDurations(RawBox& movie) {
  RawBox* movieHeader = movie.Child(FourCc("mvhd"));
  auto movieTime = movieHeader != nullptr ? ReadTimeHeader(*movieHeader) : std::nullopt;
  if (!movieTime) return;
  std::uint64_t longest = 0;
  for (RawBox* track : TracksOf(movie)) {
    RawBox* mediaHeader = track->At({FourCc("mdia"), FourCc("mdhd")});
    RawBox* trackHeader = track->Child(FourCc("tkhd"));
    auto mediaTime = mediaHeader != nullptr ? ReadTimeHeader(*mediaHeader) : std::nullopt;
    auto trackTime = trackHeader != nullptr ? ReadTrackHeader(*trackHeader) : std::nullopt;
    const RawBox* table = SampleTable(*track);
    const RawBox* stts = table != nullptr ? table->Child(FourCc("stts")) : nullptr;
    const auto times = stts != nullptr ? ReadTimes(*stts) : std::nullopt;
    const auto decoded = times ? MediaDuration(*times) : std::nullopt;
    if (!mediaTime || !trackTime || !decoded) continue;
    mediaTime->duration = *decoded;
    trackTime->duration =
        TrackDuration(*track, CompositionEnd(*track), mediaTime->scale, movieTime->scale);
    longest = std::max(longest, trackTime->duration);
    static_cast<void>(WriteTimeHeader(*mediaHeader, *mediaTime));
    static_cast<void>(WriteTrackHeader(*trackHeader, *trackTime));
  }
  movieTime->duration = longest;
  static_cast<void>(WriteTimeHeader(*movieHeader, *movieTime));
}

}  // namespace clipchain
