#include "workflow/rescue/times.h"

#include <algorithm>
#include <map>
#include <tuple>

namespace clipchain::rescue {

namespace {

using Rule = bool (*)(const PictureFacts&);

// Rules for pictures that playing may start at, the strictest first.
constexpr Rule kSyncRules[] = {
    [](const PictureFacts& facts) { return facts.idr; },
    [](const PictureFacts& facts) { return facts.randomAccess; },
    [](const PictureFacts& facts) { return facts.randomAccess || (facts.recovery && facts.intra); },
    [](const PictureFacts& facts) { return facts.randomAccess || facts.recovery; },
    [](const PictureFacts& facts) { return facts.intra && facts.holdsSets; },
    [](const PictureFacts& facts) { return facts.holdsSets; },
    [](const PictureFacts& facts) { return facts.intra; }};

// How many rules say the same of most clips, but of different places in others.
constexpr std::size_t kAlikeRules = 3;

// Whether the rule gives the reference's own table, as far as its pictures were
// read.
bool Reproduces(Rule rule, const ReferenceTrack& track, const Pictures& seen) {
  std::size_t next = 0;
  for (std::size_t i = 0; i < seen.size(); ++i) {
    const bool sync = next < track.syncSamples.size() && track.syncSamples[next] == i + 1;
    if (sync) ++next;
    if (rule(seen[i]) != sync) return false;
  }
  return true;
}

void MakeSync(const ReferenceTrack& track, const Pictures& seen, const TrackHarvest& found,
              TrackTimes& made) {
  if (!track.hasSyncTable) return;
  const std::size_t syncs = track.syncSamples.size();
  Rule rule = nullptr;
  for (std::size_t i = 0; i < std::size(kSyncRules) && !seen.empty(); ++i) {
    // Of a reference that starts anew at its first picture alone the first rules say the same: then
    // the widest of them tells where this one does.
    const bool isOpen = rule == nullptr || (i < kAlikeRules && syncs == 1);
    if (isOpen && Reproduces(kSyncRules[i], track, seen)) rule = kSyncRules[i];
  }
  made.syncEstimated = rule == nullptr;
  // Playing can surely start there; a place too few does less harm than a wrong one.
  if (rule == nullptr) rule = kSyncRules[1];
  for (std::size_t i = 0; i < found.pictures.size(); ++i) {
    if (rule(found.pictures[i])) made.syncSamples.push_back(static_cast<std::uint32_t>(i + 1));
  }
}

// The time by which half of the samples take no longer.
std::uint32_t MedianStep(const TimeRuns& times) {
  TimeRuns sorted = times;
  std::sort(sorted.begin(), sorted.end(),
            [](const TimeRun& a, const TimeRun& b) { return a.delta < b.delta; });
  std::uint64_t left = SampleCount(times) / 2;
  for (const TimeRun& run : sorted) {
    if (left < run.count) return run.delta;
    left -= run.count;
  }
  return sorted.empty() ? 0 : sorted.back().delta;
}

void MakeSteps(const ReferenceTrack& track, const TrackHarvest& found, TrackTimes& made) {
  if (found.durations.size() == found.samples && found.samples > 0) {
    for (const std::uint32_t duration : found.durations) AppendTime(made.times, 1, duration);
    return;
  }
  const auto regular = RegularStep(track.times);
  // No mean: one long sample, as the last often is, would slow all of them down.
  const std::uint32_t step = regular ? *regular : MedianStep(track.times);
  made.timesEstimated = !regular || found.goesApart;
  AppendTime(made.times, found.samples, step);
}

// When a picture is shown follows from its order count: so many steps behind
// the picture that the counts start from. `perStep` is how far the count goes
// on in a step.
class Shown {
 public:
  Shown(std::int64_t step, std::int64_t perStep) : step_(step), perStep_(perStep) {}

  // Of the next picture, how much later than decoded it is shown, but for a
  // constant.
  std::int64_t Next(const PictureFacts& facts) {
    if (index_ == 0 || facts.setsBack) {
      base_ = index_;
      baseOrder_ = facts.order;
    }
    const std::int64_t time = base_ * step_ + (facts.order - baseOrder_) * step_ / perStep_;
    return time - step_ * index_++;
  }

 private:
  std::int64_t step_;
  std::int64_t perStep_;
  std::int64_t index_ = 0;
  std::int64_t base_ = 0;
  std::int64_t baseOrder_ = 0;
};

// Of a part of a recording: pictures that follow its first one and are shown ahead of it.
std::int64_t Leading(const Pictures& pictures) {
  std::int64_t count = 0;
  for (std::size_t i = 1; i < pictures.size() && !pictures[i].setsBack; ++i)
    count += pictures[i].order < pictures[0].order;
  return count;
}

struct OffsetRule {
  std::int64_t perStep = 2;
  std::int64_t constant = 0;
};

// The rule by which the reference's offsets are what they are; nothing where
// none is.
std::optional<OffsetRule> LearnOffsets(const ReferenceTrack& track, std::uint32_t step,
                                       const Pictures& seen) {
  if (seen.empty() || track.offsets.empty()) return std::nullopt;
  for (const std::int64_t perStep : {2, 1}) {
    Shown shown(step, perStep);
    const std::int64_t constant = track.offsets[0].offset;
    std::size_t run = 0;
    std::uint64_t inRun = 0;
    bool all = true;
    for (std::size_t i = 0; i < seen.size() && all; ++i) {
      while (run < track.offsets.size() && inRun == track.offsets[run].count) {
        ++run;
        inRun = 0;
      }
      all =
          run < track.offsets.size() && shown.Next(seen[i]) + constant == track.offsets[run].offset;
      ++inRun;
    }
    if (all) return OffsetRule{perStep, constant - step * Leading(seen)};
  }
  return std::nullopt;
}

void MakeOffsets(const ReferenceTrack& track, const Pictures& seen, const TrackHarvest& found,
                 TrackTimes& made) {
  if (track.offsets.empty() || found.samples == 0) return;
  const bool constant =
      std::all_of(track.offsets.begin(), track.offsets.end(),
                  [&](const OffsetRun& run) { return run.offset == track.offsets[0].offset; });
  if (found.pictures.empty()) {
    made.offsetsEstimated = !constant;
    AppendOffset(made.offsets, found.samples, track.offsets[0].offset);
    return;
  }
  const std::uint32_t step = RegularStep(track.times).value_or(MedianStep(track.times));
  const auto rule = LearnOffsets(track, step, seen);
  if (constant && !rule) {
    AppendOffset(made.offsets, found.samples, track.offsets[0].offset);
    return;
  }
  made.offsetsEstimated = !rule.has_value();
  const OffsetRule used = rule.value_or(OffsetRule{2, track.offsets[0].offset});
  const std::int64_t first = used.constant + step * Leading(found.pictures);
  Shown shown(step, used.perStep);
  for (const PictureFacts& facts : found.pictures) {
    AppendOffset(made.offsets, 1, shown.Next(facts) + first);
  }
}

}  // namespace

std::optional<std::uint32_t> RegularStep(const TimeRuns& times) {
  if (times.empty()) return std::nullopt;
  const bool shortEnd = times.size() == 2 && times[1].count == 1 && times[0].count > 1;
  if (times.size() > 1 && !shortEnd) return std::nullopt;
  return times[0].delta;
}

TrackTimes MakeTimes(const ReferenceTrack& track, const Pictures& seen, const TrackHarvest& found) {
  TrackTimes made;
  MakeSteps(track, found, made);
  MakeOffsets(track, seen, found, made);
  MakeSync(track, seen, found, made);
  return made;
}

}  // namespace clipchain::rescue
