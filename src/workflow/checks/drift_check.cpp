#include "workflow/checks/drift_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>

namespace clipchain {

namespace {

// When a track of a clip is shown, in milliseconds, counted from where the clip's own zero would
// lie if all clips before it had no length.
using Times = std::vector<long double>;

long double Milliseconds(long double ticks, unsigned int timeScale) {
  return timeScale != 0 ? ticks * 1000 / timeScale : 0;
}

struct Spread {
  double milliseconds = 0;
  std::size_t early = 0;  // index of the track that is farthest ahead
  std::size_t late = 0;
};

// Exact to a millionth, so that a limit itself is not beyond the limit.
double Rounded(long double milliseconds) {
  constexpr long double kMillion = 1000000;
  return static_cast<double>(std::round(milliseconds * kMillion) / kMillion);
}

Spread SpreadOf(const Times& times, const std::vector<std::size_t>& tracks) {
  Spread spread;
  if (tracks.empty()) return spread;
  const auto [early, late] =
      std::minmax_element(tracks.begin(), tracks.end(),
                          [&times](std::size_t a, std::size_t b) { return times[a] < times[b]; });
  return {Rounded(times[*late] - times[*early]), *early, *late};
}

class Drift {
 public:
  Drift(const std::vector<ClipTracks>& clips, std::vector<FileFindings>& findings)
      : clips_(clips), findings_(findings) {}

  std::vector<Seam> Run() {
    const std::size_t tracks = clips_.empty() ? 0 : clips_.front().size();
    if (tracks == 0 || !std::all_of(clips_.begin(), clips_.end(), [this](const ClipTracks& clip) {
          return HasTheTracksOfTheFirst(clip);
        }))
      return {};
    ChooseTracks();
    ends_.assign(tracks, 0);
    std::vector<Seam> seams;
    for (std::size_t clip = 0; clip < clips_.size(); ++clip) {
      for (std::size_t track = 0; track < tracks; ++track) {
        const TrackFacts& facts = clips_[clip][track];
        ends_[track] += Milliseconds(static_cast<long double>(facts.sampleTime), facts.timeScale);
      }
      const Times times = TimesBehind(clip);
      const Spread spread = SpreadOf(times, shown_);
      seams.push_back({clip, spread.milliseconds});
      if (clips_.size() > 1) Judge(clip, spread, times);
    }
    return seams;
  }

 private:
  // Tracks that continue each other have one type.
  bool HasTheTracksOfTheFirst(const ClipTracks& clip) const {
    const ClipTracks& first = clips_.front();
    return std::equal(
        clip.begin(), clip.end(), first.begin(), first.end(),
        [](const TrackFacts& a, const TrackFacts& b) { return a.timeScale == b.timeScale; });
  }

  // A picture that stands still, such as a cover, has no time to be in step with.
  void ChooseTracks() {
    const ClipTracks& first = clips_.front();
    for (std::size_t track = 0; track < first.size(); ++track) {
      const MediaKind kind = first[track].kind;
      const bool isShown =
          kind == MediaKind::kSound || (kind == MediaKind::kPicture && first[track].samples > 1);
      (isShown ? shown_ : others_).push_back(track);
    }
  }

  // Where the tracks of the next clip begin, or behind the last one where they end: its own first
  // edit is replaced by that of the first clip.
  Times TimesBehind(std::size_t clip) const {
    Times times = ends_;
    for (std::size_t track = 0; track < times.size(); ++track) {
      const TrackFacts& first = clips_.front()[track];
      times[track] -= Milliseconds(static_cast<long double>(first.firstMediaTime), first.timeScale);
      if (clip + 1 == clips_.size()) continue;
      const TrackFacts& next = clips_[clip + 1][track];
      times[track] += Milliseconds(static_cast<long double>(next.firstMediaTime), next.timeScale);
    }
    return times;
  }

  void Judge(std::size_t clip, const Spread& spread, const Times& times) {
    if (spread.milliseconds > kDisturbingDrift && !toldProblem_) {
      Tell(clip, spread, Severity::kRisk);
      toldProblem_ = toldWarning_ = true;
    } else if (spread.milliseconds > kNoticeableDrift && !toldWarning_) {
      Tell(clip, spread, Severity::kWarning);
      toldWarning_ = true;
    }
    if (shown_.empty() || others_.empty() || toldOthers_) return;
    std::vector<std::size_t> tracks = others_;
    tracks.push_back(shown_.front());
    const Spread aside = SpreadOf(times, tracks);
    if (aside.milliseconds <= kDisturbingDrift) return;
    Tell(clip, aside, Severity::kWarning);
    toldOthers_ = true;
  }

  void Tell(std::size_t clip, const Spread& spread, Severity severity) {
    const bool isEnd = clip + 1 == clips_.size();
    const std::size_t about = isEnd ? clip : clip + 1;
    const TrackFacts& early = clips_[about][spread.early];
    const TrackFacts& late = clips_[about][spread.late];
    Finding& finding = findings_[about].Add(
        Message::kTrackDrift,
        fmt::format("would {} with {} {:.1f} ms {} {}", isEnd ? "end" : "begin", TrackWords(late),
                    spread.milliseconds, isEnd ? "after" : "behind", TrackWords(early)),
        Remedy(about));
    finding.severity = severity;
    finding.track = late.id;
  }

  // Of two clips, and of the first two, there is nothing less to merge.
  std::string Remedy(std::size_t about) const {
    const std::string cut = "cut the longer track of each clip to the length of the other first";
    if (clips_.size() == 2) return cut + ", or leave the clips apart, where each is in step";
    if (about < 2) return cut;
    return fmt::format("merge no more than the {} clips before it at once, or {}", about, cut);
  }

  const std::vector<ClipTracks>& clips_;
  std::vector<FileFindings>& findings_;
  std::vector<std::size_t> shown_;   // tracks of picture and sound
  std::vector<std::size_t> others_;  // all others
  Times ends_;                       // of the clips so far
  bool toldWarning_ = false;
  bool toldProblem_ = false;
  bool toldOthers_ = false;
};

}  // namespace

std::vector<Seam> CheckDrift(const std::vector<ClipTracks>& clips,
                             std::vector<FileFindings>& findings) {
  return Drift(clips, findings).Run();
}

}  // namespace clipchain
