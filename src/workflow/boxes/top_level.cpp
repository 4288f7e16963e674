#include "workflow/boxes/top_level.h"

#include <fmt/format.h>

#include "foundation/fourcc.h"
#include "workflow/boxes/read_box_header.h"

namespace clipchain {

std::string TopLevel::Read(FileBytes& file) {
  using Number = unsigned long long;
  constexpr Number kLargestMovie = 0xFFFFFFFF;
  const Number end = file.Size();
  unsigned int before = 0;
  for (Number at = 0; at < end;) {
    const auto box = ReadBoxHeader(file, at);
    if (!box) return fmt::format("can't be read back at byte {}", at);
    if (box->size < box->headerSize || box->size > end - at)
      return fmt::format("has a box at byte {} that runs past the end", at);
    const bool begins = before == 0 && box->type == FourCc("ftyp");
    const bool isMedia = box->type == FourCc("mdat") && media.position == 0;
    const bool isMovie = box->type == FourCc("moov") && before == FourCc("mdat");
    if (!begins && !isMedia && !isMovie && (before == 0 || box->type != FourCc("free")))
      return fmt::format("has a box at byte {} that has no place there", at);
    if (isMedia) media = {at + box->headerSize, box->size - box->headerSize};
    if (isMovie) movie = {at, box->size};
    before = box->type;
    at += box->size;
  }
  if (before != FourCc("moov") || movie.size > kLargestMovie) return "has no movie box at its end";
  return "";
}

}  // namespace clipchain
