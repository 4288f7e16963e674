#include "workflow/oracle/sample_oracle.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <deque>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "foundation/fourcc.h"
#include "workflow/oracle/byte_ranges.h"
#include "workflow/oracle/chapter_comparison.h"
#include "workflow/oracle/movie_boxes.h"
#include "workflow/oracle/next_clip.h"
#include "workflow/oracle/oracle_findings.h"
#include "workflow/oracle/track_comparison.h"
#include "workflow/oracle/track_pairs.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

using namespace samples;

const Intended kNothing;
// Bytes that are compared until somebody is told.
constexpr Number kBetween = 4 * 1024 * 1024;

Seconds InSeconds(Number ticks, const SampleFile& file) {
  return static_cast<Seconds>(ticks) / static_cast<Seconds>(std::max<Number>(file.Scale(), 1));
}

// What the movie's header states, and the longest that a track's does. Those of a fragmented file
// know nothing of its fragments.
Seconds StatedBy(const SampleFile& file) { return InSeconds(file.Duration(), file); }
Seconds LongestOf(const SampleFile& file) {
  Number longest = 0;
  for (const TrackView& track : file.Tracks()) {
    if (!track.fragments.empty()) return StatedBy(file);
    longest = std::max(longest, track.shown);
  }
  return InSeconds(longest, file);
}

class Oracle {
 public:
  explicit Oracle(const OracleTask& task)
      : task_(task),
        intended_(task.intended != nullptr ? *task.intended : kNothing),
        findings_(task.output),
        output_(task.file),
        result_(output_),
        comparison_(output_, findings_, [this](Number bytes) { return Tell(bytes); }) {}

  Findings Run() {
    if (!Open()) return findings_.Take();
    for (std::size_t clip = 0; clip < task_.inputs.size(); ++clip) {
      if (!Tell(0) || !AddClip(clip)) return findings_.Take();
    }
    Finish();
    return findings_.Take();
  }

 private:
  bool Tell(Number bytes) {
    done_ += bytes;
    if (bytes > 0 && done_ < told_ + kBetween) return true;
    told_ = done_;
    return !task_.progress ||
           task_.progress({Step::Phase::kVerifying, 0, static_cast<long long>(done_),
                           static_cast<long long>(total_)});
  }

  bool Open();
  bool AddClip(std::size_t index);
  bool AddTracks(std::size_t index, const ClipAtWork& clip);
  void NameLeftOut(std::size_t index, const std::string& path,
                   const std::vector<const TrackView*>& left);
  void CompareFirst(const SampleFile& clip, const std::vector<const TrackView*>& partners);
  bool CompareBytes(FileBytes& clip, const std::string& path);
  struct Farthest {
    const TrackComparison* least = nullptr;
    const TrackComparison* most = nullptr;
  };
  bool Leads(const TrackComparison& track) const;
  template <typename Time>
  Farthest FarthestBy(Time time) const;
  void CompareWaits(std::size_t index, Seconds tick, Seconds allowed);
  void CompareShifts(std::size_t index, const SampleFile& clip);
  void NoteChapter(std::size_t index);
  void Finish();
  void CompareLength(const TrackComparison& track, std::size_t index, Seconds pictures);
  void CompareDuration();
  void CompareNext();
  void AddSystems(std::size_t index, const SampleFile& clip);
  void CompareSystems();
  Number Longer(std::size_t clip, unsigned int track) const;

  void CompareStatedSums();

  bool Adapted() const { return task_.intended != nullptr; }

  const OracleTask& task_;
  const Intended& intended_;
  OracleFindings findings_;
  FileBytes& output_;
  SampleFile result_;
  RangeComparison comparison_;
  ByteRanges ranges_;
  GroupNames names_;
  TrackRules rules_{Adapted(), intended_.dropped};
  std::deque<TrackComparison> tracks_;
  std::unique_ptr<TrackPairs> pairs_;
  // What the last clip that knows it says comes next.
  std::optional<std::string> next_;
  std::vector<ExpectedChapter> chapters_;
  // What the first clip's movie box tells systems that have keys, and what else any clip does.
  std::vector<std::string> firstSystems_;
  std::set<std::string> otherSystems_;
  // What the clips' headers state together: of the movies, and of the media of each track.
  Number stated_ = 0;
  std::vector<Number> statedOf_;
  // That the header of a track states.
  Seconds longest_ = 0;
  // By which the headers of tracks may be wrong, as they are in the clips.
  Seconds loose_ = 0;
  // By which those of the movies are.
  Seconds movieLoose_ = 0;
  Number done_ = 0;
  Number told_ = 0;
  Number total_ = 0;
};

bool Oracle::Open() {
  if (const Reason wrong = result_.Read()) {
    findings_.Damaged(*wrong, 0, output_);
    return false;
  }
  for (const MediaExtent& media : result_.Media()) total_ += media.end - media.begin;
  for (const TrackView& track : result_.Tracks()) {
    tracks_.emplace_back(result_, track, tracks_.size(), rules_, findings_);
    if (!tracks_.back().Open(names_)) return false;
  }
  statedOf_.resize(tracks_.size());
  pairs_ = std::make_unique<TrackPairs>(
      result_, Adapted() ? TrackPairs::By::kDescription : TrackPairs::By::kCodec);
  return true;
}

bool Oracle::AddClip(std::size_t index) {
  const std::string& path = task_.inputs[index];
  FileBytes bytes(path);
  SampleFile clip(bytes);
  if (const Reason wrong = clip.Read()) {
    findings_.Unreadable(path, *wrong, bytes);
    return false;
  }
  ranges_.Clear();
  if (!AddTracks(index, {path, clip, ranges_})) return false;
  if (Adapted()) {
    if (auto next = NextClipOf(clip.Movie())) next_ = std::move(next);
    AddSystems(index, clip);
    CompareShifts(index, clip);
    NoteChapter(index);
    movieLoose_ += std::abs(StatedBy(clip) - LongestOf(clip));
  }
  return CompareBytes(bytes, path);
}

bool Oracle::AddTracks(std::size_t index, const ClipAtWork& clip) {
  std::vector<const TrackView*> left;
  const std::vector<const TrackView*> partners = pairs_->Find(clip.file, left);
  stated_ += clip.file.Duration();
  for (std::size_t i = 0; i < tracks_.size(); ++i) {
    TrackComparison& track = tracks_[i];
    const unsigned int id = track.Track().id;
    if (partners[i] == nullptr) {
      findings_.Differs(id, fmt::format("moov/trak[{}]", i),
                        fmt::format("has a track that is not in {}", PrintablePath(clip.path)));
    } else if (!track.Add(clip, *partners[i], Longer(index, id), names_)) {
      return false;
    } else {
      statedOf_[i] += partners[i]->duration;
    }
  }
  if (!Adapted()) return true;
  NameLeftOut(index, clip.path, left);
  if (index == 0) CompareFirst(clip.file, partners);
  return true;
}

Number Oracle::Longer(std::size_t clip, unsigned int track) const {
  Number most = 0;
  for (const SeamStretch& stretch : intended_.stretches) {
    if (stretch.clip == clip && stretch.track == track) most = std::max(most, stretch.most);
  }
  return most;
}

void Oracle::NameLeftOut(std::size_t index, const std::string& path,
                         const std::vector<const TrackView*>& left) {
  for (const TrackView* track : left) {
    if (intended_.commonTracks && (index > 0 || intended_.leftOut.count(track->id) != 0)) continue;
    findings_.Differs(
        0, "moov", fmt::format("has no track for track {} of {}", track->id, PrintablePath(path)));
  }
}

// The result is the first clip's movie, so its tracks are that clip's tracks in their order.
void Oracle::CompareFirst(const SampleFile& clip, const std::vector<const TrackView*>& partners) {
  std::vector<TrackPair> pairs;
  for (std::size_t i = 0; i < partners.size(); ++i) {
    if (partners[i] == nullptr) return;
    if (i > 0 && partners[i] < partners[i - 1]) {
      findings_.Differs(0, "moov", "has its tracks in another order than the first clip");
      return;
    }
    pairs.emplace_back(partners[i], &result_.Tracks()[i]);
  }
  CompareMovieBoxes(clip, result_, pairs, intended_, findings_);
}

bool Oracle::CompareBytes(FileBytes& clip, const std::string& path) {
  const bool inOrder = ranges_.Gather();
  const bool everyByte = task_.everyByte || !inOrder;
  return comparison_.Compare(clip, path, ranges_.Gathered(), everyByte) &&
         (everyByte || comparison_.Compare(clip, path, ranges_.Whole(), true));
}

// Picture and sound; all tracks where there is neither.
bool Oracle::Leads(const TrackComparison& track) const {
  const auto isSeenOrHeard = [](const TrackComparison& other) {
    return other.Track().handler == FourCc("vide") || other.Track().handler == FourCc("soun");
  };
  return isSeenOrHeard(track) || std::none_of(tracks_.begin(), tracks_.end(), isSeenOrHeard);
}

// Tracks of a clip that are shown together there are shown together here; one of data may be later
// by more than others have patience. None waits where none needs to, nor for longer than until the
// one that others wait for.
void Oracle::CompareShifts(std::size_t index, const SampleFile& clip) {
  if (index > 0 && intended_.apart < 0) return;
  // Beside a track that is wrong nobody can say which one is late, or has to wait.
  if (std::any_of(tracks_.begin(), tracks_.end(),
                  [](const TrackComparison& track) { return track.Differs(); }))
    return;
  const Seconds tick = InSeconds(1, clip) + InSeconds(1, result_);
  const Seconds allowed = index == 0 ? 0 : static_cast<Seconds>(intended_.apart);
  const auto shift = [](const TrackComparison& track) { return track.Shift(); };
  const auto [least, most] = FarthestBy(shift);
  if (least == nullptr) return;
  const Seconds apart = most != nullptr ? most->Shift() - least->Shift() : 0;
  if (apart > allowed + tick)
    findings_.Differs(most->Track().id, "moov",
                      fmt::format("shows track {} {:.1f} ms later beside track {} than {}",
                                  most->Track().id, static_cast<double>(apart * 1000),
                                  least->Track().id, PrintablePath(task_.inputs[index])));
  CompareWaits(index, tick, allowed);
}

// The track that is shown earliest, and of those that others wait for the one that is latest; null
// without one.
template <typename Time>
Oracle::Farthest Oracle::FarthestBy(Time time) const {
  constexpr Seconds kPatience = 0.08L;
  Farthest far;
  for (const TrackComparison& track : tracks_) {
    if (!track.IsShown()) continue;
    if (far.least == nullptr || time(track) < time(*far.least)) far.least = &track;
    if (Leads(track) && (far.most == nullptr || time(track) > time(*far.most))) far.most = &track;
  }
  if (far.most == nullptr) return far;
  const Seconds leading = time(*far.most);
  for (const TrackComparison& track : tracks_) {
    if (track.IsShown() && time(track) - leading <= kPatience && time(track) > time(*far.most))
      far.most = &track;
  }
  return far;
}

void Oracle::CompareWaits(std::size_t index, Seconds tick, Seconds allowed) {
  // Of those that wait for others, and not for their own pictures' order, the one shown latest.
  const TrackComparison* waits = nullptr;
  // The longest tick of those.
  Seconds coarse = 0;
  for (const TrackComparison& track : tracks_) {
    const Seconds step = 1 / static_cast<Seconds>(std::max<Number>(track.Track().scale, 1));
    if (!track.IsShown() || track.Waited() < track.Ordered() + step / 2) continue;
    if (waits == nullptr || track.Shift() > waits->Shift()) waits = &track;
    coarse = std::max(coarse, step);
  }
  if (waits == nullptr) return;
  // Where the tracks would be without waiting.
  const auto before = [](const TrackComparison& track) {
    return track.Shift() - track.Waited() + track.Ordered();
  };
  const auto [first, last] = FarthestBy(before);
  const Seconds end = last != nullptr ? before(*last) : 0;
  // Half a frame apart is far enough to wait, whatever a frame is rounded to.
  const bool tooLong = waits->Shift() > end + tick + coarse;
  if (tooLong || end - before(*first) + tick < allowed * 2 / 5)
    findings_.Differs(waits->Track().id, "moov",
                      fmt::format("lets track {} wait {:.1f} ms for {}, which it need not",
                                  waits->Track().id, static_cast<double>(waits->Waited() * 1000),
                                  PrintablePath(task_.inputs[index])));
}

// Pictures are what people see of a clip; one without any begins with its first track.
void Oracle::NoteChapter(std::size_t index) {
  if (intended_.chapters.empty() || tracks_.empty()) return;
  const auto pictures = std::find_if(tracks_.begin(), tracks_.end(), [](const auto& track) {
    return track.Track().handler == FourCc("vide");
  });
  const TrackComparison& track = pictures == tracks_.end() ? tracks_.front() : *pictures;
  chapters_.push_back({intended_.chapters[index], track.Begins()});
}

void Oracle::Finish() {
  Seconds pictures = -1;
  for (TrackComparison& track : tracks_) {
    track.Finish();
    if (track.Track().handler == FourCc("vide")) pictures = std::max(pictures, track.MediaEnd());
  }
  if (!Adapted()) return CompareStatedSums();
  for (std::size_t i = 0; i < tracks_.size(); ++i) CompareLength(tracks_[i], i, pictures);
  CompareDuration();
  CompareNext();
  CompareSystems();
  // What a list of several parts makes of a moment nobody knows.
  const bool timed = std::all_of(tracks_.begin(), tracks_.end(), [this](const auto& track) {
    return ShowingOf(result_, track.Track()).inARow;
  });
  if (!intended_.chapters.empty()) CompareChapters(result_, chapters_, timed, findings_);
}

// What is not adapted has sums in its headers, whatever the samples take.
void Oracle::CompareStatedSums() {
  const auto compare = [this](unsigned int track, const std::string& box, Number found,
                              Number wanted) {
    if (found != wanted)
      findings_.Differs(track, box,
                        fmt::format("has a duration of {}; the clips have {}", found, wanted));
  };
  compare(0, "moov/mvhd", result_.Duration(), stated_);
  for (std::size_t i = 0; i < tracks_.size(); ++i)
    compare(tracks_[i].Track().id, fmt::format("moov/trak[{}]/mdia/mdhd", i),
            tracks_[i].Track().duration, statedOf_[i]);
}

// The result is continued by what continues the last clip.
void Oracle::CompareNext() {
  const auto found = NextClipOf(result_.Movie());
  if (found && found != next_)
    findings_.Differs(0, "moov/uuid", "says that another clip comes next than the last clip says");
}

void Oracle::AddSystems(std::size_t index, const SampleFile& clip) {
  if (index == 0) firstSystems_ = clip.Systems();
  otherSystems_.insert(clip.Systems().begin(), clip.Systems().end());
  otherSystems_.insert(clip.FragmentSystems().begin(), clip.FragmentSystems().end());
}

// Those of the first clip's movie box as they are, behind them each other one once.
void Oracle::CompareSystems() {
  for (const std::string& system : firstSystems_) otherSystems_.erase(system);
  const std::vector<std::string>& found = result_.Systems();
  const std::size_t first = firstSystems_.size();
  const bool isSame = found.size() == first + otherSystems_.size() &&
                      std::equal(firstSystems_.begin(), firstSystems_.end(), found.begin()) &&
                      std::set<std::string>(found.begin() + static_cast<std::ptrdiff_t>(first),
                                            found.end()) == otherSystems_;
  if (!isSame)
    findings_.Differs(0, "moov/pssh", "does not have the boxes of this type that the clips have");
}

// No track needs to be shown longer than the pictures are. What headers state is as exact as it is
// in the clips.
void Oracle::CompareLength(const TrackComparison& track, std::size_t index, Seconds pictures) {
  const TrackView& view = track.Track();
  const Showing showing = ShowingOf(result_, view);
  if (!showing.inARow) return;
  const Seconds end = track.MediaEnd();
  const Seconds wanted = pictures >= 0 ? std::min(end, pictures) : end;
  const auto scale = static_cast<Seconds>(std::max<Number>(result_.Scale(), 1));
  const Seconds slack = static_cast<Seconds>(task_.inputs.size() + 1) / scale + track.Loose();
  const auto differs = [&](const char* box, Seconds found) {
    findings_.Differs(view.id, fmt::format("moov/trak[{}]/{}", index, box),
                      fmt::format("states {:.3f} s for track {}; its samples end at {:.3f} s",
                                  static_cast<double>(found), view.id, static_cast<double>(end)));
  };
  const Seconds listed = showing.toEnd ? end : showing.delay + showing.length;
  const Seconds stated = InSeconds(view.shown, result_);
  if (listed + slack < wanted || listed > end + slack) {
    differs("edts/elst", listed);
  } else if (stated + slack < wanted || stated > end + slack) {
    differs("tkhd", stated);
  }
  longest_ = std::max(longest_, stated);
  loose_ = std::max(loose_, slack);
}

void Oracle::CompareDuration() {
  const Seconds stated = StatedBy(result_);
  if (std::abs(stated - longest_) <= loose_ + movieLoose_) return;
  findings_.Differs(0, "moov/mvhd",
                    fmt::format("states {:.3f} s; its tracks take {:.3f} s",
                                static_cast<double>(stated), static_cast<double>(longest_)));
}

}  // namespace

Findings CompareSamples(const OracleTask& task) { return Oracle(task).Run(); }

}  // namespace clipchain
