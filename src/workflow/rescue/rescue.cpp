#include "workflow/rescue.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <new>
#include <optional>

#include "foundation/fourcc.h"
#include "workflow/boxes/lost_movie.h"
#include "workflow/rescue/attempt.h"
#include "workflow/rescue/clip_writer.h"
#include "workflow/rescue/media_window.h"
#include "workflow/rescue/movie_maker.h"
#include "workflow/rescue/reference_search.h"
#include "workflow/rescue/sound_decoder.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

using rescue::Attempt;
using Phase = RescueStep::Phase;

// Clips beside the broken one that are tried.
constexpr std::size_t kMostTried = 16;
// And those whose names are read.
constexpr std::size_t kMostNamed = 1000;

class Work {
 public:
  Work(const std::string& broken, const RescueOptions& options)
      : broken_(broken), options_(options), writer_(broken, options) {}

  RescueReport Run() {
    if (writer_.MayWrite() && Look() && Search() && Write()) report_.done = true;
    const Findings& written = writer_.findings();
    report_.findings.insert(report_.findings.end(), written.begin(), written.end());
    report_.size = writer_.size();
    return std::move(report_);
  }

 private:
  bool Look();
  bool Search();
  bool TryOne(const std::string& reference);
  bool Write();
  rescue::ClipNames FindNames();
  void Describe(const rescue::MadeMovie& made);
  void DescribeTrack(const RescuedTrack& track, bool expected);
  bool Step(Phase phase, std::uint64_t current, std::uint64_t total);
  void Fail(Message message, const std::string& path, std::string text, std::string remedy) {
    report_.findings.push_back(MakeFinding(message, path, std::move(text), std::move(remedy)));
  }

  const std::string& broken_;
  const RescueOptions& options_;
  rescue::ClipWriter writer_;
  RescueReport report_;
  // The broken clip has one, and its media is cut off.
  bool hasMovie_ = false;
  std::unique_ptr<FileBytes> file_;
  // Where the zeros begin at which it ends.
  std::optional<std::uint64_t> content_;
  std::unique_ptr<Attempt> attempt_;
};

bool Work::Step(Phase phase, std::uint64_t current, std::uint64_t total) {
  return !options_.progress ||
         options_.progress({phase, static_cast<long long>(current), static_cast<long long>(total)});
}

bool Work::Look() {
  if (const Reason why = WhyUnreadable(broken_)) {
    Fail(Message::kInputUnreadable, broken_, "can't be read: " + *why,
         "check the name and the permissions");
    return false;
  }
  file_ = std::make_unique<FileBytes>(broken_);
  if (file_->error() || !file_->IsFile()) {
    Fail(Message::kInputUnreadable, broken_, "can't be read", "name a clip");
    return false;
  }
  const rescue::BrokenMedia media = rescue::ExamineBroken(*file_, file_->Size(), 0, 0, false);
  hasMovie_ = media.hasMovie;
  // Its tables tell more, and more surely, than any search could.
  if (media.hasMovie && !media.cutOff) {
    Fail(Message::kRescueUnneeded, broken_, "has a whole movie box",
         "see what a check says about it");
    return false;
  }
  if (media.fragmented) {
    Fail(Message::kRescueUnneeded, broken_,
         "is fragmented: what its fragments describe needs no rescue",
         "see what a check says about it");
    return false;
  }
  return true;
}

bool Work::TryOne(const std::string& reference) {
  // Of a file of zeros this takes as long as reading it.
  if (!content_) content_ = rescue::EndOfContent(broken_, *file_);
  attempt_ = std::make_unique<Attempt>();
  if (options_.references.empty()) {
    // What an earlier rescue left beside the clip knows no more than its own reference did.
    rescue::Reference beside;
    if (!beside.Load(reference) && rescue::IsRescued(beside.movie())) {
      attempt_->why = "is what was rescued of a clip, and no intact one";
      return false;
    }
  }
  const std::uint64_t size = file_->Size();
  const auto progress = [&](std::uint64_t position) {
    return Step(Phase::kSearching, position, size);
  };
  return rescue::Try(*file_, *content_, reference, progress, *attempt_) || attempt_->stopped;
}

bool Work::Search() {
  std::vector<std::string> references = options_.references;
  if (references.empty()) {
    references = rescue::ClipsBeside(broken_);
    if (references.size() > kMostTried) references.resize(kMostTried);
  }
  // Nothing is more like a clip than its own movie box.
  if (hasMovie_) references.insert(references.begin(), broken_);
  if (references.empty()) {
    Fail(Message::kReferenceMissing, broken_, "lies beside no other clip to learn from",
         "name an intact clip of the same camera with --like");
    return false;
  }
  for (const std::string& reference : references) {
    if (!Step(Phase::kLooking, 0, file_->Size()) || TryOne(reference)) break;
    report_.findings.push_back(MakeFinding(Message::kReferenceUnusable, reference, *attempt_->why));
    attempt_ = nullptr;
  }
  if (attempt_ == nullptr) {
    Fail(Message::kNothingRescued, broken_,
         "is like none of the clips that were tried: no sample was found",
         "name an intact clip of the same camera and settings with --like");
    return false;
  }
  if (attempt_->stopped) {
    Fail(Message::kMergeStopped, options_.output, "was not made: the rescue was stopped",
         "run it again");
    return false;
  }
  report_.reference = attempt_->reference.path();
  return true;
}

rescue::ClipNames Work::FindNames() {
  if (attempt_->reference.path() == broken_)
    return rescue::ReadNames(attempt_->reference.movie()).value_or(rescue::NoNames());
  std::vector<std::string> clips = rescue::ClipsBeside(broken_);
  if (clips.size() > kMostNamed) clips.resize(kMostNamed);
  clips.push_back(attempt_->reference.path());
  std::vector<rescue::NamedClip> named;
  for (const std::string& clip : clips) {
    rescue::Reference reference;
    if (reference.Load(clip) || rescue::IsRescued(reference.movie())) continue;
    if (auto names = rescue::ReadNames(reference.movie()))
      named.push_back({clip, std::move(*names)});
  }
  return rescue::NamesOfMissing(broken_, named);
}

bool Work::Write() {
  const rescue::ClipLayout layout =
      rescue::LayOut(attempt_->reference.fileType(), attempt_->harvest);
  const rescue::MadeMovie made =
      rescue::MakeMovie(attempt_->model, attempt_->harvest, layout.head.size(), FindNames());
  Describe(made);
  return writer_.Write(layout, made.movie);
}

void Work::Describe(const rescue::MadeMovie& made) {
  const auto& tracks = attempt_->reference.tracks();
  for (std::size_t i = 0; i < tracks.size(); ++i) {
    const rescue::TrackHarvest& found = attempt_->harvest.tracks[i];
    const rescue::TrackTimes& times = made.tracks[i].times;
    RescuedTrack track;
    track.id = tracks[i].id;
    track.kind = FourCcText(tracks[i].kind);
    track.format = FourCcText(tracks[i].entryType);
    track.method = attempt_->model.MethodOf(i);
    track.samples = static_cast<long long>(found.samples);
    track.bytes = static_cast<long long>(found.bytes);
    track.seconds = made.tracks[i].seconds;
    track.timesEstimated = times.timesEstimated && found.samples > 0;
    track.offsetsEstimated = times.offsetsEstimated;
    track.syncEstimated = times.syncEstimated && found.samples > 0;
    report_.tracks.push_back(track);
    DescribeTrack(track, tracks[i].sizes.count > 0);
  }
  for (const rescue::ByteRange& range : attempt_->harvest.unknown) {
    report_.unknown.push_back(
        {static_cast<long long>(range.begin), static_cast<long long>(range.end)});
    Finding finding =
        MakeFinding(Message::kMediaLeftOut, broken_,
                    fmt::format("has {} bytes from byte {} to {} that are no samples, or "
                                "not surely whole ones",
                                range.end - range.begin, range.begin, range.end));
    finding.offset = static_cast<long long>(range.begin);
    report_.findings.push_back(finding);
  }
}

void Work::DescribeTrack(const RescuedTrack& track, bool expected) {
  const auto add = [&](Message message, std::string text) {
    report_.findings.push_back(MakeFinding(message, broken_, std::move(text)));
    report_.findings.back().track = track.id;
  };
  const std::string name = fmt::format("track {} ({})", track.id, track.format);
  if (track.samples == 0 && expected) {
    add(Message::kTrackNotRescued,
        track.method.empty() ? fmt::format("has no {}: there is no way to find its samples", name)
                             : fmt::format("has no {}: none of its samples was found", name));
  }
  if (track.timesEstimated)
    add(Message::kTimesEstimated, fmt::format("has times in {} that are estimated", name));
  if (track.offsetsEstimated)
    add(Message::kTimesEstimated,
        fmt::format("has pictures in {} whose order in time is estimated", name));
  if (track.syncEstimated)
    add(Message::kTimesEstimated,
        fmt::format("has places in {} to start playing at that are estimated", name));
}

}  // namespace

RescueReport Rescue(const std::string& broken, const RescueOptions& options) {
  try {
    return Work(broken, options).Run();
  } catch (const std::bad_alloc&) {
    RescueReport report;
    report.findings.push_back(MakeFinding(Message::kOutOfMemory, options.output,
                                          "was not made: there is not enough memory"));
    return report;
  }
}

bool NeedsRescue(const std::string& path) {
  FileBytes file(path);
  return !file.error() && file.IsFile() && LacksMovie(file);
}

}  // namespace clipchain
