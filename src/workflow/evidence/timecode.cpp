#include "workflow/evidence/timecode.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>

#include "workflow/evidence/file_times.h"
#include "workflow/evidence/numbers.h"
#include "workflow/evidence/split.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

constexpr std::size_t kMostNear = 8;

// How many frames are counted from one to the other, the count of a day beginning anew at its end.
std::int64_t FramesUpTo(std::int64_t from, std::int64_t to, std::int64_t day) {
  return ((to - from) % day + day) % day;
}

std::int64_t LengthOf(const TimecodeTraits& timecode) {
  return FramesUpTo(timecode.first, timecode.earliestEnd, timecode.day);
}

// How far behind the end of a clip another one begins, in frames; a negative number where it begins
// before it. Of half a day neither is known, so the smaller one counts.
std::int64_t FramesBetween(const TimecodeTraits& before, const TimecodeTraits& behind) {
  const std::int64_t day = before.day;
  const auto distance = [&](std::int64_t end) {
    const std::int64_t forward = FramesUpTo(end, behind.first, day);
    return forward > day / 2 ? forward - day : forward;
  };
  const std::int64_t early = distance(before.earliestEnd);
  const std::int64_t late = distance(before.latestEnd);
  return std::abs(early) < std::abs(late) ? early : late;
}

bool CanCompare(const TimecodeTraits& a, const TimecodeTraits& b) {
  return a.day == b.day && a.framesPerSecond == b.framesPerSecond;
}

// Of clips that begin with the same timecode.
bool AreOfOneMoment(const Family& family, std::size_t a, std::size_t b) {
  const Moment moment = MomentOf(family.clips[a]);
  const auto& [created, timecode, length, digits] = moment;
  return (created != 0 || !digits.empty()) && moment == MomentOf(family.clips[b]) &&
         SeriesOf(family.clips[a]) != SeriesOf(family.clips[b]);
}

bool IsNumberedNext(const Family& family, std::size_t first, std::size_t second) {
  const auto& next = family.clips[first].next;
  return std::any_of(next.begin(), next.end(),
                     [=](const NextClip& other) { return other.clip == second; });
}

// Whether a clip beside it, by its number, begins with the same timecode and runs as long: what
// looks to two sides, or two cameras in step, whose clips were named anew. Which of them goes on
// with which their timecodes can't tell.
bool HasTwin(const Family& family, std::size_t clip) {
  const auto& timecode = family.Traits(clip).timecode;
  const std::vector<std::size_t> alike =
      ClipsFromTimecode(family, timecode->first, timecode->first, kMostNear);
  return std::any_of(alike.begin(), alike.end(), [&](std::size_t other) {
    return other != clip && family.clips[other].time == family.clips[clip].time &&
           family.Traits(other).length == family.Traits(clip).length &&
           (IsNumberedNext(family, other, clip) || IsNumberedNext(family, clip, other));
  });
}

// Whether nothing but the timecode lets the second clip follow.
bool AreSeparated(const Family& family, std::size_t before, std::size_t behind) {
  const ClockVerdict clock = JudgeClock(family, before, behind);
  if (clock.evidence.agrees) return !*clock.evidence.agrees && !clock.gapIsClip;
  return JudgeSplit(family, before, behind).agrees == false;
}

// Notes that timecodes count what was recorded if they run on over two clips of the card that are
// apart.
template <typename AreApart>
void NoteCountsWhere(const Family& family, FamilyCard& card, AreApart areApart) {
  if (card.timecodesAlike || card.timecodeCounts) return;
  for (const std::size_t i : card.clips) {
    const auto& timecode = family.Traits(i).timecode;
    if (!timecode) continue;
    for (const std::size_t other :
         ClipsFromTimecode(family, timecode->earliestEnd, timecode->latestEnd, kMostNear)) {
      if (other != i && areApart(i, other)) card.timecodeCounts = true;
    }
    if (card.timecodeCounts) return;
  }
}

}  // namespace

void IndexTimecodes(Family& family) {
  for (FamilyCard& card : family.cards) {
    const TimecodeTraits* first = nullptr;
    std::map<std::int64_t, std::size_t> begins;
    std::size_t count = 0;
    card.timecodesAlike = true;
    for (const std::size_t i : card.clips) {
      const auto& timecode = family.Traits(i).timecode;
      if (!timecode) continue;
      ++count;
      if (first == nullptr) first = &*timecode;
      if (timecode->first != first->first) card.timecodesAlike = false;
      family.timecodes.emplace_back(timecode->first, i);
      const auto [same, isNew] = begins.try_emplace(timecode->first, i);
      if (!isNew && !AreOfOneMoment(family, same->second, i)) card.timecodesRestart = true;
    }
    card.timecodesAlike = card.timecodesAlike && count > 1;
  }
  std::sort(family.timecodes.begin(), family.timecodes.end());
}

void NoteCountsOfRecordings(Family& family, FamilyCard& card) {
  // A clip then follows by timecode on the first ones of several recordings.
  if (card.timecodesRestart) return;
  NoteCountsWhere(family, card, [&](std::size_t before, std::size_t behind) {
    if (family.clips[before].time && family.clips[behind].time) return false;
    return NamesLeap(family, before, behind) || FileTimesPause(family, before, behind);
  });
}

void NoteCounters(Family& family) {
  for (FamilyCard& card : family.cards) {
    NoteCountsWhere(family, card, [&](std::size_t before, std::size_t behind) {
      return AreSeparated(family, before, behind);
    });
  }
}

namespace {

// Why a timecode that runs on proves nothing, if so: there are several such clips.
const char* WhyRunsOnForNothing(const Family& family, std::size_t before, std::size_t behind,
                                const ClockVerdict& clock, bool isNext) {
  const FamilyCard& card = family.CardOf(before);
  if (card.timecodeCounts && clock.evidence.agrees != true)
    return "the timecode runs on over recordings, too";
  // Clips of one length then have the same timecodes in every recording.
  if (card.timecodesRestart && !isNext) return "recordings begin with the same timecode";
  if (HasTwin(family, before) || HasTwin(family, behind))
    return "two clips at a time begin with the same timecode";
  return nullptr;
}

// Whether about as many frames are missing behind a clip as it has itself.
bool IsGapOfAClip(const Family& family, std::size_t before, std::int64_t frames) {
  const TimecodeTraits& timecode = *family.Traits(before).timecode;
  // Clips that stop after a length are all as long; those that stop at a size are so only about.
  const std::vector<Limit>& limits = family.CardOf(before).limits;
  const bool isExact = std::any_of(limits.begin(), limits.end(), [before](const Limit& limit) {
    return limit.IsLength() && limit.Has(before);
  });
  const std::int64_t slack = isExact ? 2 : 2 * timecode.framesPerSecond;
  return std::abs(frames - LengthOf(timecode)) <= slack;
}

}  // namespace

TimecodeVerdict JudgeTimecode(const Family& family, std::size_t before, std::size_t behind,
                              const ClockVerdict& clock, bool isNext) {
  TimecodeVerdict verdict;
  Evidence& evidence = verdict.evidence;
  const auto& first = family.Traits(before).timecode;
  const auto& second = family.Traits(behind).timecode;
  if (!first || !second || !CanCompare(*first, *second)) {
    evidence.text = "the clips have no timecodes that can be compared";
    return verdict;
  }
  if (family.CardOf(before).timecodesAlike || family.CardOf(behind).timecodesAlike) {
    evidence.text = "the timecodes of all clips begin alike";
    return verdict;
  }
  const std::string ahead = PrintablePath(family.clips[before].name);
  const std::string next = PrintablePath(family.clips[behind].name);
  const std::int64_t frames = FramesBetween(*first, *second);
  if (frames != 0) {
    evidence.agrees = false;
    verdict.gapIsClip = IsGapOfAClip(family, before, frames);
    evidence.text =
        fmt::format("the timecode of {} begins {} frames {} {} ends", next, std::abs(frames),
                    frames < 0 ? "before that of" : "after that of", ahead);
    return verdict;
  }
  if (const char* why = WhyRunsOnForNothing(family, before, behind, clock, isNext)) {
    evidence.text = why;
    return verdict;
  }
  evidence.agrees = true;
  evidence.text = fmt::format("the timecode of {} runs on from {}", next, ahead);
  return verdict;
}

bool TimecodeRunsOn(const Family& family, std::size_t before, std::size_t behind) {
  const auto& first = family.Traits(before).timecode;
  const auto& second = family.Traits(behind).timecode;
  return first && second && CanCompare(*first, *second) && FramesBetween(*first, *second) == 0 &&
         !family.CardOf(before).timecodesAlike && !family.CardOf(behind).timecodesAlike;
}

bool TimecodeGoesOn(const Family& family, std::size_t last) {
  const auto& timecode = family.Traits(last).timecode;
  if (!timecode || family.CardOf(last).timecodesAlike) return false;
  const std::vector<std::size_t> next =
      ClipsFromTimecode(family, timecode->earliestEnd, timecode->latestEnd, kMostNear);
  const auto mayFollow = [&](std::size_t other) {
    return other != last && JudgeClock(family, last, other).evidence.agrees != false;
  };
  if (std::any_of(next.begin(), next.end(), mayFollow)) return true;
  if (!next.empty() || !family.CardOf(last).timecodeCounts) return false;
  // Frames were counted that no clip has: the next clip of the card begins where one more would
  // end.
  const auto later = std::lower_bound(family.timecodes.begin(), family.timecodes.end(),
                                      std::pair(timecode->latestEnd + 1, std::size_t{0}));
  return later != family.timecodes.end() &&
         later->first <= timecode->latestEnd + LengthOf(*timecode) + 2 * timecode->framesPerSecond;
}

bool NumbersLeaveTimecodes(const Family& family, const FamilyCard& card,
                           const std::vector<std::size_t>& clips) {
  if (!card.timecodesRestart || card.timecodesAlike) return false;
  std::set<std::int64_t> ends;
  for (const std::size_t i : card.clips) {
    if (const auto& code = family.Traits(i).timecode)
      ends.insert({code->earliestEnd, code->latestEnd});
  }
  const auto leaves = [&](std::size_t i, const NextClip& next) {
    const auto& code = family.Traits(i).timecode;
    const auto& other = family.Traits(next.clip).timecode;
    // The same chapter of the next recording.
    const std::string series = SeriesOf(family.clips[i]);
    if (!next.isChapter && (card.chaptered.contains(series) || EachBeginsRecording(card, series)))
      return false;
    return code && other && CanCompare(*code, *other) && ends.contains(other->first) &&
           other->first != code->earliestEnd && other->first != code->latestEnd;
  };
  return std::any_of(clips.begin(), clips.end(), [&](std::size_t i) {
    const std::vector<NextClip>& next = family.clips[i].next;
    return std::any_of(next.begin(), next.end(),
                       [&](const NextClip& other) { return leaves(i, other); });
  });
}

}  // namespace clipchain
