#include "workflow/evidence/split.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "workflow/system/files.h"

namespace clipchain {

namespace {

constexpr std::int64_t kMebibyte = std::int64_t{1} << 20;
constexpr std::int64_t kGibibyte = std::int64_t{1} << 30;
// How far below a bound of its size a clip may stop: pictures that depend on one another stay
// together.
constexpr std::int64_t kSizeSlack = 64 * kMebibyte;

struct Bound {
  std::int64_t value;
  const char* words;
};
constexpr Bound kSizes[] = {
    {2 * kGibibyte, "2 GiB"}, {4'000'000'000, "4 GB"}, {4 * kGibibyte, "4 GiB"}};
constexpr std::int64_t kMinutes[] = {1, 2, 3, 5, 10, 15, 20, 30};

// What the clips of a card measure.
struct Measures {
  // In bytes.
  std::int64_t largest = 0;
  // 0: no length is known.
  Nanoseconds longest = 0;
  // Of the longest clip.
  Nanoseconds frame = 0;
  // Bytes of the largest clip.
  std::int64_t perSecond = 0;
};

Measures MeasuresOf(const std::vector<FamilyClip>& clips, const std::vector<std::size_t>& card) {
  Measures all;
  for (const std::size_t i : card) {
    const ClipTraits& clip = *clips[i].traits;
    const Nanoseconds length = clip.length.value_or(0);
    if (clip.size > all.largest) {
      all.largest = clip.size;
      all.perSecond = length < kSecond ? clip.size : clip.size / (length / kSecond);
    }
    if (length > all.longest) {
      all.longest = length;
      all.frame = clip.frame;
    }
  }
  return all;
}

bool StopsAt(const Limit& limit, const ClipTraits& clip) {
  if (!limit.IsLength()) return clip.size >= limit.least && clip.size <= limit.most;
  if (!clip.length) return false;
  // Within one picture, as long as it takes in this clip.
  const Nanoseconds slack = limit.kind == Limit::Kind::kMinutes ? clip.frame : 0;
  return *clip.length >= limit.least - slack && *clip.length <= limit.most + slack;
}

bool Exceeds(const Limit& limit, const ClipTraits& clip) {
  if (!limit.IsLength()) return clip.size > limit.most;
  return clip.length && *clip.length > limit.most + clip.frame;
}

// Whether clips of one size may stop there because of it: they run about as long, too. Clips of no
// size to speak of have none in common.
bool IsSizeOfClips(const Limit& limit, const std::vector<FamilyClip>& clips) {
  constexpr std::int64_t kLeast = 64 * kMebibyte;
  constexpr int kMostTimes = 2;
  if (limit.most < kLeast) return false;
  Nanoseconds shortest = std::numeric_limits<Nanoseconds>::max();
  Nanoseconds longest = 0;
  for (const std::size_t i : limit.clips) {
    if (!clips[i].traits->length) continue;
    shortest = std::min(shortest, *clips[i].traits->length);
    longest = std::max(longest, *clips[i].traits->length);
  }
  return longest / kMostTimes <= shortest;
}

std::string LengthWords(Nanoseconds length) {
  return fmt::format("{:.2f} s", static_cast<double>(length) / kSecond);
}

}  // namespace

std::vector<Limit> LimitsOf(const std::vector<FamilyClip>& clips,
                            const std::vector<std::size_t>& card) {
  using Kind = Limit::Kind;
  const Measures all = MeasuresOf(clips, card);
  std::vector<Limit> limits;
  for (const Bound& bound : kSizes) {
    if (all.largest <= bound.value)
      limits.push_back({Kind::kCommonSize, bound.value - kSizeSlack, bound.value, bound.words});
  }
  for (const std::int64_t minutes : kMinutes) {
    const Nanoseconds length = minutes * 60 * kSecond;
    if (all.longest <= length + all.frame)
      limits.push_back({Kind::kMinutes, length, length, fmt::format("{} min", minutes)});
  }
  if (all.longest != 0)
    limits.push_back(
        {Kind::kSharedLength, all.longest - all.frame, all.longest, LengthWords(all.longest)});
  const std::int64_t near = std::min(kSizeSlack, all.perSecond);
  limits.push_back(
      {Kind::kSharedSize, all.largest - near, all.largest, fmt::format("{} bytes", all.largest)});
  if (near < kSizeSlack && all.largest >= kGibibyte)
    limits.push_back({Kind::kWideSize, all.largest - kSizeSlack, all.largest,
                      fmt::format("{} bytes", all.largest)});
  std::vector<Limit> found;
  for (Limit& limit : limits) {
    for (const std::size_t i : card) {
      if (StopsAt(limit, *clips[i].traits)) limit.clips.push_back(i);
    }
    const std::size_t least = limit.IsCommon() ? 1 : limit.kind == Kind::kWideSize ? 3 : 2;
    const bool isShared = limit.kind == Kind::kSharedSize || limit.kind == Kind::kWideSize;
    if (isShared && !IsSizeOfClips(limit, clips)) continue;
    if (limit.clips.size() >= least) found.push_back(std::move(limit));
  }
  return found;
}

Evidence JudgeSplit(const Family& family, std::size_t before, std::size_t behind) {
  Evidence evidence{EvidenceKind::kSplit};
  const ClipTraits& first = family.Traits(before);
  const ClipTraits& second = family.Traits(behind);
  const std::string name = PrintablePath(family.clips[before].name);
  const Limit* exceeded = nullptr;
  for (const Limit& limit : family.CardOf(before).limits) {
    if (!StopsAt(limit, first)) continue;
    if (Exceeds(limit, second)) {
      exceeded = &limit;
      continue;
    }
    evidence.agrees = true;
    evidence.text = fmt::format("{} stops at a limit of {}", name, limit.words);
    return evidence;
  }
  if (exceeded != nullptr) {
    evidence.agrees = false;
    evidence.text = fmt::format("{} exceeds the limit of {} that {} stops at",
                                PrintablePath(family.clips[behind].name), exceeded->words, name);
    return evidence;
  }
  if (!first.length) {
    evidence.text = fmt::format("how long {} runs is not known", name);
    return evidence;
  }
  evidence.agrees = false;
  evidence.text = fmt::format("{} stops at no limit, after {}", name, LengthWords(*first.length));
  return evidence;
}

}  // namespace clipchain
