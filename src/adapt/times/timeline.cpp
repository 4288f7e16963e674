#include "adapt/times/timeline.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <unordered_map>

#include "adapt/boxes/track_headers.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

constexpr std::int64_t kMostTicks = std::int64_t{1} << 62;
constexpr std::uint32_t kNormalRate = 0x10000;
constexpr std::int64_t kEmpty = -1;

// What may be hidden of the last picture that is shown, if it is longer than others.
constexpr Moment kShortTail = Moment{kUnitsASecond} * 100 / 1000;

// Rounds down, also below 0.
Moment Quotient(Moment value, Moment divisor) {
  const Moment quotient = value / divisor;
  return value % divisor < 0 ? quotient - 1 : quotient;
}

Moment RoundedUp(Moment value, Moment divisor) { return -Quotient(-value, divisor); }

// A run of samples of one duration and one composition offset.
struct Stretch {
  std::uint64_t samples;
  std::int64_t delta;
  // When its first sample is shown.
  std::int64_t first;

  std::int64_t Last() const { return first + static_cast<std::int64_t>(samples - 1) * delta; }
};

// How many samples of the stretch begin at `limit` or later.
std::uint64_t CountFrom(const Stretch& stretch, Moment limit) {
  if (stretch.first >= limit) return stretch.samples;
  if (stretch.delta == 0) return 0;
  const Moment earlier = RoundedUp(limit - stretch.first, stretch.delta);
  return earlier >= static_cast<Moment>(stretch.samples)
             ? 0
             : stretch.samples - static_cast<std::uint64_t>(earlier);
}

// Many programs write offsets below 0 into a table of version 0, which has none; nobody means to
// show a sample half of all there is later.
std::int64_t Signed(std::int64_t offset) {
  constexpr std::int64_t kMost = 0x7FFFFFFF;
  return offset > kMost ? offset - (std::int64_t{1} << 32) : offset;
}

// Gives each stretch to `see`; false where the times leave their bounds.
template <typename See>
bool Walk(const TrackSource& source, See see) {
  std::size_t run = 0;
  // Samples of that run of offsets.
  std::uint64_t used = 0;
  Moment decoded = 0;
  for (const TimeRun& times : source.times) {
    std::uint64_t left = times.count;
    while (left != 0) {
      while (run < source.offsets.size() && used == source.offsets[run].count) {
        ++run;
        used = 0;
      }
      const bool hasOffset = run < source.offsets.size();
      const std::uint64_t samples =
          hasOffset ? std::min<std::uint64_t>(left, source.offsets[run].count - used) : left;
      const Moment first = decoded + (hasOffset ? Signed(source.offsets[run].offset) : 0);
      decoded += static_cast<Moment>(samples) * times.delta;
      if (decoded > kMostTicks || first < -kMostTicks || first > kMostTicks) return false;
      see(Stretch{samples, times.delta, static_cast<std::int64_t>(first)});
      left -= samples;
      used += samples;
    }
  }
  return true;
}

std::uint32_t CommonDelta(const TimeRuns& runs) {
  std::unordered_map<std::uint32_t, std::uint64_t> counts;
  std::uint32_t common = 0;
  std::uint64_t most = 0;
  for (const TimeRun& run : runs) {
    const std::uint64_t count = counts[run.delta] += run.count;
    if (count <= most) continue;
    most = count;
    common = run.delta;
  }
  return common;
}

// False where the times make no sense.
bool TakeTimes(const TrackSource& source, TrackTimes& times) {
  const auto see = [&times](const Stretch& stretch) {
    const bool isFirst = times.samples == 0;
    times.firstShown = isFirst ? stretch.first : std::min(times.firstShown, stretch.first);
    times.lastShown = isFirst ? stretch.Last() : std::max(times.lastShown, stretch.Last());
    const std::int64_t end = stretch.Last() + stretch.delta;
    times.endShown = isFirst ? end : std::max(times.endShown, end);
    times.last = static_cast<std::uint32_t>(stretch.delta);
    times.samples += stretch.samples;
    times.ticks += static_cast<std::int64_t>(stretch.samples) * stretch.delta;
  };
  return Walk(source, see);
}

// A moment in the movie's ticks is rounded, so what lies within one of them of the end counts as
// shown to the end.
struct Bounds {
  std::int64_t start;
  // In units.
  Moment end;
  Moment tolerance;
};

Bounds BoundsOf(const TrackTimes& times) {
  const Moment length = MomentOf(times.shown.length, times.movieScale);
  return {times.shown.start, MomentOf(times.shown.start, times.scale) + length,
          MomentOf(1, times.movieScale)};
}

void CountHidden(const TrackSource& source, TrackTimes& times) {
  if (times.shown.kind != ShownStretch::Kind::kPlain || times.samples == 0) return;
  const Bounds bounds = BoundsOf(times);
  const bool isOpen = times.shown.length == 0;
  // The first tick that counts as behind the end, and the last that counts as shown.
  const Moment from = TicksToHold(bounds.end - bounds.tolerance, times.scale);
  const Moment to = TicksOf(bounds.end + bounds.tolerance, times.scale);
  // Most lists hide nothing.
  if (times.firstShown >= bounds.start && (isOpen || times.endShown <= to)) return;
  const auto see = [&](const Stretch& stretch) {
    const Moment shownFrom =
        stretch.delta != 0 ? Moment{bounds.start} - stretch.delta + 1 : Moment{bounds.start};
    times.hidden.before += stretch.samples - CountFrom(stretch, shownFrom);
    if (!isOpen) times.hidden.behind += CountFrom(stretch, std::max(from, to + 1 - stretch.delta));
  };
  static_cast<void>(Walk(source, see));
  times.hidden.beforeTicks = std::max<std::int64_t>(0, bounds.start - times.firstShown);
  const Moment tail = MomentOf(times.endShown, times.scale) - bounds.end - bounds.tolerance;
  const bool isHeld = times.kind == MediaKind::kPicture && !isOpen &&
                      tail > std::max(MomentOf(times.frame, times.scale), kShortTail);
  if (times.hidden.behind != 0 || isHeld)
    times.hidden.behindTicks = times.endShown - times.ShownTo();
}

}  // namespace

Moment MomentOf(Moment ticks, std::uint32_t scale) {
  return Quotient(ticks * kUnitsASecond, scale);
}

// Whole seconds and the rest by themselves, so that no product leaves 128 bits.
Moment TicksOf(Moment moment, std::uint32_t scale) {
  const Moment seconds = Quotient(moment, kUnitsASecond);
  return seconds * scale + Quotient((moment - seconds * kUnitsASecond) * scale, kUnitsASecond);
}

Moment TicksToHold(Moment moment, std::uint32_t scale) { return -TicksOf(-moment, scale); }

double Milliseconds(Moment moment) {
  return static_cast<double>(static_cast<long double>(moment) * 1000 / kUnitsASecond);
}

ShownStretch StretchOf(const Edits& edits, std::uint32_t mediaScale, std::uint32_t movieScale) {
  ShownStretch shown;
  if (edits.empty()) return shown;
  shown.kind = ShownStretch::Kind::kNothing;
  Moment delay = 0;
  std::size_t i = 0;
  for (; i < edits.size() && edits[i].mediaTime == kEmpty; ++i) delay += edits[i].duration;
  if (i == edits.size() || edits[i].mediaTime < 0 || edits[i].mediaTime > kMostTicks) return shown;
  shown.start = edits[i].mediaTime;
  if (edits[i].rate != kNormalRate) {
    shown.kind = edits[i].rate == 0 ? ShownStretch::Kind::kDwell : ShownStretch::Kind::kOtherRate;
    return shown;
  }
  shown.kind = ShownStretch::Kind::kParts;
  Moment length = edits[i].duration;
  const Moment tolerance = MomentOf(1, movieScale) + MomentOf(1, mediaScale);
  for (++i; i < edits.size(); ++i) {
    if (edits[i].mediaTime == kEmpty) break;
    const Moment gap = MomentOf(edits[i].mediaTime, mediaScale) -
                       MomentOf(shown.start, mediaScale) - MomentOf(length, movieScale);
    const bool follows = length != 0 && edits[i].rate == kNormalRate && edits[i].duration != 0 &&
                         gap <= tolerance && -gap <= tolerance;
    if (!follows) return shown;
    length += edits[i].duration;
  }
  for (; i < edits.size(); ++i) {
    if (edits[i].mediaTime != kEmpty) return shown;
  }
  if (length > kMostTicks || delay > kMostTicks) return shown;
  shown.kind = ShownStretch::Kind::kPlain;
  shown.delay = static_cast<std::uint64_t>(delay);
  shown.length = static_cast<std::uint64_t>(length);
  return shown;
}

std::optional<TrackSource> SourceOf(const RawBox& trak, std::uint32_t movieScale) {
  TrackSource source;
  source.movieScale = movieScale;
  source.entryType = TrackSampleEntryType(trak);
  if (const RawBox* header = trak.Child(FourCc("tkhd"))) {
    const auto fields = ReadTrackHeader(*header);
    if (fields) source.id = fields->id;
  }
  const unsigned int handler = TrackKind(trak);
  if (handler == FourCc("vide")) source.kind = MediaKind::kPicture;
  if (handler == FourCc("soun")) source.kind = MediaKind::kSound;
  const RawBox* media = trak.At({FourCc("mdia"), FourCc("mdhd")});
  const auto mediaHeader = media != nullptr ? ReadTimeHeader(*media) : std::nullopt;
  const RawBox* table = SampleTable(trak);
  if (!mediaHeader || table == nullptr) return std::nullopt;
  source.scale = mediaHeader->scale;
  if (const RawBox* box = table->Child(FourCc("stts"))) {
    auto times = ReadTimes(*box);
    if (!times) return std::nullopt;
    source.times = std::move(*times);
  }
  if (const RawBox* box = table->Child(FourCc("ctts"))) {
    auto offsets = ReadOffsets(*box);
    if (!offsets) return std::nullopt;
    source.offsets = std::move(*offsets);
  }
  if (const RawBox* box = trak.At({FourCc("edts"), FourCc("elst")})) {
    auto edits = ReadEdits(*box);
    if (!edits) return std::nullopt;
    source.edits = std::move(*edits);
  }
  return source;
}

Moment TrackTimes::Zero() const {
  return MomentOf(shown.delay, movieScale) - MomentOf(shown.start, scale);
}

std::int64_t TrackTimes::ShownTo() const {
  if (shown.kind != ShownStretch::Kind::kPlain || shown.length == 0) return endShown;
  const Bounds bounds = BoundsOf(*this);
  if (bounds.end + bounds.tolerance >= MomentOf(endShown, scale)) return endShown;
  return static_cast<std::int64_t>(TicksOf(bounds.end, scale));
}

std::optional<TrackTimes> TimesOf(const TrackSource& source) {
  if (source.scale == 0 || source.movieScale == 0) return std::nullopt;
  TrackTimes times;
  times.id = source.id;
  times.entryType = source.entryType;
  times.kind = source.kind;
  times.scale = source.scale;
  times.movieScale = source.movieScale;
  if (!TakeTimes(source, times)) return std::nullopt;
  times.frame = CommonDelta(source.times);
  times.shown = StretchOf(source.edits, source.scale, source.movieScale);
  CountHidden(source, times);
  return times;
}

std::vector<Moment> FirstShown(const TrackSource& source, const std::vector<std::uint64_t>& parts) {
  std::vector<Moment> firsts;
  std::uint64_t taken = 0;
  std::optional<Moment> first;
  Moment decoded = 0;
  const auto end = [&] {
    firsts.push_back(first.value_or(decoded));
    first.reset();
    taken = 0;
  };
  const auto see = [&](Stretch stretch) {
    while (stretch.samples != 0) {
      while (firsts.size() < parts.size() && taken == parts[firsts.size()]) end();
      if (firsts.size() == parts.size()) return;
      const std::uint64_t count = std::min(stretch.samples, parts[firsts.size()] - taken);
      // All of a stretch last alike and are moved alike, so that its first one is shown first.
      first = std::min<Moment>(first.value_or(stretch.first), stretch.first);
      const std::int64_t ticks = static_cast<std::int64_t>(count) * stretch.delta;
      decoded += ticks;
      stretch.first += ticks;
      stretch.samples -= count;
      taken += count;
    }
  };
  static_cast<void>(Walk(source, see));
  while (firsts.size() < parts.size()) end();
  return firsts;
}

}  // namespace clipchain
