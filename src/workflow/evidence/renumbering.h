// Finds folders whose clips have numbers that no camera gave.
#pragma once

#include "workflow/evidence/family.h"

namespace clipchain {

// Notes the clips of folders in which numbers fall again and again while the clock or the times of
// the files rise, or leave the way of the timecodes: somebody gave the clips other names, and
// numbers there tell nothing. Times, limits and the order by timecode must be there.
void NoteRenumbering(Family& family, const FamilyCard& card);

}  // namespace clipchain
