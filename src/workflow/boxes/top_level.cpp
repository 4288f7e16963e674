#include "workflow/boxes/top_level.h"

#include <fmt/format.h>

#include <bit>

#include "foundation/big_endian.h"
#include "foundation/fourcc.h"
#include "workflow/boxes/read_box_header.h"

namespace clipchain {

namespace {

using Number = unsigned long long;

// 0 unless the box tells of blocks that a file system may have.
unsigned int ReadBlock(FileBytes& file, Number at, const BoxHeader& box) {
  constexpr unsigned int kLeast = 512;
  constexpr unsigned int kMost = 1 << 16;
  if (box.type != FourCc("free") || box.size != Layout::kBlockNote) return 0;
  QUIRVA::be32 field;
  if (!file.Read(at + box.headerSize, &field, sizeof field)) return 0;
  const unsigned int block = field;
  return std::has_single_bit(block) && block >= kLeast && block <= kMost ? block : 0;
}

}  // namespace

Reason TopLevel::Read(FileBytes& file) {
  constexpr Number kLargestMovie = 0xFFFFFFFF;
  const Number end = file.Size();
  unsigned int before = 0;
  // That the box before tells.
  unsigned int block = 0;
  for (Number at = 0; at < end;) {
    const auto found = ReadBoxHeader(file, at);
    if (!found) return fmt::format("can't be read back at byte {}", at);
    const BoxHeader& box = *found;
    if (box.size < box.headerSize || box.size > end - at)
      return fmt::format("has a box at byte {} that runs past the end", at);
    const bool begins = before == 0 && box.type == FourCc("ftyp");
    const bool isMedia = box.type == FourCc("mdat") && media.position == 0;
    const bool mayBeMovie = before == FourCc("mdat") || before == FourCc("ftyp");
    const bool isMovie = box.type == FourCc("moov") && movie.size == 0 && mayBeMovie;
    if (!begins && !isMedia && !isMovie && (before == 0 || box.type != FourCc("free")))
      return fmt::format("has a box at byte {} that has no place there", at);
    if (isMedia) media = {at + box.headerSize, box.size - box.headerSize};
    if (isMedia) layout = {movie.size != 0, block};
    if (isMovie) movie = {at, box.size};
    block = ReadBlock(file, at, box);
    before = box.type;
    at += box.size;
  }
  const bool isWhole =
      before == FourCc(layout.movieInFront ? "mdat" : "moov") && media.position != 0;
  if (!isWhole || movie.size > kLargestMovie) return "has no movie box at its end";
  return std::nullopt;
}

}  // namespace clipchain
