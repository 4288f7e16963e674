// Reads the top level of a merged file, box by box.
#pragma once

#include <string>

#include "adapt/reason.h"
#include "workflow/system/file_bytes.h"

namespace clipchain {

struct Extent {
  unsigned long long position = 0;
  unsigned long long size = 0;
};

// How the parts of a merged file lie in it.
struct Layout {
  // Of the box that tells a reader of `block`, which is its body: a free box of that size directly
  // ahead of the media box.
  static constexpr unsigned int kBlockNote = 12;

  // The movie box stands ahead of the media, so that who gets the file piece by piece can begin.
  bool movieInFront = false;
  // The media of each clip begins at the same place modulo that many bytes as in the clip, so that
  // a file system can share its blocks; a power of two. 0: the media of one clip begins where that
  // of the one before ends.
  unsigned int block = 0;

  bool operator==(const Layout&) const = default;
};

struct TopLevel {
  // What is inside the media box.
  Extent media;
  // The whole movie box.
  Extent movie;
  // What the file says its layout is, which nobody has proved.
  Layout layout;

  // Fills all. What is wrong, as the rest of a sentence that begins with the file's name, if the
  // boxes do not fill the file or are not those of a merged file: a file type, a media box and a
  // movie box behind it or ahead of it, with nothing but free space beside them.
  [[nodiscard]] Reason Read(FileBytes& file);
};

}  // namespace clipchain
