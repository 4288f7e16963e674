#include "workflow/evidence/chance_limits.h"

#include <algorithm>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "workflow/evidence/clock.h"
#include "workflow/evidence/numbers.h"
#include "workflow/evidence/timecode.h"

namespace clipchain {

namespace {

// A moment at which more clips begin tells nothing about which of them follows.
constexpr std::size_t kMostFollowers = 8;

// How the clips of a card that stop at no limit are continued.
struct Elsewhere {
  // How many of them are followed by another clip.
  std::size_t followed = 0;
  // Clocks or timecodes show what follows, and not names alone.
  bool isTimed = false;
};

// How the clips that stop at one limit are continued.
struct FollowUps {
  // At which clips stop there: what looks to two sides makes two clips at each.
  std::size_t moments = 0;
  // Of those: how many are followed by another clip.
  std::size_t followed = 0;
  // Clocks, timecodes or identities show what follows, and not names alone.
  bool isTimed = false;
  // The only two clips at the limit follow one another by the clock.
  bool isPair = false;
};

// How many moments clips are of, those of one series left apart: they may have no times.
std::size_t CountMoments(const Family& family, const std::vector<std::size_t>& clips) {
  std::map<Moment, std::map<std::string, std::size_t>> moments;
  for (const std::size_t i : clips) ++moments[MomentOf(family.clips[i])][SeriesOf(family.clips[i])];
  std::size_t count = 0;
  for (const auto& [moment, series] : moments) {
    std::size_t most = 0;
    for (const auto& [name, members] : series) most = std::max(most, members);
    count += most;
  }
  return count;
}

bool IsTimed(const FamilyCard& card) {
  return card.custom != ClockCustom::kUnknown && card.custom != ClockCustom::kTied;
}

std::vector<std::size_t> FollowersByTimecode(const Family& family, std::size_t i) {
  const auto& timecode = family.Traits(i).timecode;
  if (!timecode) return {};
  auto found =
      ClipsFromTimecode(family, timecode->earliestEnd, timecode->latestEnd, kMostFollowers);
  std::erase(found, i);
  return found;
}

// Under a custom that gives one time to all clips of a recording these have that one, too.
std::vector<std::size_t> FollowersByName(const Family& family, std::size_t i) {
  const FamilyClip& clip = family.clips[i];
  const bool isOfRecording = family.CardOf(i).custom == ClockCustom::kOne && clip.time;
  std::vector<std::size_t> found;
  for (const NextClip& next : clip.next) {
    if (!isOfRecording || family.clips[next.clip].time == clip.time) found.push_back(next.clip);
  }
  return found;
}

// The clips that continue a clip: by the first sign that says anything, and a clock says most.
std::vector<std::size_t> Followers(const Family& family, std::size_t i) {
  const FamilyCard& card = family.CardOf(i);
  const bool tellsMoments = card.custom == ClockCustom::kStart || card.custom == ClockCustom::kEnd;
  if (const auto end = EndOf(family.clips[i], card.custom); tellsMoments && end) {
    std::vector<std::size_t> found = family.clock.at(card.custom).Near(*end, kMostFollowers);
    std::erase(found, i);
    return found;
  }
  const bool hasCode = family.Traits(i).timecode && !card.timecodesAlike;
  if (hasCode && !IsTimed(card)) return FollowersByTimecode(family, i);
  std::vector<std::size_t> found = FollowersByName(family, i);
  return found.empty() ? FollowersByTimecode(family, i) : found;
}

// Places of values by which some clips of a card belong together and others do not.
class ValuePlaces {
 public:
  ValuePlaces(const Family& family, const FamilyCard& card) {
    std::map<std::string, std::map<std::string, std::size_t>> places;
    for (const std::size_t i : card.clips) {
      for (const PlacedValue& value : family.Traits(i).values) ++places[value.place][value.value];
    }
    for (const auto& [place, values] : places) {
      if (values.size() > 1 && std::any_of(values.begin(), values.end(),
                                           [](const auto& value) { return value.second > 1; }))
        places_.insert(place);
    }
  }

  // Whether both have a value at one of them: the same one, if `equal`, or different ones.
  bool Compare(const ClipTraits& a, const ClipTraits& b, bool equal) const {
    return std::any_of(a.values.begin(), a.values.end(), [&](const PlacedValue& own) {
      const auto isThere = [&](const PlacedValue& other) {
        return other.place == own.place && (other.value == own.value) == equal;
      };
      return places_.contains(own.place) && std::any_of(b.values.begin(), b.values.end(), isThere);
    });
  }

 private:
  std::set<std::string> places_;
};

std::size_t CountBoth(const Limit& limit, const Limit& other) {
  return static_cast<std::size_t>(
      std::count_if(limit.clips.begin(), limit.clips.end(),
                    [&other](std::size_t clip) { return other.Has(clip); }));
}

// Whether a size that clips share is no limit: a length is why some of them stop, and the others
// are as large by chance.
bool IsOfOtherLimit(const FamilyCard& card, const Limit& limit) {
  if (limit.IsCommon() || limit.IsLength()) return false;
  const std::size_t all = limit.clips.size();
  return std::any_of(card.limits.begin(), card.limits.end(), [&](const Limit& other) {
    if (!other.IsLength()) return false;
    const std::size_t both = CountBoth(limit, other);
    // Clips that all have both say nothing about which of them is the limit.
    if (both == 0 || both == all) return false;
    // Two clips of one length and size are soon there; two of a whole minute are not.
    const bool explainsHalf = 2 * both >= all && (other.kind == Limit::Kind::kMinutes || both > 2);
    const bool stopsOtherSizes = other.clips.size() - both >= 2;
    return explainsHalf || stopsOtherSizes;
  });
}

// Whether all seconds of these clips weigh the same, so that those of one size are about as long,
// too: then some have one length because of the size, and not the other way round.
bool AreOfEvenRate(const Family& family, const Limit& limit) {
  Nanoseconds shortest = std::numeric_limits<Nanoseconds>::max();
  Nanoseconds longest = 0;
  for (const std::size_t i : limit.clips) {
    const Nanoseconds length = family.Traits(i).length.value_or(0);
    shortest = std::min(shortest, length);
    longest = std::max(longest, length);
  }
  // As far as clips of a shared size are apart.
  return longest - shortest <= kSecond;
}

Elsewhere ElsewhereOn(const Family& family, const FamilyCard& card, const ValuePlaces& places) {
  Elsewhere elsewhere;
  for (const std::size_t i : card.clips) {
    if (family.clips[i].stops) continue;
    std::vector<std::size_t> followers = Followers(family, i);
    // Names run on over recordings; where no clock tells these apart, values may.
    if (!IsTimed(card)) {
      std::erase_if(followers, [&](std::size_t other) {
        return places.Compare(family.Traits(i), family.Traits(other), false);
      });
    }
    if (!followers.empty()) ++elsewhere.followed;
  }
  // A timecode runs on over recordings, too, where it counts what was recorded.
  const auto hasCode = [&](std::size_t i) { return family.Traits(i).timecode.has_value(); };
  const bool codesTell = elsewhere.followed == 0 && !card.timecodesAlike && !card.timecodeCounts &&
                         std::all_of(card.clips.begin(), card.clips.end(), hasCode);
  elsewhere.isTimed = IsTimed(card) || codesTell;
  return elsewhere;
}

// Whether a limit is one of the camera's, and no chance: few clips of one length prove little where
// recordings are begun anew at once, whatever their length.
bool IsTrusted(const Limit& limit, const FollowUps& ups, const Elsewhere& elsewhere) {
  const std::size_t count = ups.moments;
  const bool explains = ups.followed > elsewhere.followed;
  switch (limit.kind) {
    // Of the lengths and sizes that clips have by chance next to none are these.
    case Limit::Kind::kCommonSize:
    case Limit::Kind::kMinutes:
      return true;
    // Two clips of one length are soon there, three are not.
    case Limit::Kind::kSharedLength:
      return count == 2 ? explains && (ups.followed == 2 || ups.isPair)
                        : count > 2 && ups.followed >= 2;
    // Sizes are alike only about, so that names alone do not tell what follows.
    case Limit::Kind::kSharedSize:
      return count >= 2 && ups.isTimed && ups.followed >= 2 && (count > 2 || explains);
    // About any clips of a card can be alike so far: one that is begun anew at once proves nothing,
    // and one of them alone may be the end of a recording.
    case Limit::Kind::kWideSize:
      return ups.isTimed && ups.followed >= 2 && ups.followed + 1 >= count &&
             elsewhere.followed == 0;
  }
  return false;
}

FollowUps FollowUpsAt(const Family& family, const Limit& limit, const ValuePlaces& places,
                      const Elsewhere& elsewhere) {
  FollowUps ups;
  std::vector<std::size_t> followed;
  // By values that tell recordings apart.
  std::size_t told = 0;
  for (const std::size_t i : limit.clips) {
    const std::vector<std::size_t> followers = Followers(family, i);
    if (!followers.empty()) followed.push_back(i);
    const bool isTold = std::any_of(followers.begin(), followers.end(), [&](std::size_t other) {
      return places.Compare(family.Traits(i), family.Traits(other), true);
    });
    if (isTold) ++told;
    const bool isFollowedThere =
        std::any_of(followers.begin(), followers.end(),
                    [&limit](std::size_t other) { return limit.Has(other); });
    if (limit.clips.size() == 2 && family.clips[i].time && isFollowedThere) ups.isPair = true;
  }
  ups.moments = CountMoments(family, limit.clips);
  ups.followed = CountMoments(family, followed);
  // As values do where all that follows has the value of the clip ahead of it.
  ups.isTimed = elsewhere.isTimed || (told >= 2 && told == followed.size());
  return ups;
}

}  // namespace

void DropChanceLimits(Family& family, FamilyCard& card) {
  const ValuePlaces places(family, card);
  const Elsewhere elsewhere = ElsewhereOn(family, card, places);
  std::erase_if(card.limits, [&](const Limit& limit) {
    return !IsTrusted(limit, FollowUpsAt(family, limit, places, elsewhere), elsewhere);
  });
  // Each is held against the lengths that are left, so none goes before all are judged.
  std::vector<Limit> trusted;
  for (const Limit& limit : card.limits) {
    if (AreOfEvenRate(family, limit) || !IsOfOtherLimit(card, limit)) trusted.push_back(limit);
  }
  card.limits = std::move(trusted);
}

}  // namespace clipchain
