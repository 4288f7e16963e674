// Checks whether the sample tables of a result are what the format asks for.
#pragma once

#include <string>
#include <vector>

#include "workflow/merging/sample_reader.h"

namespace clipchain::samples {

struct WrongTable {
  const char* place;  // of its box below "trak"
  std::string text;   // the rest of a sentence that begins with the result's name
};

// Finds tables that do not hold what they count, in a form that there is of them, and those whose
// times, chunks or numbers are not about `count` samples in their order. A reader that believes
// another number of two that disagree would find other samples.
std::vector<WrongTable> WrongTables(const TrackView& track, Number count);

}  // namespace clipchain::samples
