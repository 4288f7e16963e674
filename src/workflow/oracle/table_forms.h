// Checks whether the sample tables of a result are what the format asks for.
#pragma once

#include <string>
#include <vector>

#include "workflow/oracle/sample_reader.h"

namespace clipchain::samples {

struct WrongTable {
  // Of its box below "trak".
  const char* place;
  // The rest of a sentence that begins with the result's name.
  std::string text;
};

// Finds tables that do not hold what they count, in a form that there is of them, and those whose
// times, chunks or numbers are not about `count` samples in their order. A reader that believes
// another number of two that disagree would find other samples.
std::vector<WrongTable> WrongTables(const TrackView& track, Number count);

}  // namespace clipchain::samples
