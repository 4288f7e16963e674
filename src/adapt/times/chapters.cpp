#include "adapt/times/chapters.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "adapt/boxes/chapter_box.h"
#include "adapt/boxes/track_headers.h"
#include "adapt/boxes/tracks.h"
#include "adapt/times/timeline.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

std::uint64_t ChapterUnits(Moment moment) {
  if (moment <= 0) return 0;
  constexpr Moment kUnits = kUnitsASecond;
  // Rounded up: a moment too early would open the chapter with the last picture before it.
  return static_cast<std::uint64_t>((moment * kChapterUnitsASecond + kUnits - 1) / kUnits);
}

std::uint32_t MovieScaleOf(const RawBox& movie) {
  const RawBox* box = movie.Child(FourCc("mvhd"));
  const auto header = box != nullptr ? ReadTimeHeader(*box) : std::nullopt;
  return header ? header->scale : 0;
}

std::uint64_t SamplesOf(const RawBox& track) {
  const RawBox* table = SampleTable(track);
  const RawBox* box = table != nullptr ? table->Child(FourCc("stts")) : nullptr;
  const auto times = box != nullptr ? ReadTimes(*box) : std::nullopt;
  return times ? SampleCount(*times) : 0;
}

class ChaptersAdaptation final : public Adaptation {
 public:
  explicit ChaptersAdaptation(const FitOptions& options) : options_(options) {}

  void Adapt(FitClips& clips, FitReport& report) override {
    if (!options_.chapters) return;
    TakeTitles(clips);
    if (!HaveRoom(clips, report)) return;
    track_ = TrackOf(clips.front().movie);
    for (std::size_t i = 0; i < clips.size(); ++i) Look(clips[i].movie, i, report);
  }

  void Complete(RawBox& movie) const override {
    const std::vector<RawBox*> tracks = TracksOf(movie);
    const std::uint32_t movieScale = MovieScaleOf(movie);
    if (samples_.empty() || track_ >= tracks.size() || movieScale == 0) return;
    const auto source = SourceOf(*tracks[track_], movieScale);
    if (!source || source->scale == 0) return;
    const ShownStretch stretch = StretchOf(source->edits, source->scale, movieScale);
    // On the result's own tables: adapting may have moved what the clips said.
    const std::vector<Moment> firsts = FirstShown(*source, samples_);
    std::vector<Chapter> chapters;
    for (std::size_t i = 0; i < samples_.size(); ++i) {
      Moment start = MomentOf(firsts[i], source->scale);
      // Of a list of another kind nobody can say what it makes of a moment.
      if (stretch.IsPlain())
        start += MomentOf(static_cast<Moment>(stretch.delay), movieScale) -
                 MomentOf(stretch.start, source->scale);
      chapters.push_back({ChapterUnits(start), titles_[i]});
    }
    WriteChapters(movie, chapters);
  }

 private:
  void TakeTitles(const FitClips& clips) {
    for (const std::string& title : options_.titles) titles_.push_back(ChapterTitle(title));
    if (!titles_.empty()) return;
    for (const FitClip& clip : clips) titles_.push_back(ChapterTitleOf(clip.Path()));
  }

  bool HaveRoom(const FitClips& clips, FitReport& report) const {
    if (clips.size() > kMostChapters) {
      report.Refuse(FitProblemKind::kChaptersImpossible, kMostChapters, 0,
                    "is clip " + std::to_string(kMostChapters + 1) + " of " +
                        std::to_string(clips.size()) + ", and there is room for " +
                        std::to_string(kMostChapters) + " chapters",
                    "merge without --chapters, or fewer clips");
      return false;
    }
    if (titles_.size() != clips.size()) {
      report.Refuse(FitProblemKind::kChaptersImpossible, 0, 0,
                    "is the first of " + std::to_string(clips.size()) + " clips, and there are " +
                        std::to_string(titles_.size()) + " titles of chapters",
                    "give each clip a title");
      return false;
    }
    const auto isTooLong = [](const std::string& t) { return t.size() > kMostTitleBytes; };
    const auto found = std::find_if(titles_.begin(), titles_.end(), isTooLong);
    if (found == titles_.end()) return true;
    report.Refuse(FitProblemKind::kChaptersImpossible,
                  static_cast<std::size_t>(found - titles_.begin()), 0,
                  "has a name of " + std::to_string(found->size()) +
                      " bytes as a title, and there is room for " + std::to_string(kMostTitleBytes),
                  "give it a shorter name, or merge without --chapters");
    return false;
  }

  static std::size_t TrackOf(const RawBox& movie) {
    const std::vector<const RawBox*> tracks = TracksOf(movie);
    const auto pictures = std::find_if(tracks.begin(), tracks.end(), [](const RawBox* track) {
      return TrackKind(*track) == FourCc("vide");
    });
    return pictures == tracks.end() ? 0 : static_cast<std::size_t>(pictures - tracks.begin());
  }

  void Look(const RawBox& movie, std::size_t clip, FitReport& report) {
    const std::vector<const RawBox*> tracks = TracksOf(movie);
    samples_.push_back(track_ < tracks.size() ? SamplesOf(*tracks[track_]) : 0);
    report.Note(AdaptationKind::kChapters, clip, 0, "begins a chapter");
    if (HasChapters(movie))
      report.Refuse(FitProblemKind::kChaptersThere, clip, 0,
                    "has chapters of its own, which would be lost or stand between those of the "
                    "clips",
                    "merge without --chapters");
  }

  const FitOptions options_;
  std::vector<std::string> titles_;
  // Of each clip, in the track whose pictures count.
  std::vector<std::uint64_t> samples_;
  std::size_t track_ = 0;
};

}  // namespace

std::unique_ptr<Adaptation> MakeChapters(const FitOptions& options) {
  return std::make_unique<ChaptersAdaptation>(options);
}

}  // namespace clipchain
