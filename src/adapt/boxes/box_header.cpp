#include "adapt/boxes/box_header.h"

#include "adapt/boxes/fields.h"
#include "foundation/big_endian.h"
#include "foundation/fourcc.h"

namespace clipchain {

std::optional<BoxHeader> TakeBoxHeader(std::span<const unsigned char> bytes) {
  QUIRVA::be32 size;
  QUIRVA::be32 type;
  if (!TakeField(bytes, size) || !TakeField(bytes, type)) return std::nullopt;
  BoxHeader header{type, BoxHeader::kShort, size};
  // A size of 1 says that the one of 64 bits follows the type (ISO/IEC 14496-12, clause 4.2).
  if (header.size != 1) return header;
  QUIRVA::be64 large;
  if (!TakeField(bytes, large)) return std::nullopt;
  header.headerSize = BoxHeader::kLarge;
  header.size = large;
  return header;
}

std::string Quoted(unsigned int type) { return '"' + FourCcText(type) + '"'; }

std::string Quoted(const std::set<unsigned int>& types) {
  std::string text;
  for (const unsigned int type : types) text += (text.empty() ? "" : ", ") + Quoted(type);
  return text;
}

}  // namespace clipchain
