// The top level of a merged file, read box by box.
#pragma once

#include <string>

#include "workflow/system/file_bytes.h"

namespace clipchain {

struct Extent {
  unsigned long long position = 0;
  unsigned long long size = 0;
};

struct TopLevel {
  Extent media;  // what is inside the media box
  Extent movie;  // the whole movie box

  // Fills both. What is wrong, as the rest of a sentence that begins with the file's name, if the
  // boxes do not fill the file or are not those of a merged file: a file type, a media box and a
  // movie box behind it, with nothing but free space beside them. Empty if all is well.
  std::string Read(FileBytes& file);
};

}  // namespace clipchain
