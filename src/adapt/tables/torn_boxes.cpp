#include "adapt/tables/torn_boxes.h"

#include <algorithm>
#include <string>

#include "adapt/boxes/box_header.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

// Others hold what programs of all kinds put there, and a merge carries as it is.
constexpr unsigned int kOfTracks[] = {FourCc("moov"), FourCc("trak"), FourCc("edts"),
                                      FourCc("mdia"), FourCc("minf"), FourCc("stbl"),
                                      FourCc("mvex")};

void Look(const RawBox& box, const std::string& place, std::size_t index, FitReport& report) {
  const bool isZero =
      std::all_of(box.data.begin(), box.data.end(), [](unsigned char byte) { return byte == 0; });
  if (!isZero) {
    const auto header = TakeBoxHeader(box.data);
    const std::string what =
        header ? "a box " + Quoted(header->type) + " of " + std::to_string(header->size) + " bytes"
               : "bytes that are no box";
    report
        .Refuse(FitProblemKind::kBoxDamaged, index, 0,
                "has at the end of its box " + Quoted(box.type) + ' ' + what + " where there are " +
                    std::to_string(box.data.size()) + " bytes",
                "copy the clip again from the card")
        .box = place;
  }
  std::size_t number = 0;
  for (const RawBox& child : box.children) {
    const bool isTrack = child.type == FourCc("trak");
    const std::string step =
        isTrack ? "trak[" + std::to_string(number++) + ']' : FourCcText(child.type);
    if (std::find(std::begin(kOfTracks), std::end(kOfTracks), child.type) != std::end(kOfTracks))
      Look(child, place + '/' + step, index, report);
  }
}

}  // namespace

void RefuseTornBoxes(FitClip& clip, std::size_t index, FitReport& report) {
  Look(clip.movie, "moov", index, report);
}

}  // namespace clipchain
