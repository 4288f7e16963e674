// Tries to find the samples of a broken clip, by what one reference teaches.
#pragma once

#include <string>

#include "adapt/reason.h"
#include "workflow/rescue/broken_file.h"
#include "workflow/rescue/media_walk.h"
#include "workflow/rescue/model.h"
#include "workflow/rescue/reference.h"

namespace clipchain::rescue {

struct Attempt {
  Reference reference;
  Model model;
  Harvest harvest;
  BrokenMedia media;
  // It failed, as the rest of a sentence that begins with the reference's name.
  Reason why;
  bool stopped = false;
};

// Fills an attempt, which must stay where it is; `content` is EndOfContent() of the file. Whether
// samples were found.
bool Try(FileBytes& file, std::uint64_t content, const std::string& reference,
         const WalkProgress& progress, Attempt& attempt);

}  // namespace clipchain::rescue
