// Finds folders whose clips have numbers that no camera gave.
#pragma once

#include "workflow/evidence/family.h"

namespace clipchain {

// Notes the clips of folders in which numbers fall again and again while the clock or the times of
// the files rise, or leave the way of the timecodes: somebody gave the clips other names, and
// numbers there tell nothing. Times, limits and the order by timecode must be there. Notes the
// folders, too, of which the times of files may be believed.
void NoteRenumbering(Family& family, const FamilyCard& card);

// Notes the series in which two clips were recorded at a time: no camera does that, so that a
// number that runs on may lead from the clip of one to that of another. Where all clips of a
// recording have one time: those in which recordings are mixed. The custom of the clock must be
// known.
void NoteSharedSeries(Family& family, const FamilyCard& card);

}  // namespace clipchain
