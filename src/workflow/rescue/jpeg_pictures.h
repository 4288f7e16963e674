// Finds pictures that are JPEG files (ISO/IEC 10918-1, annex B): from one marker
// to another, which stand nowhere inside.
#pragma once

#include <cstdint>
#include <optional>

#include "workflow/rescue/media_window.h"

namespace clipchain::rescue {

struct JpegPicture {
  std::uint64_t size = 0;
  // The bytes end before it does.
  bool cut = false;
  // It begins here, and is none further on.
  bool damaged = false;
  // Height and width in one; 0 where they are not told.
  std::uint32_t lines = 0;
  // Bytes that were looked through.
  std::uint64_t scanned = 0;
};

// The picture that begins there and ends in front of `end`; nothing: none does,
// or one of more than `most` bytes.
// What was cut may go on in a picture of another recording: IsWhole() tells.
std::optional<JpegPicture> JpegAt(MediaWindow& window, std::uint64_t position, std::uint64_t end,
                                  std::uint64_t most);

// Whether so many bytes are one picture from its first block to its last.
bool IsWhole(MediaWindow& window, std::uint64_t position, std::uint64_t size);

}  // namespace clipchain::rescue
