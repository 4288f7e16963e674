#include "workflow/checks/drift_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>

#include "adapt/times/edit_lists.h"

namespace clipchain {

namespace {

constexpr const char* kKeepInStep =
    "merge without --exact and without --seams=as-they-are, which keeps the tracks in step where "
    "one clip follows the other";
constexpr const char* kEndsByItself =
    "look whether this clip is to end like that: it does so by itself, and a merge shows all of it";

// Of the tracks of a clip: when each is shown, or nothing.
using Moments = std::vector<std::optional<Moment>>;
// By index.
using Tracks = std::vector<std::size_t>;

struct Spread {
  double milliseconds = 0;
  // The track that is farthest ahead.
  std::size_t early = 0;
  std::size_t late = 0;
};

// Exact to a millionth, so that a limit itself is not beyond the limit.
double Rounded(double milliseconds) {
  constexpr double kMillion = 1000000;
  return std::round(milliseconds * kMillion) / kMillion;
}

Spread SpreadOf(const Moments& moments, const Tracks& tracks) {
  Tracks there;
  std::copy_if(tracks.begin(), tracks.end(), std::back_inserter(there),
               [&moments](std::size_t track) { return moments[track].has_value(); });
  if (there.empty()) return {};
  const auto [early, late] = std::minmax_element(
      there.begin(), there.end(),
      [&moments](std::size_t a, std::size_t b) { return *moments[a] < *moments[b]; });
  return {Rounded(Milliseconds(*moments[*late] - *moments[*early])), *early, *late};
}

// Where the scales meet, times convert without a rest.
bool Continues(const TrackTimes& track, const TrackTimes& first) {
  return track.scale == first.scale || Moment{track.ticks} * first.scale % track.scale == 0;
}

bool HaveOneKind(const std::vector<ClipTimes>& clips) {
  return !clips.empty() && !clips.front().empty() &&
         std::all_of(clips.begin(), clips.end(), [&clips](const ClipTimes& clip) {
           return std::equal(clip.begin(), clip.end(), clips.front().begin(), clips.front().end(),
                             Continues);
         });
}

class Drift {
 public:
  Drift(const ClipClocks& clocks, std::vector<FileFindings>& findings)
      : clips_(clocks.clips),
        findings_(findings),
        shifts_(ShiftsOf(clocks)),
        ends_(EndsOf(clocks)) {
    ChooseTracks();
  }

  std::vector<Seam> Run() {
    std::vector<Seam> seams;
    for (std::size_t clip = 1; clip < clips_.size(); ++clip)
      seams.push_back({clip - 1, SpreadOf(shifts_[clip], shown_).milliseconds});
    seams.push_back({clips_.size() - 1, SpreadOf(ends_, shown_).milliseconds});
    if (clips_.size() > 1) Judge(seams);
    return seams;
  }

 private:
  // A picture that stands still, such as a cover, has no time to be in step with.
  void ChooseTracks() {
    const ClipTimes& first = clips_.front();
    for (std::size_t track = 0; track < first.size(); ++track) {
      const MediaKind kind = first[track].kind;
      const bool isShown =
          kind == MediaKind::kSound || (kind == MediaKind::kPicture && first[track].samples > 1);
      (isShown ? shown_ : others_).push_back(track);
    }
  }

  void Judge(const std::vector<Seam>& seams) {
    if (JudgeSeams(seams, kDisturbingDrift, Severity::kRisk) ||
        JudgeSeams(seams, kNoticeableDrift, Severity::kWarning) || JudgeEnd())
      return;
    JudgeOthers();
  }

  bool JudgeSeams(const std::vector<Seam>& seams, double limit, Severity severity) {
    const auto found = std::find_if(seams.begin(), seams.end() - 1, [limit](const Seam& seam) {
      return seam.milliseconds > limit;
    });
    if (found == seams.end() - 1) return false;
    const auto worst = std::max_element(found, seams.end() - 1, [](const Seam& a, const Seam& b) {
      return a.milliseconds < b.milliseconds;
    });
    const std::size_t clip = found->clip + 1;
    const Spread spread = SpreadOf(shifts_[clip], shown_);
    std::string text = BeginWords(clip, spread);
    if (worst->milliseconds > found->milliseconds)
      text += fmt::format(", which grows to {:.1f} ms by clip {}", worst->milliseconds,
                          worst->clip + 2);
    Tell(clip, spread, std::move(text), severity);
    return true;
  }

  double OwnEnd(const ClipTimes& clip) const {
    return SpreadOf(EndsOf({{clip}, NoHolds({clip})}), shown_).milliseconds;
  }

  // What a clip alone has of it is no fault of the merge.
  bool JudgeEnd() {
    const Spread spread = SpreadOf(ends_, shown_);
    const double own = OwnEnd(clips_.front());
    if (spread.milliseconds - own <= kNoticeableDrift) return false;
    const std::size_t last = clips_.size() - 1;
    Tell(
        last, spread,
        fmt::format("would end with {} {:.1f} ms after {}, {:.1f} ms more than the first clip ends "
                    "with",
                    TrackWords(clips_[last][spread.late]), spread.milliseconds,
                    TrackWords(clips_[last][spread.early]), spread.milliseconds - own),
        Severity::kWarning,
        OwnEnd(clips_[last]) - own > kNoticeableDrift ? kEndsByItself : kKeepInStep);
    return true;
  }

  void JudgeOthers() {
    if (shown_.empty() || others_.empty()) return;
    Tracks tracks = others_;
    tracks.push_back(shown_.front());
    for (std::size_t clip = 1; clip < clips_.size(); ++clip) {
      const Spread aside = SpreadOf(shifts_[clip], tracks);
      if (aside.milliseconds <= kDisturbingDrift) continue;
      Tell(
          clip, aside, BeginWords(clip, aside), Severity::kWarning,
          "picture and sound do not wait for it; keep the clips if a program reads it beside them");
      return;
    }
  }

  std::string BeginWords(std::size_t clip, const Spread& spread) const {
    return fmt::format("would begin with {} {:.1f} ms behind {}",
                       TrackWords(clips_[clip][spread.late]), spread.milliseconds,
                       TrackWords(clips_[clip][spread.early]));
  }

  void Tell(std::size_t clip, const Spread& spread, std::string text, Severity severity,
            const char* remedy = kKeepInStep) {
    Finding& finding = findings_[clip].Add(Message::kTrackDrift, std::move(text), remedy);
    finding.severity = severity;
    finding.track = clips_[clip][spread.late].id;
  }

  const std::vector<ClipTimes>& clips_;
  std::vector<FileFindings>& findings_;
  const Shifts shifts_;
  const Moments ends_;
  // Of picture and sound.
  Tracks shown_;
  // All others.
  Tracks others_;
};

}  // namespace

std::vector<Seam> CheckDrift(const ClipClocks& clocks, std::vector<FileFindings>& findings) {
  if (!HaveOneKind(clocks.clips)) return {};
  return Drift(clocks, findings).Run();
}

}  // namespace clipchain
