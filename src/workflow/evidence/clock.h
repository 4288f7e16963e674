// Judges by creation times: they and the lengths of clips run on.
#pragma once

#include <cstdint>
#include <optional>

#include "workflow/evidence/family.h"
#include "workflow/proposals.h"

namespace clipchain {

// How far the clock of clips that run on may be off: it counts whole seconds.
inline constexpr Nanoseconds kClockSlack = 2 * kSecond;

// A creation time that says when a clip was made. Nothing for what a clock shows that was never
// set: nothing at all, the years in which formats and systems begin to count, the first hour of a
// year.
std::optional<std::int64_t> UsableTime(std::uint64_t created);

// The moment at which the clip begins by a custom, and the one at which it ends, which is also when
// the next one begins. Of the custom kOne: that of the recording. Nothing where it is not known.
std::optional<Nanoseconds> BeginOf(const FamilyClip& clip, ClockCustom custom);
std::optional<Nanoseconds> EndOf(const FamilyClip& clip, ClockCustom custom);

// Notes the custom under which most clips of the card that stop at a limit are continued.
void NoteCustom(const Family& family, FamilyCard& card);

struct ClockVerdict {
  Evidence evidence{EvidenceKind::kClock};
  ClockCustom custom = ClockCustom::kUnknown;
  // What is missing between both clips is as long as the first one.
  bool gapIsClip = false;
  // The second clip's time is the later one.
  bool rises = false;
  // It says nothing because several clips begin where the first one ends.
  bool isAmbiguous = false;
};

ClockVerdict JudgeClock(const Family& family, std::size_t before, std::size_t behind);

}  // namespace clipchain
