// Tells when the samples of a track are decoded and shown, in exact numbers (ISO/IEC
// 14496-12, 8.6.1 and 8.6.6).
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "adapt/boxes/raw_boxes.h"
#include "adapt/boxes/track_tables.h"

namespace clipchain {

// A moment or a length of time, in units of which every usual time scale counts a whole number.
// Nothing that 64 bits count in a scale of 32 bits leaves it.
__extension__ using Moment = __int128;
// 2^16 · 3^3 · 5^6 · 7^2.
inline constexpr std::int64_t kUnitsASecond = 1'354'752'000'000;

// Both round down. `scale`, ticks a second, must not be 0.
Moment MomentOf(Moment ticks, std::uint32_t scale);
Moment TicksOf(Moment moment, std::uint32_t scale);
// Rounds up.
Moment TicksToHold(Moment moment, std::uint32_t scale);
double Milliseconds(Moment moment);

enum class MediaKind { kPicture, kSound, kOther };

// What an edit list says, if it is one that delays the track and then shows one stretch of its
// media at its own speed. Parts that follow each other without a gap are one stretch, and what
// shows nothing at the end counts nothing.
struct ShownStretch {
  enum class Kind {
    // All of the media is shown.
    kNoList,
    // What the fields below say.
    kPlain,
    // No part of the media is shown.
    kNothing,
    // Several parts that do not follow each other.
    kParts,
    // Stands still at one moment.
    kDwell,
    // Slower, faster or backwards.
    kOtherRate
  };

  Kind kind = Kind::kNoList;
  // Ticks of the movie, before anything is shown.
  std::uint64_t delay = 0;
  // Ticks of the media; where the first part begins, whatever the kind.
  std::int64_t start = 0;
  // Ticks of the movie; 0: to the end of the media.
  std::uint64_t length = 0;

  bool IsPlain() const { return kind == Kind::kNoList || kind == Kind::kPlain; }
  bool operator==(const ShownStretch&) const = default;
};

ShownStretch StretchOf(const Edits& edits, std::uint32_t mediaScale, std::uint32_t movieScale);

// What a plain stretch does not show of the media, in samples that it hides as a whole and in ticks
// of the media. At the end, whole samples count, and more of the last picture that is shown than
// others last: less is the movie's coarser clock.
struct HiddenSamples {
  std::uint64_t before = 0;
  std::uint64_t behind = 0;
  std::int64_t beforeTicks = 0;
  std::int64_t behindTicks = 0;

  bool operator==(const HiddenSamples&) const = default;
};

// What a track says about its times.
struct TrackSource {
  unsigned int id = 0;
  // Of the first sample entry; 0 without one.
  unsigned int entryType = 0;
  MediaKind kind = MediaKind::kOther;
  // Ticks a second of the media.
  std::uint32_t scale = 0;
  // Ticks a second of the movie.
  std::uint32_t movieScale = 0;
  TimeRuns times;
  OffsetRuns offsets;
  Edits edits;
};

// The same of its boxes; nothing if a box is no such table or header.
std::optional<TrackSource> SourceOf(const RawBox& trak, std::uint32_t movieScale);

struct TrackTimes {
  unsigned int id = 0;
  unsigned int entryType = 0;
  MediaKind kind = MediaKind::kOther;
  std::uint32_t scale = 0;
  std::uint32_t movieScale = 0;
  std::uint64_t samples = 0;
  // How long all samples last. This and what follows is in ticks of the media, counted from the
  // moment at which the first sample is decoded.
  std::int64_t ticks = 0;
  // The earliest sample, by its composition offset.
  std::int64_t firstShown = 0;
  // The latest one.
  std::int64_t lastShown = 0;
  // Where that which ends last ends.
  std::int64_t endShown = 0;
  // How long most samples last.
  std::uint32_t frame = 0;
  // How long the last one to be decoded lasts.
  std::uint32_t last = 0;
  ShownStretch shown;
  // Of a plain stretch.
  HiddenSamples hidden;

  // When the media's zero is shown in the clip alone.
  Moment Zero() const;
  // Where the edit list ends, in ticks of the media, never behind the end of the last sample.
  std::int64_t ShownTo() const;
};

// Nothing: a scale of 0, or times beyond 62 bits.
std::optional<TrackTimes> TimesOf(const TrackSource& source);

// Of each part of so many samples, one behind the other: when the first of them to be shown is
// shown, in ticks of the media. Of a part without any, when the sample behind it is decoded.
std::vector<Moment> FirstShown(const TrackSource& source, const std::vector<std::uint64_t>& parts);

}  // namespace clipchain
