#include "adapt/times/seams.h"

#include <algorithm>
#include <utility>

#include "adapt/boxes/track_headers.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

// 1,024 samples of sound at 48 kHz, and what no frame of sound falls short of.
constexpr Moment kUsualFrame = Moment{kUnitsASecond} * 1024 / 48000;
constexpr Moment kShortestFrame = Moment{kUnitsASecond} * 5 / 1000;
// Many programs read the duration of a sample as a signed number.
constexpr std::uint32_t kLongestSample = 0x7FFFFFFF;
// Tracks whose ticks are coarse can't meet the others exactly, and these follow them in turn.
constexpr int kMostPasses = 4;

// Where a track of the result has come to, in ticks of the first clip's track.
struct Place {
  // Where the next sample is decoded.
  Moment media = 0;
  // Where the first sample of the clip before was.
  Moment before = 0;
  // The last one that has samples of the track.
  std::size_t clip = 0;
  // Whether there is such a clip.
  bool hasBegun = false;
};

class Walker {
 public:
  explicit Walker(const std::vector<ClipTimes>& clips)
      : clips_(clips), places_(clips.front().size()) {}

  std::size_t Tracks() const { return places_.size(); }
  const Place& At(std::size_t track) const { return places_[track]; }

  void Pass(std::size_t clip, const std::vector<std::uint32_t>& holds) {
    for (std::size_t track = 0; track < Tracks(); ++track) {
      const TrackTimes& times = clips_[clip][track];
      if (times.samples == 0) continue;
      Place& place = places_[track];
      place.before = place.media;
      place.media += Converted(times, times.ticks, track) + holds[track];
      place.clip = clip;
      place.hasBegun = true;
    }
  }

  void Hold(std::size_t track, Moment ticks) { places_[track].media += ticks; }

  // Exact: the scales convert without a rest.
  Moment Converted(const TrackTimes& times, std::int64_t ticks, std::size_t track) const {
    const std::uint32_t scale = Scale(track);
    return times.scale == scale ? Moment{ticks} : Moment{ticks} * scale / times.scale;
  }

  // How much later a track of the clip, whose first sample is decoded at `media`, is shown.
  Moment Shift(std::size_t clip, std::size_t track, Moment media) const {
    return clips_.front()[track].Zero() + MomentOf(media, Scale(track)) -
           clips_[clip][track].Zero();
  }

  std::uint32_t Scale(std::size_t track) const { return clips_.front()[track].scale; }

 private:
  const std::vector<ClipTimes>& clips_;
  std::vector<Place> places_;
};

// How far behind the farthest of the tracks that others wait for any track is.
class Extent {
 public:
  void Add(Moment moment, bool leads) {
    least_ = std::min(least_.value_or(moment), moment);
    if (leads) {
      most_ = std::max(most_.value_or(moment), moment);
    } else {
      others_.push_back(moment);
    }
  }
  // Nothing where no track leads.
  std::optional<Moment> Most() const {
    auto most = most_;
    for (const Moment other : others_) {
      if (most_ && other - *most_ <= kMostPatience) most = std::max(*most, other);
    }
    return most;
  }
  Moment Length() const {
    const auto most = Most();
    return most ? std::max<Moment>(0, *most - *least_) : 0;
  }

 private:
  std::optional<Moment> least_;
  // Of those that lead.
  std::optional<Moment> most_;
  std::vector<Moment> others_;
};

bool IsSeenOrHeard(const TrackTimes& track) {
  return track.kind == MediaKind::kPicture || track.kind == MediaKind::kSound;
}

// Nobody is to wait for long before a picture that stands still because a track of data goes on:
// picture and sound lead where there are any.
std::vector<bool> LeadersOf(const ClipTimes& first) {
  const bool areAlone = std::none_of(first.begin(), first.end(), IsSeenOrHeard);
  std::vector<bool> leaders;
  for (const TrackTimes& track : first) leaders.push_back(areAlone || IsSeenOrHeard(track));
  return leaders;
}

class Planner {
 public:
  Planner(std::vector<ClipTimes> clips, bool waits)
      : clips_(std::move(clips)),
        waits_(waits),
        walker_(clips_),
        tolerance_(SeamTolerance(clips_.front())),
        leads_(LeadersOf(clips_.front())),
        holds_(NoHolds(clips_)) {}

  ClipClocks Run() {
    const std::vector<std::uint32_t> none(walker_.Tracks(), 0);
    for (std::size_t clip = 1; clip < clips_.size(); ++clip) {
      walker_.Pass(clip - 1, none);
      if (waits_) {
        KeepOrder(clip);
        KeepInStep(clip);
      }
      for (std::size_t track = 0; track < walker_.Tracks(); ++track) {
        if (!walker_.At(track).hasBegun && clips_[clip][track].samples != 0) BeginLate(clip, track);
      }
    }
    return {std::move(clips_), std::move(holds_)};
  }

 private:
  // Whether the track goes on in that clip.
  bool IsSeam(std::size_t clip, std::size_t track) const {
    return walker_.At(track).hasBegun && clips_[clip][track].samples != 0;
  }

  void Hold(std::size_t track, Moment ticks) {
    const std::size_t clip = walker_.At(track).clip;
    std::uint32_t& hold = holds_[clip][track];
    const Moment lasts = walker_.Converted(clips_[clip][track], clips_[clip][track].last, track);
    const Moment room = std::max<Moment>(0, Moment{kLongestSample} - lasts - hold);
    ticks = std::min(ticks, room);
    hold += static_cast<std::uint32_t>(ticks);
    walker_.Hold(track, ticks);
  }

  // Pictures that are shown later than they are decoded would be shown among those of a clip where
  // they are not.
  void KeepOrder(std::size_t clip) {
    for (std::size_t track = 0; track < walker_.Tracks(); ++track) {
      if (!IsSeam(clip, track)) continue;
      const Place& place = walker_.At(track);
      const TrackTimes& before = clips_[place.clip][track];
      const TrackTimes& next = clips_[clip][track];
      const Moment last = place.before + walker_.Converted(before, before.lastShown, track);
      const Moment first = place.media + walker_.Converted(next, next.firstShown, track);
      // A last picture that lasts no time is not shown in its own clip either.
      if (first > last || (first == last && before.last == 0)) continue;
      Hold(track, last + walker_.Converted(before, before.frame, track) - first);
    }
  }

  Extent At(std::size_t clip) const {
    Extent extent;
    for (std::size_t track = 0; track < walker_.Tracks(); ++track) {
      if (IsSeam(clip, track))
        extent.Add(walker_.Shift(clip, track, walker_.At(track).media), leads_[track]);
    }
    return extent;
  }

  // Behind the last clip, as if it went on.
  Extent Behind(std::size_t clip) const {
    const std::size_t next = std::min(clip + 1, clips_.size() - 1);
    Extent extent;
    for (std::size_t track = 0; track < walker_.Tracks(); ++track) {
      const TrackTimes& times = clips_[clip][track];
      if (!IsSeam(clip, track) || clips_[next][track].samples == 0) continue;
      extent.Add(
          walker_.Shift(next, track,
                        walker_.At(track).media + walker_.Converted(times, times.ticks, track)),
          leads_[track]);
    }
    return extent;
  }

  bool CatchesUp(std::size_t clip, const Extent& extent) const {
    return extent.Length() <= std::min(2 * tolerance_, kUsualFrame) &&
           Behind(clip).Length() <= tolerance_;
  }

  void KeepInStep(std::size_t clip) {
    for (int pass = 0; pass < kMostPasses; ++pass) {
      const Extent extent = At(clip);
      if (extent.Length() <= tolerance_ || (pass == 0 && CatchesUp(clip, extent))) return;
      for (std::size_t track = 0; track < walker_.Tracks(); ++track) {
        if (!IsSeam(clip, track)) continue;
        const Moment behind = *extent.Most() - walker_.Shift(clip, track, walker_.At(track).media);
        if (behind > tolerance_) Hold(track, TicksFor(behind, walker_.Scale(track)));
      }
    }
  }

  // No more than is needed, unless the ticks are so coarse that too much would be missing.
  Moment TicksFor(Moment behind, std::uint32_t scale) const {
    const Moment ticks = TicksOf(behind, scale);
    return behind - MomentOf(ticks, scale) > tolerance_ ? ticks + 1 : ticks;
  }

  // What the result needs so that the track is as much later there as those that have begun.
  void BeginLate(std::size_t clip, std::size_t track) {
    TrackTimes& first = clips_.front()[track];
    const TrackTimes& times = clips_[clip][track];
    const Moment shift = At(clip).Most().value_or(0);
    first.shown = {};
    first.shown.start = static_cast<std::int64_t>(TicksOf(
        MomentOf(times.shown.start, times.scale) + MomentOf(1, first.scale) / 2, first.scale));
    const Moment delay = times.Zero() + shift + MomentOf(first.shown.start, first.scale);
    if (delay > 0)
      first.shown.delay = static_cast<std::uint64_t>(
          TicksOf(delay + MomentOf(1, first.movieScale) / 2, first.movieScale));
    if (first.shown.delay != 0 || first.shown.start != 0)
      first.shown.kind = ShownStretch::Kind::kPlain;
  }

  std::vector<ClipTimes> clips_;
  bool waits_;
  Walker walker_;
  Moment tolerance_;
  // By track.
  std::vector<bool> leads_;
  SampleHolds holds_;
};

}  // namespace

Moment SeamTolerance(const ClipTimes& first) {
  for (const TrackTimes& track : first) {
    if (track.kind != MediaKind::kSound) continue;
    const Moment frame = MomentOf(track.frame, track.scale);
    if (frame >= kShortestFrame) return std::min(frame / 2, kUsualFrame);
  }
  return kUsualFrame / 2;
}

ClipClocks PlannedClocks(std::vector<ClipTimes> clips, bool waits) {
  return clips.empty() ? ClipClocks() : Planner(std::move(clips), waits).Run();
}

SampleHolds NoHolds(const std::vector<ClipTimes>& clips) {
  SampleHolds holds;
  for (const ClipTimes& clip : clips) holds.emplace_back(clip.size(), 0);
  return holds;
}

Shifts ShiftsOf(const ClipClocks& clocks) {
  const std::vector<ClipTimes>& clips = clocks.clips;
  Shifts shifts;
  if (clips.empty()) return shifts;
  Walker walker(clips);
  for (std::size_t clip = 0; clip < clips.size(); ++clip) {
    shifts.emplace_back(walker.Tracks());
    for (std::size_t track = 0; track < walker.Tracks(); ++track) {
      if (clips[clip][track].samples != 0)
        shifts.back()[track] = walker.Shift(clip, track, walker.At(track).media);
    }
    walker.Pass(clip, clocks.holds[clip]);
  }
  return shifts;
}

std::vector<std::optional<Moment>> EndsOf(const ClipClocks& clocks) {
  const std::vector<ClipTimes>& clips = clocks.clips;
  std::vector<std::optional<Moment>> ends;
  if (clips.empty()) return ends;
  Walker walker(clips);
  for (std::size_t clip = 0; clip < clips.size(); ++clip) walker.Pass(clip, clocks.holds[clip]);
  for (std::size_t track = 0; track < walker.Tracks(); ++track) {
    const Place& place = walker.At(track);
    ends.emplace_back();
    if (!place.hasBegun) continue;
    const TrackTimes& last = clips[place.clip][track];
    const Moment end = place.before + walker.Converted(last, last.ShownTo(), track);
    ends.back() = clips.front()[track].Zero() + MomentOf(end, walker.Scale(track));
  }
  return ends;
}

bool HoldLastSample(RawBox& trak, std::uint32_t ticks) {
  RawBox* table = SampleTable(trak);
  RawBox* box = table != nullptr ? table->Child(FourCc("stts")) : nullptr;
  auto times = box != nullptr ? ReadTimes(*box) : std::nullopt;
  RawBox* header = trak.At({FourCc("mdia"), FourCc("mdhd")});
  auto fields = header != nullptr ? ReadTimeHeader(*header) : std::nullopt;
  if (!times || !fields) return false;
  while (!times->empty() && times->back().count == 0) times->pop_back();
  if (times->empty()) return false;
  const std::uint32_t delta = times->back().delta;
  if (delta > kLongestSample || ticks > kLongestSample - delta) return false;
  if (--times->back().count == 0) times->pop_back();
  AppendTime(*times, 1, delta + ticks);
  if (fields->duration != kUnknownDuration) fields->duration += ticks;
  *box = TimesBox(*times);
  return WriteTimeHeader(*header, *fields);
}

}  // namespace clipchain
