#include "workflow/boxes/lost_movie.h"

#include <algorithm>
#include <vector>

#include "foundation/fourcc.h"
#include "workflow/boxes/read_box_header.h"

namespace clipchain {

namespace {

// Boxes of 8 bytes could fill a disk; a clip has a handful of them ahead of its movie box, and a
// movie box some hundreds.
constexpr int kMostAhead = 100;
constexpr int kMostInside = 4096;

bool HoldsTables(unsigned int type) {
  return type == FourCc("trak") || type == FourCc("mdia") || type == FourCc("minf") ||
         type == FourCc("stbl");
}

// Types are written in ASCII, but for the sign of copyright.
bool IsType(unsigned int type) {
  for (int shift = 0; shift < 32; shift += 8) {
    const unsigned int character = type >> shift & 0xFF;
    if ((character < 0x20 || character > 0x7E) && character != 0xA9) return false;
  }
  return true;
}

// Media whose head was lost: a file of zeros never held any.
bool HoldsBytes(FileBytes& file, unsigned long long position) {
  constexpr unsigned long long kLooked = 64 << 10;
  const unsigned long long size = file.Size();
  std::vector<unsigned char> bytes(
      static_cast<std::size_t>(std::min(kLooked, size - std::min(size, position))));
  return file.Read(position, bytes.data(), bytes.size()) &&
         std::any_of(bytes.begin(), bytes.end(), [](unsigned char byte) { return byte != 0; });
}

}  // namespace

bool LacksMovie(FileBytes& file) {
  bool media = false;
  unsigned long long at = 0;
  for (int boxes = 0; boxes < kMostAhead; ++boxes) {
    const auto header = ReadBoxHeader(file, at);
    if (!header) break;
    if (!IsType(header->type)) return media || HoldsBytes(file, at);
    // A size of 0 stands where a recorder never came to close its media.
    const bool fits = header->size != 0 && header->FitsIn(file.Size() - at);
    media = media || header->type == FourCc("mdat");
    if (header->type == FourCc("moof")) return false;
    if (header->type == FourCc("moov") && fits && !IsBlankMovie(file, at, *header)) return false;
    if (!fits) break;
    at += header->size;
  }
  return media;
}

bool IsBlankMovie(FileBytes& file, unsigned long long position, const BoxHeader& movie) {
  unsigned long long at = position + movie.headerSize;
  const unsigned long long end = position + movie.size;
  bool isDescribed = false;
  for (int boxes = 0; boxes < kMostInside && end - at >= BoxHeader::kShort; ++boxes) {
    const auto header = ReadBoxHeader(file, at);
    if (!header) return false;
    // Behind what tells where the samples of a track are, zeros fill the rest.
    if (header->type == 0 && header->size == 0) return !isDescribed;
    if (header->size == 0 || !header->FitsIn(end - at)) return false;
    if (header->type == FourCc("trak")) isDescribed = false;
    if (header->type == FourCc("stco") || header->type == FourCc("co64")) isDescribed = true;
    // Its boxes are the next ones; what stands behind them follows.
    at += HoldsTables(header->type) ? header->headerSize : header->size;
  }
  return false;
}

}  // namespace clipchain
