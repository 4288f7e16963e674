#include "workflow/oracle/next_clip.h"

#include <algorithm>

#include "foundation/fourcc.h"

namespace clipchain::samples {

namespace {

constexpr std::size_t kHeader = 8;
constexpr unsigned char kCamera[kIdentifierSize] = {0x85, 0xC0, 0xB6, 0x87, 0x82, 0x0F, 0x11, 0xE0,
                                                    0x81, 0x11, 0xF4, 0xCE, 0x46, 0x2B, 0x6A, 0x48};
// In the box that holds the clip's own identifier, the next one's and the previous one's, behind
// its header, version and flags.
constexpr std::size_t kNext = kHeader + 4 + kIdentifierSize;

}  // namespace

bool IsCameras(View body) {
  return body.size() >= kIdentifierSize &&
         std::equal(std::begin(kCamera), std::end(kCamera), body.begin());
}

// The box of identifiers is the first one in a box of its own. A size that leaves its parent is a
// step to the end.
std::vector<std::size_t> NextClipPlaces(View body) {
  std::vector<std::size_t> places;
  for (std::size_t at = kIdentifierSize; body.size() - at >= kHeader;) {
    const std::size_t place = at + kHeader + kNext;
    if (U32(body, at + 4) == FourCc("VROP") && place + kIdentifierSize <= body.size())
      places.push_back(place);
    const std::size_t step = std::min<std::size_t>(U32(body, at), body.size() - at);
    if (step == 0) break;
    at += step;
  }
  return places;
}

std::optional<std::string> NextClipOf(View movie) {
  BoxView box;
  while (TakeBox(movie, box)) {
    if (box.type != FourCc("uuid") || !IsCameras(box.body)) continue;
    const std::vector<std::size_t> places = NextClipPlaces(box.body);
    if (places.empty()) return std::nullopt;
    const View found = box.body.subspan(places.back(), kIdentifierSize);
    return std::string(found.begin(), found.end());
  }
  return std::nullopt;
}

}  // namespace clipchain::samples
