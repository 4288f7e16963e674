#include "adapt/times/clip_times.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>
#include <utility>
#include <vector>

#include "adapt/boxes/table_builder.h"
#include "adapt/boxes/track_headers.h"
#include "adapt/boxes/tracks.h"
#include "adapt/clips/at_once.h"
#include "adapt/times/edit_lists.h"
#include "adapt/times/seams.h"
#include "adapt/times/time_scales.h"
#include "adapt/times/timeline.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

constexpr const char* kOtherKind = "leave it out, or merge it with clips of its own kind";
constexpr const char* kRepair = "copy the clip again, or repair it with a tool for it";
constexpr const char* kCutAnew = "cut it with a program that encodes what it cuts, or leave it out";

// Seconds. No recorder ends one track that much before another.
constexpr int kLongHold = 10;

std::string MillisecondWords(Moment moment) {
  std::array<char, 40> text{};
  std::snprintf(text.data(), text.size(), "%.1f ms", Milliseconds(moment));
  return text.data();
}

std::optional<TimeHeader> HeaderOf(const RawBox* box) {
  return box != nullptr ? ReadTimeHeader(*box) : std::nullopt;
}

std::uint32_t MovieScaleOf(const RawBox& movie) {
  const auto header = HeaderOf(movie.Child(FourCc("mvhd")));
  return header ? header->scale : 0;
}

std::uint32_t MediaScaleOf(const RawBox& track) {
  const auto header = HeaderOf(track.At({FourCc("mdia"), FourCc("mdhd")}));
  return header ? header->scale : 0;
}

Edits EditsOf(const RawBox& track) {
  const RawBox* box = track.At({FourCc("edts"), FourCc("elst")});
  return box != nullptr ? ReadEdits(*box).value_or(Edits()) : Edits();
}

class ClipTimesAdaptation final : public Adaptation {
 public:
  ClipTimesAdaptation(const FitOptions& options, ClipClocks& clocks)
      : options_(options), times_(clocks.clips), holds_(clocks.holds), clocks_(clocks) {}

  void Adapt(FitClips& clips, FitReport& report) override {
    if (clips.size() < 2 || !TakeTimes(clips, report)) return;
    for (std::size_t i = 0; i < clips.size(); ++i) RefuseCuts(i, report);
    for (std::size_t i = 1; i < clips.size(); ++i) ConvertScales(i, clips, report);
    holds_ = NoHolds(times_);
    if (!scalesMeet_) return;
    Plan(clips, report);
    NoteEdits(clips, report);
    NoteEnds(clips, report);
  }

  void Complete(RawBox& movie) const override {
    if (times_.empty()) return;
    std::uint64_t longest = 0;
    std::size_t index = 0;
    for (RawBox* track : TracksOf(movie))
      longest = std::max(longest, CompleteTrack(*track, index++));
    RawBox* box = movie.Child(FourCc("mvhd"));
    auto header = HeaderOf(box);
    if (!header) return;
    header->duration = longest;
    static_cast<void>(WriteTimeHeader(*box, *header));
  }

 private:
  bool TakeTimes(const FitClips& clips, FitReport& report) {
    times_.resize(clips.size());
    ForEachAtOnce(clips.size(), [&](std::size_t i) { times_[i] = TimesIn(clips[i].movie); });
    for (std::size_t i = 0; i < clips.size(); ++i) {
      const std::vector<const RawBox*> tracks = TracksOf(clips[i].movie);
      if (times_[i].size() == tracks.size()) continue;
      const RawBox& track = *tracks[times_[i].size()];
      report.Refuse(FitProblemKind::kTablesDisagree, i, RawTrackId(track),
                    "has times in its " + RawTrackWords(track) + " that can't be read", kRepair);
      // Without the times of all, those of none are of use.
      times_.clear();
      return false;
    }
    return true;
  }

  // Of its tracks, up to the first one whose times can't be read.
  static ClipTimes TimesIn(const RawBox& movie) {
    ClipTimes times;
    for (const RawBox* track : TracksOf(movie)) {
      const auto source = SourceOf(*track, MovieScaleOf(movie));
      auto known = source ? TimesOf(*source) : std::nullopt;
      if (!known) break;
      times.push_back(*known);
    }
    return times;
  }

  void RefuseCuts(std::size_t clip, FitReport& report) const {
    for (const TrackTimes& track : times_[clip]) {
      if (IsCut(track))
        report.Refuse(FitProblemKind::kEditsCut, clip, track.id, CutWords(track), kCutAnew).box =
            "moov/trak/edts/elst";
    }
  }

  void ConvertScales(std::size_t clip, FitClips& clips, FitReport& report) {
    RawBox& movie = clips[clip].movie;
    const RawBox& first = clips.front().movie;
    const std::uint32_t from = MovieScaleOf(movie);
    const std::uint32_t to = MovieScaleOf(first);
    if (from != to && ConvertMovieScale(movie, to))
      report.Note(AdaptationKind::kTimeScales, clip, 0,
                  "counts " + std::to_string(from) + " units a second in its movie header, and " +
                      "the first clip " + std::to_string(to));
    const std::vector<RawBox*> tracks = TracksOf(movie);
    const std::vector<const RawBox*> firstTracks = TracksOf(first);
    for (std::size_t i = 0; i < tracks.size(); ++i)
      ConvertTrack(clip, *tracks[i], MediaScaleOf(*firstTracks[i]), report);
  }

  void ConvertTrack(std::size_t clip, RawBox& track, std::uint32_t to, FitReport& report) {
    const std::uint32_t from = MediaScaleOf(track);
    if (from == to) return;
    const unsigned int id = RawTrackId(track);
    const std::string text = "counts " + std::to_string(from) + " units a second in its " +
                             RawTrackWords(track) + ", and the first clip " + std::to_string(to);
    if (ConvertMediaScale(track, to)) {
      report.Note(AdaptationKind::kTimeScales, clip, id, text);
      return;
    }
    scalesMeet_ = false;
    report.Refuse(FitProblemKind::kMediaTimeScale, clip, id,
                  text + ", in which its durations are no whole numbers", kOtherKind);
  }

  void Plan(FitClips& clips, FitReport& report) {
    ClipClocks planned = PlannedClocks(times_, !options_.seamsAsTheyAre);
    times_ = std::move(planned.clips);
    holds_ = std::move(planned.holds);
    if (options_.seamsAsTheyAre) return;
    // Tracks that come back by themselves are left apart by up to a frame, twice the tolerance; the
    // units of the movie's clock come on top.
    constexpr double kMillisecond = 0.001;
    report.apart = (2 * Milliseconds(SeamTolerance(times_.front())) + 2) * kMillisecond;
    for (std::size_t i = 0; i < clips.size(); ++i) {
      const std::vector<RawBox*> tracks = TracksOf(clips[i].movie);
      for (std::size_t track = 0; track < tracks.size(); ++track) {
        const std::uint32_t ticks = holds_[i][track];
        if (ticks == 0 || !HoldLastSample(*tracks[track], ticks)) continue;
        const Moment longer = MomentOf(ticks, times_.front()[track].scale);
        report.holds.push_back({i, times_.front()[track].id, ticks});
        const std::string words = "shows the last sample of its " + TrackWords(times_[i][track]) +
                                  ' ' + MillisecondWords(longer) + " longer";
        report.Note(AdaptationKind::kSeams, i, times_[i][track].id, words);
        if (longer > MomentOf(kLongHold, 1))
          report.Refuse(FitProblemKind::kTrackDrift, i, times_[i][track].id,
                        words + ", since another of its tracks lasts that much longer",
                        "look whether the clip ends like that; if not, its tables are damaged");
      }
    }
  }

  // The engine appends tracks that both have a list or both have none, and adds up the delays of
  // lists that have one. No view has a list; what the result shows is written behind the engine.
  void NoteEdits(const FitClips& clips, FitReport& report) const {
    const std::vector<const RawBox*> first = TracksOf(clips.front().movie);
    for (std::size_t track = 0; track < first.size(); ++track) NoteLate(track, report);
    for (std::size_t i = 0; i < clips.size(); ++i) {
      const std::vector<const RawBox*> tracks = TracksOf(clips[i].movie);
      for (std::size_t track = 0; track < tracks.size(); ++track) {
        const bool isUsed = !EditsOf(*first[track]).empty();
        const std::size_t edits = EditsOf(*tracks[track]).size();
        const bool hasList = tracks[track]->At({FourCc("edts"), FourCc("elst")}) != nullptr;
        if (hasList == isUsed && edits == (isUsed ? 1 : 0)) continue;
        report.Note(AdaptationKind::kEditLists, i, times_[i][track].id,
                    EditWords(times_[i][track], edits, isUsed));
      }
    }
  }

  // The list of the first clip, which has no samples of the track, says nothing of those behind it.
  void NoteLate(std::size_t track, FitReport& report) const {
    if (times_.front()[track].samples != 0) return;
    const auto later = std::find_if(times_.begin(), times_.end(), [track](const ClipTimes& clip) {
      return clip[track].samples != 0;
    });
    if (later == times_.end()) return;
    report.Note(AdaptationKind::kEditLists, static_cast<std::size_t>(later - times_.begin()),
                (*later)[track].id,
                "begins its " + TrackWords((*later)[track]) +
                    " beside its others, and no clip before it has samples of that track");
  }

  static std::string EditWords(const TrackTimes& track, std::size_t edits, bool isUsed) {
    const std::string words = TrackWords(track);
    if (track.shown.IsPlain() && track.shown.delay != 0)
      return "delays its " + words + " by " +
             MillisecondWords(MomentOf(track.shown.delay, track.movieScale));
    if (edits > 1) return "has an edit list of several parts in its " + words;
    return "has " + std::string(edits == 0 ? "no" : "an") + " edit list in its " + words +
           (isUsed ? ", and the first clip has one" : ", and the first clip has none");
  }

  // The engine ends every track where the first one of pictures ends.
  void NoteEnds(const FitClips& clips, FitReport& report) const {
    const auto limit = EndOfPictures(clips);
    if (!limit) return;
    const std::vector<const RawBox*> tracks = TracksOf(clips.front().movie);
    const auto ends = EndsOf(clocks_);
    for (std::size_t i = 0; i < tracks.size(); ++i) {
      const TrackTimes& first = times_.front()[i];
      if (IsOfPictures(*tracks[i]) || EditsOf(*tracks[i]).size() != 1 || !ends[i]) continue;
      const Moment end = *ends[i] - first.Zero();
      const Moment cut = end - MomentOf(first.shown.start, first.scale) - *limit;
      // A tick of the movie is what rounding takes.
      if (cut <= MomentOf(1, first.movieScale)) continue;
      const std::size_t last = clips.size() - 1;
      report.Note(AdaptationKind::kEditLists, last, times_[last][i].id,
                  "goes on " + MillisecondWords(cut) + " behind its pictures in its " +
                      TrackWords(times_[last][i]));
    }
  }

  static bool IsOfPictures(const RawBox& track) {
    return track.At({FourCc("mdia"), FourCc("minf"), FourCc("vmhd")}) != nullptr;
  }

  // By the media headers, as the engine counts.
  std::optional<Moment> EndOfPictures(const FitClips& clips) const {
    const std::vector<const RawBox*> first = TracksOf(clips.front().movie);
    const auto found = std::find_if(first.begin(), first.end(),
                                    [](const RawBox* track) { return IsOfPictures(*track); });
    if (found == first.end()) return std::nullopt;
    Moment ticks = 0;
    for (const FitClip& clip : clips) {
      const RawBox& track = *TracksOf(clip.movie)[static_cast<std::size_t>(found - first.begin())];
      const auto header = HeaderOf(track.At({FourCc("mdia"), FourCc("mdhd")}));
      if (header) ticks += header->duration;
    }
    if (ticks == 0) return std::nullopt;
    return MomentOf(ticks, MediaScaleOf(**found));
  }

  // What the last clip with samples of the track leaves out at its end, in the first clip's ticks.
  std::int64_t LeftOut(std::size_t index) const {
    for (auto clip = times_.rbegin(); clip != times_.rend(); ++clip) {
      const TrackTimes& track = (*clip)[index];
      if (track.samples == 0) continue;
      const Moment left = MomentOf(track.endShown - track.ShownTo(), track.scale);
      return static_cast<std::int64_t>(TicksOf(left, times_.front()[index].scale));
    }
    return 0;
  }

  static void PutEdits(RawBox& track, const Edits& edits) {
    if (edits.empty()) return;
    RawBox* container = track.Child(FourCc("edts"));
    if (container == nullptr) {
      // In front of the media (8.6.5).
      const auto media = std::find_if(track.children.begin(), track.children.end(),
                                      [](const RawBox& box) { return box.type == FourCc("mdia"); });
      container = &*track.children.insert(media, RawBox(FourCc("edts"), {}));
    }
    ReplaceChild(*container, EditsBox(edits));
  }

  // Answers how long the track is in the movie's ticks.
  std::uint64_t CompleteTrack(RawBox& track, std::size_t index) const {
    const TrackTimes& first = times_.front()[index];
    auto source = SourceOf(track, first.movieScale);
    if (source) source->edits.clear();
    const auto merged = source ? TimesOf(*source) : std::nullopt;
    RawBox* mediaBox = track.At({FourCc("mdia"), FourCc("mdhd")});
    RawBox* trackBox = track.Child(FourCc("tkhd"));
    auto media = HeaderOf(mediaBox);
    auto header = trackBox != nullptr ? ReadTrackHeader(*trackBox) : std::nullopt;
    if (!merged || !media || !header) return 0;
    media->duration = static_cast<std::uint64_t>(merged->ticks);
    const std::int64_t end = merged->endShown - LeftOut(index);
    const Edits edits = MergedEdits(first, end);
    header->duration = 0;
    for (const Edit& edit : edits) header->duration += edit.duration;
    if (edits.empty())
      header->duration = static_cast<std::uint64_t>(
          std::max<Moment>(0, TicksToHold(MomentOf(end, first.scale), first.movieScale)));
    static_cast<void>(WriteTimeHeader(*mediaBox, *media));
    static_cast<void>(WriteTrackHeader(*trackBox, *header));
    // Moves the boxes of the track.
    PutEdits(track, edits);
    return header->duration;
  }

  const FitOptions options_;
  // As the clips say; empty where there is nothing to fit.
  std::vector<ClipTimes>& times_;
  SampleHolds& holds_;
  const ClipClocks& clocks_;
  bool scalesMeet_ = true;
};

}  // namespace

std::unique_ptr<Adaptation> MakeClipTimes(const FitOptions& options, ClipClocks& clocks) {
  return std::make_unique<ClipTimesAdaptation>(options, clocks);
}

}  // namespace clipchain
