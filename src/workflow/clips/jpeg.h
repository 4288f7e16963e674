// Finds out whether bytes are a picture, and how large it is.
#pragma once

#include <optional>

namespace clipchain {

// A baseline or progressive JPEG stream (ISO/IEC 10918-1, annex B).
struct JpegExtent {
  // Bytes from the start of image to the end of image, both included.
  unsigned int length;
  // Pixels.
  unsigned int width;
  unsigned int height;
};

// The picture that begins with the first byte. Nothing if the bytes are no JPEG stream, or one that
// is cut short, has no size or no scan. Bytes behind its end are no part of it. Compressed data is
// passed over and not decoded.
std::optional<JpegExtent> FindJpeg(const unsigned char* bytes, unsigned int count);

}  // namespace clipchain
