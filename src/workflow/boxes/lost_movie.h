// Tells by the boxes of a file whether it is a clip whose movie box was lost.
#pragma once

#include "adapt/boxes/box_header.h"
#include "workflow/system/file_bytes.h"

namespace clipchain {

// Whether it has media, or what stands where media may, and neither a whole movie box nor
// fragments. Media is known by its box; where the head of that was lost, by what no box begins
// with.
bool LacksMovie(FileBytes& file);

// Whether zeros stand in place of the tables of a track in a movie box that is whole by its size.
bool IsBlankMovie(FileBytes& file, unsigned long long position, const BoxHeader& movie);

}  // namespace clipchain
