// The boxes of tests/golden: one file each, hexadecimal digits with comments behind '#'.
//
//   {01 02}    bytes that are dropped on reading and zero when written again
//   [FF|08]    damaged bytes, and behind the bar the sound ones they replace
//   ! E_FAIL   what parsing the damaged bytes gives
//
// A file is named for the type of its box, with '_' for a blank, and what is behind a '-' tells
// several of one type apart: "url_-location".
#pragma once

#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

#include "support/bytes.h"

namespace support {

struct Golden {
  std::string name;    // of the file, without its ending
  std::string type;    // of the box
  std::string result;  // "S_OK" unless the file says otherwise
  Bytes bytes;         // with the damage, if any
  Bytes sound;         // without it
  Bytes written;       // the sound bytes after a round trip
};

// Names the test in messages.
std::ostream& operator<<(std::ostream& out, const Golden& golden);

// Throws if the text does not keep to the form.
Golden ParseGolden(const std::string& name, const std::string& text);
// All files of tests/golden/<folder>, sorted by name.
std::vector<Golden> LoadGoldens(const std::string& folder);

}  // namespace support
