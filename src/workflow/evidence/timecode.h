// Judges by timecodes: the next clip's first one follows the last one's end.
#pragma once

#include "workflow/evidence/clock.h"
#include "workflow/evidence/family.h"
#include "workflow/proposals.h"

namespace clipchain {

// Fills in the order by timecode, and the cards on which timecodes begin alike.
void IndexTimecodes(Family& family);

// Notes the cards without a clock on which timecodes run on where the numbers, or times of files
// that may be believed, leave something out: they count what was recorded. The custom of the clock
// must be known.
void NoteCountsOfRecordings(Family& family, FamilyCard& card);

// Notes the cards on which timecodes run on over clips that clock and split keep apart: they count
// what was recorded, and every clip follows on another one. Customs and limits must be there.
void NoteCounters(Family& family);

struct TimecodeVerdict {
  Evidence evidence{EvidenceKind::kTimecode};
  // As many frames are missing as the first clip has, within 2 s.
  bool gapIsClip = false;
};

// `isNext`: the clock or the numbers say so.
TimecodeVerdict JudgeTimecode(const Family& family, std::size_t before, std::size_t behind,
                              const ClockVerdict& clock, bool isNext);

// Whether the second clip's timecode is the one behind the first clip's, on a card where that tells
// anything.
bool TimecodeRunsOn(const Family& family, std::size_t before, std::size_t behind);

// Whether a clip should follow: frames are counted that no clip has.
bool TimecodeGoesOn(const Family& family, std::size_t last);

// Whether a number runs on to a clip of a card whose timecode runs on from another clip: then
// somebody gave the numbers of these clips, all of one folder. Where recordings begin with the same
// timecode alone.
bool NumbersLeaveTimecodes(const Family& family, const FamilyCard& card,
                           const std::vector<std::size_t>& clips);

}  // namespace clipchain
