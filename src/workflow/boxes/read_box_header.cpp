#include "workflow/boxes/read_box_header.h"

namespace clipchain {

// The last box of a file may be shorter than a large header.
std::optional<BoxHeader> ReadBoxHeader(FileBytes& file, unsigned long long position) {
  unsigned char bytes[BoxHeader::kLarge];
  if (!file.Read(position, bytes, BoxHeader::kShort)) return std::nullopt;
  if (const auto header = TakeBoxHeader({bytes, BoxHeader::kShort})) return header;
  if (!file.Read(position, bytes, BoxHeader::kLarge)) return std::nullopt;
  return TakeBoxHeader(bytes);
}

}  // namespace clipchain
