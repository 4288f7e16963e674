// Tells what a file is by its top level, whatever its name.
#pragma once

#include <vector>

#include "workflow/boxes/top_level.h"
#include "workflow/system/file_bytes.h"

namespace clipchain {

struct ClipLayout {
  // Boxes fill the file, but for zeros behind them, and a movie or fragments are among them.
  bool isClip = false;
  // What is inside of the media boxes, in the order of the file.
  std::vector<Extent> media;
};

// Reads the headers at the top level. A file that can't be read is no clip; `file` has the error.
ClipLayout ReadClipLayout(FileBytes& file);

}  // namespace clipchain
