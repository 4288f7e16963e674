// Judges by where clips stop: a camera that goes on in a new file does so at a limit.
#pragma once

#include "workflow/evidence/family.h"
#include "workflow/proposals.h"

namespace clipchain {

// The limits that clips of a card stop at and none of them exceeds: common ones, and what two or
// more of them share.
std::vector<Limit> LimitsOf(const std::vector<FamilyClip>& clips,
                            const std::vector<std::size_t>& card);

// How clips that stop somewhere are continued by the clock.
struct FollowUps {
  // At which clips stop at the limit: what looks to two sides makes two clips at each.
  std::size_t moments = 0;
  // Of those: how many are followed by another clip.
  std::size_t followed = 0;
  // Of those that stop at no limit at all.
  std::size_t elsewhere = 0;
  // Clocks, timecodes or identities show what follows, and not names alone.
  bool isTimed = false;
  // The only clips at the limit follow one another by the clock.
  bool isPair = false;
};

// Whether a limit is one of the camera's, and no chance: few clips of one length prove little where
// recordings are begun anew at once, whatever their length.
bool IsTrusted(const Limit& limit, const FollowUps& ups);

// Whether the first clip stops at a limit that the second does not exceed.
Evidence JudgeSplit(const Family& family, std::size_t before, std::size_t behind);

}  // namespace clipchain
