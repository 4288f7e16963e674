// Holds the clips of one description, and what is known of them together: what the kinds of
// evidence are judged by.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "workflow/evidence/clip_traits.h"

namespace clipchain {

// What the creation time of a clip is the time of.
enum class ClockCustom {
  // No clip is continued under any custom.
  kUnknown,
  // Its first picture.
  kStart,
  // Its last one.
  kEnd,
  // The first picture of the recording, in all of its clips.
  kOne,
  // Several customs explain the clips equally well, and not alike.
  kTied
};

// Where a camera begins a new clip. Clips between both bounds stop there.
struct Limit {
  enum class Kind { kCommonSize, kMinutes, kSharedLength, kSharedSize, kWideSize };
  Kind kind = Kind::kCommonSize;
  // In bytes, or in billionths of a second.
  std::int64_t least = 0;
  std::int64_t most = 0;
  // "4 GiB".
  std::string words{};
  // Of the card that stop there, in their order.
  std::vector<std::size_t> clips{};

  // Many cameras have it.
  bool IsCommon() const { return kind == Kind::kCommonSize || kind == Kind::kMinutes; }
  bool IsLength() const { return kind == Kind::kMinutes || kind == Kind::kSharedLength; }
  bool Has(std::size_t clip) const { return std::binary_search(clips.begin(), clips.end(), clip); }
};

// A value at one place, in the clips of one card.
struct ValueFacts {
  std::vector<std::size_t> clips{};
  // Of the clips: those that stop at no limit.
  std::size_t ends = 0;
  // Of the clips: those whose number is followed by that of another one.
  std::size_t followed = 0;
};
struct PlaceFacts {
  std::unordered_map<std::string, ValueFacts> values{};
  // Clips that belong together by other evidence share a value.
  bool formsRecordings = false;
};

// Clips of one description on one card.
struct FamilyCard {
  unsigned int volume = 0;
  std::vector<std::size_t> clips{};
  std::vector<Limit> limits{};
  ClockCustom custom = ClockCustom::kUnknown;
  // Those that it may be: where it is known, that one.
  std::vector<ClockCustom> customs{};
  // All clips have one time, so that nothing shows that the clock moves.
  bool isOfOneTime = false;
  // And all but the shortest one stand in pairs of one length: what looks to two sides makes such
  // if the last clip of one side is lost.
  bool mayLackOneSide = false;
  // All begin with the same one.
  bool timecodesAlike = false;
  // Clips of several moments begin with the same one.
  bool timecodesRestart = false;
  // It runs on over clips that everything else separates.
  bool timecodeCounts = false;
  // What looks to two sides makes two clips at a time, of names that other letters tell apart.
  bool isTwofold = false;
  // Series of names in which chapters are counted beside recordings.
  std::set<std::string> chaptered{};
  // Series in which each clip begins a recording, as 0034, and those that count its later chapters
  // beside them, as 010034.
  std::set<std::string> firstChapters{};
  std::set<std::string> laterChapters{};
  std::unordered_map<std::string, PlaceFacts> places{};
};

// A clip that another one's name makes the next one.
struct NextClip {
  std::size_t clip = 0;
  bool isChapter = false;
};

struct FamilyClip {
  const ClipTraits* traits = nullptr;
  // What it is an end of: a clip alone, or a sequence that is open.
  std::size_t unit = 0;
  bool mayFollow = true;
  bool mayBeFollowed = true;
  std::size_t card = 0;
  std::string folder{};
  std::string name{};
  // Folders and names of others of it.
  std::vector<std::pair<std::string, std::string>> copies{};
  // In seconds; nothing where the creation time says nothing.
  std::optional<std::int64_t> time{};
  // At a limit of its card.
  bool stops = false;
  // The numbers in its folder follow no camera's order.
  bool isRenumbered = false;
  // Its series holds clips of two cameras.
  bool isOfSharedSeries = false;
  // The times of the files in its folder may be those at which they were recorded.
  bool isWrittenInTime = false;
  // By number.
  std::vector<NextClip> next{};
  // With a number between.
  std::vector<NextClip> nextButOne{};
};

// Clips by the moment at which they would have to begin for one to continue the other.
class ClockIndex {
 public:
  ClockIndex() = default;
  ClockIndex(const std::vector<FamilyClip>& clips, ClockCustom custom);

  // Clips that begin within 2 s of that moment; none where there are more than `most`.
  std::vector<std::size_t> Near(Nanoseconds moment, std::size_t most) const;

 private:
  std::vector<std::pair<Nanoseconds, std::size_t>> begins_;
};

struct Family {
  std::vector<FamilyClip> clips;
  std::vector<FamilyCard> cards;
  // By the custom that they follow: kStart, kEnd.
  std::map<ClockCustom, ClockIndex> clock;
  // By the first timecode.
  std::vector<std::pair<std::int64_t, std::size_t>> timecodes;

  const ClipTraits& Traits(std::size_t clip) const { return *clips[clip].traits; }
  const FamilyCard& CardOf(std::size_t clip) const { return cards[clips[clip].card]; }
};

// Fills in what follows from the clips together: cards, numbers, times, limits, customs. The clips
// have their traits, unit and what they may do.
Family MakeFamily(std::vector<FamilyClip> clips);

// The clips that begin with a timecode from `earliest` to `latest`, between which the count may
// begin anew; none where there are more than `most`.
std::vector<std::size_t> ClipsFromTimecode(const Family& family, std::int64_t earliest,
                                           std::int64_t latest, std::size_t most);

}  // namespace clipchain
