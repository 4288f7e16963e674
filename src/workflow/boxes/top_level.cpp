#include "workflow/boxes/top_level.h"

#include <fmt/format.h>

#include "foundation/big_endian.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

using Number = unsigned long long;

struct Header {
  QUIRVA::be32 size;
  QUIRVA::be32 type;
};
static_assert(sizeof(Header) == 8);

struct Box {
  unsigned int type = 0;
  Number headerSize = sizeof(Header);
  Number size = 0;
};

// A size field of 1 stands for a larger one behind the type (ISO/IEC 14496-12, clause 4.2). A size
// that is not stated does not occur here.
bool ReadBox(FileBytes& file, Number at, Box& box) {
  Header header;
  if (!file.Read(at, &header, sizeof header)) return false;
  box.type = header.type;
  box.size = header.size;
  if (box.size != 1) return true;
  QUIRVA::be64 large;
  box.headerSize += sizeof large;
  if (!file.Read(at + sizeof header, &large, sizeof large)) return false;
  box.size = large;
  return true;
}

}  // namespace

std::string TopLevel::Read(FileBytes& file) {
  constexpr Number kLargestMovie = 0xFFFFFFFF;
  const Number end = file.Size();
  unsigned int before = 0;
  for (Number at = 0; at < end;) {
    Box box;
    if (!ReadBox(file, at, box)) return fmt::format("can't be read back at byte {}", at);
    if (box.size < box.headerSize || box.size > end - at)
      return fmt::format("has a box at byte {} that runs past the end", at);
    const bool begins = before == 0 && box.type == FourCc("ftyp");
    const bool isMedia = box.type == FourCc("mdat") && media.position == 0;
    const bool isMovie = box.type == FourCc("moov") && before == FourCc("mdat");
    if (!begins && !isMedia && !isMovie && (before == 0 || box.type != FourCc("free")))
      return fmt::format("has a box at byte {} that has no place there", at);
    if (isMedia) media = {at + box.headerSize, box.size - box.headerSize};
    if (isMovie) movie = {at, box.size};
    before = box.type;
    at += box.size;
  }
  if (before != FourCc("moov") || movie.size > kLargestMovie) return "has no movie box at its end";
  return "";
}

}  // namespace clipchain
