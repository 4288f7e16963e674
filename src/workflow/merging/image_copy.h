// Copies or shares the media of clips into a result of any layout.
#pragma once

#include <string>
#include <vector>

#include "workflow/boxes/top_level.h"
#include "workflow/finding.h"
#include "workflow/merging/copy_progress.h"
#include "workflow/merging/image_writer.h"
#include "workflow/merging/watermark.h"
#include "workflow/reflink.h"
#include "workflow/system/part_file.h"

namespace clipchain {

class Companion;
class Fit;

struct ImageCopyTask {
  const std::vector<std::string>& inputs;
  // null: nothing is adapted.
  const Fit* fit;
  Reflink reflink;
  // As findings name it.
  const std::string& output;
  // Empty.
  PartFile& part;
  CopyProgress& progress;
  // Raised while the image is written that was there before; null: nobody follows.
  Watermark* mark = nullptr;
  // Sees what is copied; null: nobody does.
  Companion* companion = nullptr;
};

struct ImageCopy {
  // Why there is no image of these clips, or why blocks can't be shared.
  Findings findings{};
  // Why the image was not written to its end.
  WriteFault fault{};
  // Bytes that the result shares with clips.
  long long shared = 0;
};

// Writes the image of a result of that layout, which becomes another one where media is shared. An
// image without pieces is made anew. Nothing is found, and there is no fault, where all is written.
ImageCopy CopyImage(const ImageCopyTask& task, Layout layout, MergeImage& image);

}  // namespace clipchain
