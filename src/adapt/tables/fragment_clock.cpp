#include "adapt/tables/fragment_clock.h"

#include <algorithm>
#include <numeric>
#include <optional>
#include <utility>

#include "adapt/boxes/track_headers.h"
#include "adapt/boxes/track_tables.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

// Ticks of a clock that all tracks and the movie can be read off, and products of them.
using Ticks = __int128;

constexpr std::uint64_t kMost32Bits = 0xFFFFFFFF;
constexpr std::uint64_t kFastestClock = 1ULL << 62;
// In the movie's time scale.
constexpr std::uint64_t kLongestList = 1ULL << 56;

// A track beside its box.
struct ClockTrack {
  const FragmentedTrack* track = nullptr;
  RawBox* box = nullptr;
  std::uint32_t scale = 0;
  Edits edits;
  // The parts of a list that waits and then shows the media from one time on, in the movie's and
  // the track's time scale.
  bool isSimple = false;
  std::uint64_t wait = 0;
  std::int64_t mediaTime = 0;
  // When samples are first and last shown, by the track's own clock.
  std::int64_t first = 0;
  std::int64_t last = 0;

  bool HasSamples() const { return track->tables.Count() != 0; }
  // One that begins at 0 lets no track wait less, and stays as it is.
  bool IsMoved() const { return HasSamples() && track->origin != 0; }
};

bool ShowsMedia(const Edit& edit) { return edit.mediaTime >= 0; }

// One more than the longest list where it is longer than that.
std::uint64_t RoundedUp(Ticks value, std::uint32_t to, std::uint32_t from) {
  if (value <= 0) return 0;
  const Ticks scaled = (value * to + from - 1) / from;
  return static_cast<std::uint64_t>(std::min(scaled, Ticks{kLongestList} + 1));
}

// Whether the times of a list can be reckoned with.
bool AreSane(const Edits& edits) {
  std::uint64_t sum = 0;
  for (const Edit& edit : edits) {
    if (edit.duration > kLongestList || edit.mediaTime < -1 ||
        edit.mediaTime > static_cast<std::int64_t>(kFastestClock)) {
      return false;
    }
    sum += edit.duration;
    if (sum > kLongestList) return false;
  }
  return true;
}

void TakeParts(ClockTrack& track) {
  constexpr std::uint32_t kNormalRate = 0x10000;
  track.isSimple = true;
  for (std::size_t i = 0; i < track.edits.size(); ++i) {
    const Edit& edit = track.edits[i];
    const bool isLast = i + 1 == track.edits.size();
    if (ShowsMedia(edit) != isLast || (isLast && edit.rate != kNormalRate)) track.isSimple = false;
    if (!isLast) track.wait += edit.duration;
  }
  if (!track.edits.empty()) track.mediaTime = track.edits.back().mediaTime;
}

// A list that says the same keeps its bytes. A new one stands before the media (8.6.5).
void WriteEdits(RawBox& box, const Edits& edits) {
  RawBox* list = box.At({FourCc("edts"), FourCc("elst")});
  if (edits.empty()) {
    box.Remove(FourCc("edts"));
  } else if (list == nullptr) {
    RawBox container(FourCc("edts"), {});
    container.children.push_back(EditsBox(edits));
    box.Remove(FourCc("edts"));
    const auto media =
        std::find_if(box.children.begin(), box.children.end(),
                     [](const RawBox& child) { return child.type == FourCc("mdia"); });
    box.children.insert(media, std::move(container));
  } else if (ReadEdits(*list) != edits) {
    *list = EditsBox(edits);
  }
}

class MovieClock {
 public:
  MovieClock(RawBox& movie, const std::vector<FragmentedTrack>& tracks)
      : movie_(movie), fragmented_(tracks) {}

  [[nodiscard]] Reason Set();

 private:
  [[nodiscard]] Reason Take();
  bool Move();
  bool FindClock();
  Ticks CommonWait() const;
  bool MoveTrack(ClockTrack& track, Ticks common);
  bool ChangeScale(std::uint64_t scale);
  void EndWithSamples(ClockTrack& track) const;
  bool Write();
  Ticks OfMovie(std::uint64_t time) const { return Ticks{time} * (clock_ / scale_); }
  Ticks OfTrack(const ClockTrack& track, std::int64_t time) const {
    return Ticks{time} * (clock_ / track.scale);
  }

  RawBox& movie_;
  const std::vector<FragmentedTrack>& fragmented_;
  std::vector<ClockTrack> tracks_;
  std::uint32_t scale_ = 0;
  // Ticks a second.
  std::uint64_t clock_ = 0;
};

Reason MovieClock::Take() {
  const RawBox* headerBox = movie_.Child(FourCc("mvhd"));
  const auto header = headerBox != nullptr ? ReadTimeHeader(*headerBox) : std::nullopt;
  if (!header || header->scale == 0) return "has a movie header that can't be read";
  scale_ = header->scale;
  std::size_t index = 0;
  for (RawBox& child : movie_.children) {
    if (child.type != FourCc("trak")) continue;
    ClockTrack track;
    track.track = &fragmented_[index++];
    track.box = &child;
    track.scale = ReadTimeHeader(*child.At({FourCc("mdia"), FourCc("mdhd")}))->scale;
    if (const RawBox* list = child.At({FourCc("edts"), FourCc("elst")})) {
      auto edits = ReadEdits(*list);
      if (!edits || !AreSane(*edits)) return "has an edit list that can't be read";
      track.edits = std::move(*edits);
    }
    TakeParts(track);
    track.first = track.track->tables.FirstShown();
    track.last = track.track->tables.LastShown();
    tracks_.push_back(std::move(track));
  }
  return std::nullopt;
}

bool MovieClock::FindClock() {
  clock_ = scale_;
  for (const ClockTrack& track : tracks_) {
    if (!track.HasSamples()) continue;
    const std::uint64_t step = track.scale / std::gcd(clock_, std::uint64_t{track.scale});
    if (__builtin_mul_overflow(clock_, step, &clock_) || clock_ > kFastestClock) return false;
  }
  return true;
}

// For how long no track shows anything, because none has samples for that time.
Ticks MovieClock::CommonWait() const {
  std::optional<Ticks> least;
  const auto lower = [&](Ticks time) { least = std::min(least.value_or(time), time); };
  for (const ClockTrack& track : tracks_) {
    if (!track.HasSamples()) continue;
    const auto origin = static_cast<std::int64_t>(track.track->origin);
    lower(OfTrack(track, origin));
    lower(OfMovie(track.wait) + OfTrack(track, origin) +
          OfTrack(track, track.first - track.mediaTime));
  }
  return std::max(least.value_or(0), Ticks{0});
}

// What is decoded first stands at time 0 of the tables, and was at `origin`. What was hidden before
// the list's media time stays hidden. A list begins with what is shown first: before that the media
// shows nothing, and programs differ in how they take it.
bool MovieClock::MoveTrack(ClockTrack& track, Ticks common) {
  const auto origin = static_cast<std::int64_t>(track.track->origin);
  // When time 0 of the tables is shown.
  const Ticks zero = OfMovie(track.wait) + OfTrack(track, origin - track.mediaTime) - common;
  const std::int64_t hidden = std::max<std::int64_t>(0, track.mediaTime - origin);
  track.edits.clear();
  // No list can show what is before time 0.
  if (track.first < 0) return false;
  if (zero == 0 && hidden == 0) return true;
  const std::int64_t from = std::max(hidden, track.first);
  const Ticks wait = zero + OfTrack(track, from);
  if (wait % OfMovie(1) != 0) {
    const auto wanted = static_cast<std::uint64_t>(
        clock_ / std::gcd(clock_, static_cast<std::uint64_t>(wait % clock_)));
    if (!ChangeScale(std::lcm(std::uint64_t{scale_}, wanted))) return false;
  }
  if (wait != 0) {
    track.edits.push_back({static_cast<std::uint64_t>(wait / OfMovie(1)), -1, 0x10000});
  }
  track.edits.push_back({0, from, 0x10000});
  return true;
}

// Finer by a whole factor, so that every time stays exact.
bool MovieClock::ChangeScale(std::uint64_t scale) {
  if (scale > kMost32Bits) return false;
  const std::uint64_t factor = scale / scale_;
  for (ClockTrack& track : tracks_) {
    if (track.wait > kLongestList / factor) return false;
    track.wait *= factor;
    for (Edit& edit : track.edits) {
      if (edit.duration > kLongestList / factor) return false;
      edit.duration *= factor;
    }
  }
  scale_ = static_cast<std::uint32_t>(scale);
  return true;
}

bool MovieClock::Move() {
  if (!FindClock()) return false;
  for (const ClockTrack& track : tracks_) {
    if (!track.IsMoved()) continue;
    // The last part of a list that shows all of the media ends with it.
    const Ticks end =
        OfTrack(track, track.last) + OfTrack(track, static_cast<std::int64_t>(track.track->origin));
    const bool showsAll =
        track.edits.empty() || track.edits.back().duration == 0 ||
        OfTrack(track, track.mediaTime) + OfMovie(track.edits.back().duration) >= end;
    if (!track.isSimple || !showsAll) return false;
  }
  const Ticks common = CommonWait();
  return std::all_of(tracks_.begin(), tracks_.end(), [&](ClockTrack& track) {
    return !track.IsMoved() || MoveTrack(track, common);
  });
}

// An edit that ends with the fragments gets the duration of what is shown.
void MovieClock::EndWithSamples(ClockTrack& track) const {
  if (track.edits.empty()) return;
  Edit& last = track.edits.back();
  if (!ShowsMedia(last) || last.duration != 0) return;
  last.duration = RoundedUp(Ticks{track.last} - last.mediaTime, scale_, track.scale);
}

bool MovieClock::Write() {
  std::uint64_t longest = 0;
  for (ClockTrack& track : tracks_) {
    EndWithSamples(track);
    const std::uint64_t end = track.track->tables.End();
    // To where the last picture is shown, which may be later than all are decoded.
    std::uint64_t duration = RoundedUp(Ticks{track.last}, scale_, track.scale);
    if (!track.edits.empty()) {
      duration = 0;
      for (const Edit& edit : track.edits) duration += edit.duration;
    }
    if (duration > kLongestList) return false;
    longest = std::max(longest, duration);
    WriteEdits(*track.box, track.edits);
    if (!WriteTrackHeader(*track.box->Child(FourCc("tkhd")), {track.track->id, duration}) ||
        !WriteTimeHeader(*track.box->At({FourCc("mdia"), FourCc("mdhd")}), {track.scale, end})) {
      return false;
    }
  }
  return WriteTimeHeader(*movie_.Child(FourCc("mvhd")), {scale_, longest});
}

Reason MovieClock::Set() {
  if (Reason why = Take()) return why;
  const bool isMoved = std::any_of(tracks_.begin(), tracks_.end(),
                                   [](const ClockTrack& track) { return track.IsMoved(); });
  if (isMoved && !Move())
    return "has fragments that begin at other times than its edit lists can say";
  if (!Write()) return "has samples that last longer than its clock counts";
  return std::nullopt;
}

}  // namespace

Reason SetFragmentClock(RawBox& movie, const std::vector<FragmentedTrack>& tracks) {
  return MovieClock(movie, tracks).Set();
}

}  // namespace clipchain
