#include "adapt/times/edit_lists.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "foundation/fourcc.h"

namespace clipchain {

namespace {

using Kind = ShownStretch::Kind;

// What decoders of sound need before the first sample that they give, and what encoders fill the
// last frames up with, by the codec: 1,024 samples, 2,112, three frames, 80 ms.
constexpr Moment kLeastFilling = Moment{kUnitsASecond} * 80 / 1000;
constexpr Moment kMostFilling = Moment{kUnitsASecond} * 100 / 1000;
constexpr int kFillingFrames = 3;
// Sound that is not in frames begins at once. What falls short of this is rounding.
constexpr Moment kLeastFrame = Moment{kUnitsASecond} * 5 / 1000;
constexpr Moment kRounding = Moment{kUnitsASecond} * 512 / 48000;

// How much sound may be hidden at either end without being cut.
Moment Filling(const TrackTimes& track) {
  const Moment frame = MomentOf(track.frame, track.scale);
  return frame >= kLeastFrame ? std::clamp(kFillingFrames * frame, kLeastFilling, kMostFilling)
                              : kRounding;
}

struct Side {
  // As a whole.
  std::uint64_t samples;
  // 0: nothing is cut here.
  std::int64_t ticks;
};

Side Cut(const TrackTimes& track, const Side& side) {
  const bool isCut = track.kind == MediaKind::kSound
                         ? MomentOf(side.ticks, track.scale) > Filling(track)
                         : side.samples != 0;
  return isCut ? side : Side{0, 0};
}

Side Before(const TrackTimes& track) {
  return Cut(track, {track.hidden.before, track.hidden.beforeTicks});
}

// Of a picture that is held for long, its end.
Side Behind(const TrackTimes& track) {
  const Side side{track.hidden.behind, track.hidden.behindTicks};
  return track.kind == MediaKind::kPicture && side.ticks != 0 ? side : Cut(track, side);
}

std::string Seconds(std::int64_t ticks, std::uint32_t scale) {
  std::array<char, 40> text{};
  std::snprintf(text.data(), text.size(), "%.3f s", Milliseconds(MomentOf(ticks, scale)) / 1000);
  return text.data();
}

std::string SideWords(const Side& side, std::uint32_t scale, const char* where) {
  const std::string samples = side.samples == 0 ? "a part of a sample"
                                                : std::to_string(side.samples) +
                                                      (side.samples == 1 ? " sample" : " samples");
  return samples + " (" + Seconds(side.ticks, scale) + ") " + where;
}

std::string PlainCutWords(const TrackTimes& track) {
  const Side before = Before(track);
  const Side behind = Behind(track);
  std::string text = "hides ";
  if (before.ticks != 0) text += SideWords(before, track.scale, "at the start");
  if (before.ticks != 0 && behind.ticks != 0) text += " and ";
  if (behind.ticks != 0) text += SideWords(behind, track.scale, "at the end");
  return text + " of its " + TrackWords(track) +
         " by an edit list, and a merge would show it again";
}

}  // namespace

bool IsCut(const TrackTimes& track) {
  if (track.samples == 0) return false;
  if (!track.shown.IsPlain()) return true;
  return Before(track).ticks != 0 || Behind(track).ticks != 0;
}

std::string CutWords(const TrackTimes& track) {
  const std::string words = TrackWords(track);
  const std::string again = ", and a merge would show all of it once, from its start to its end";
  switch (track.shown.kind) {
    case Kind::kNothing:
      return "shows nothing of its " + words + " by its edit list" + again;
    case Kind::kParts:
      return "shows its " + words + " in several parts by its edit list" + again;
    case Kind::kDwell:
      return "stands still in its " + words + " by its edit list" + again;
    case Kind::kOtherRate:
      return "plays its " + words + " at another speed by its edit list" + again;
    case Kind::kNoList:
    case Kind::kPlain:
      break;
  }
  return PlainCutWords(track);
}

std::string TrackWords(const TrackTimes& track) {
  const std::string text = "track " + std::to_string(track.id);
  return track.entryType != 0 ? text + " (" + FourCcText(track.entryType) + ')' : text;
}

// Rounded up, so that nothing of the last sample is cut off.
Edits MergedEdits(const TrackTimes& first, std::int64_t end) {
  Edits edits;
  if (first.shown.kind == Kind::kNoList) return edits;
  if (first.shown.delay != 0) edits.push_back({first.shown.delay, -1});
  const Moment shown = std::max<std::int64_t>(0, end - first.shown.start);
  const Moment length = TicksToHold(MomentOf(shown, first.scale), first.movieScale);
  edits.push_back({static_cast<std::uint64_t>(length), first.shown.start});
  return edits;
}

}  // namespace clipchain
