// What stands around the media of a result, byte for byte.
#pragma once

#include <optional>
#include <string>

#include "workflow/boxes/top_level.h"
#include "workflow/merging/expected_file.h"
#include "workflow/system/file_bytes.h"

namespace clipchain {

struct ByteFault {
  std::string text;  // the rest of a sentence that begins with the output's name
  unsigned long long offset;
};

// Compares everything but the media with what was expected, which is finished. The first
// difference, if there is one.
std::optional<ByteFault> CompareAroundMedia(FileBytes& output, const TopLevel& boxes,
                                            const ExpectedFile& expected);

}  // namespace clipchain
