// Judges by names: a number in them runs on.
#pragma once

#include <cstdint>
#include <string>
#include <tuple>

#include "workflow/evidence/clock.h"
#include "workflow/evidence/family.h"
#include "workflow/proposals.h"

namespace clipchain {

struct NumbersVerdict {
  Evidence evidence{EvidenceKind::kNumbers};
  // The number between both is left out.
  bool skipsOne = false;
  // What runs on counts the chapters of a recording.
  bool isChapter = false;
  // The names are those of two recordings.
  bool areApart = false;
};

// `clock` is what it says of the two: the number of a later clip should not be lower.
NumbersVerdict JudgeNumbers(const Family& family, std::size_t before, std::size_t behind,
                            const ClockVerdict& clock);

// Whether the names of two clips of one series leave clips out in between, or are those of two
// recordings, if nothing but the numbers can tell.
bool NamesLeap(const Family& family, std::size_t before, std::size_t behind);

// Whether the second clip is a later chapter of the first one's recording, by its name.
bool IsNextChapter(const Family& family, std::size_t before, std::size_t behind);

// The name with its numbers left out: what the clips of one series have in common.
std::string SeriesOf(const FamilyClip& clip);

// Created, first timecode, length and the digits of the name: equal in clips that were recorded at
// once by what looks to two sides. -1 where one is not known.
using Moment = std::tuple<std::uint64_t, std::int64_t, Nanoseconds, std::string>;
Moment MomentOf(const FamilyClip& clip);

// Notes the series of names that count chapters, and those that begin what others count. The
// numbers must be there.
void NoteChapters(Family& family);

// Whether clips of that series are each of another recording, by their names.
bool EachBeginsRecording(const FamilyCard& card, const std::string& series);

// Notes the cards with clips of one moment in two series.
void NoteTwofold(Family& family);

}  // namespace clipchain
