// Reads headers of boxes off a file.
#pragma once

#include <optional>

#include "adapt/boxes/box_header.h"
#include "workflow/system/file_bytes.h"

namespace clipchain {

// The header at that byte of the file; nothing where the file ends within it, or can't be read.
std::optional<BoxHeader> ReadBoxHeader(FileBytes& file, unsigned long long position);

}  // namespace clipchain
