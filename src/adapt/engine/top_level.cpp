#include "adapt/engine/top_level.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "adapt/boxes/box_header.h"
#include "box/box.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

// Room that is reserved, and what says where in the file something is or which kind of segment it
// is, which is no longer true of the result.
constexpr unsigned int kWithoutContent[] = {
    FourCc("free"), FourCc("skip"), FourCc("wide"), FourCc("mfra"), FourCc("moof"),
    FourCc("pdin"), FourCc("prft"), FourCc("sidx"), FourCc("ssix"), FourCc("styp")};

std::string Listed(const std::set<unsigned int>& types) {
  return (types.size() == 1 ? "a box " : "boxes ") + Quoted(types);
}

struct Lost {
  // Of the first one.
  std::uint64_t position;
  std::size_t boxes;
  std::uint64_t bytes;
};

bool IsLost(const FitClip& clip, const FitBox& box) {
  if (std::find(std::begin(kWithoutContent), std::end(kWithoutContent), box.type) !=
          std::end(kWithoutContent) ||
      box.type == FourCc("mdat"))
    return false;
  const bool isTaken = box.type == FourCc("moov") || box.type == FourCc("ftyp");
  // Of several the first one is taken; what the others say is lost.
  return !isTaken || &box != clip.Place(box.type);
}

// A clip may have one for each moment: all of a type are one loss.
void TellLost(const FitClip& clip, std::size_t index, FitReport& report) {
  std::map<unsigned int, Lost> types;
  for (const FitBox& box : clip.Layout()) {
    if (!IsLost(clip, box)) continue;
    Lost& lost = types.try_emplace(box.type, Lost{box.position, 0, 0}).first->second;
    ++lost.boxes;
    lost.bytes += box.size;
  }
  for (const auto& [type, lost] : types) {
    const std::string which = lost.boxes == 1 ? "a box " : std::to_string(lost.boxes) + " boxes ";
    FitProblem& problem =
        report.Refuse(FitProblemKind::kTopLevelBoxLost, index, 0,
                      "has " + which + Quoted(type) + " of " + std::to_string(lost.bytes) +
                          " bytes at its top level, which a merge leaves out",
                      "keep the clip if you need what it says");
    problem.box = FourCcText(type);
    problem.offset = static_cast<long long>(lost.position);
  }
}

}  // namespace

void AdaptTopLevel(FitClip& clip, std::size_t index, FitReport& report) {
  std::set<unsigned int> unknown;
  std::size_t media = 0;
  for (const FitBox& box : clip.Layout()) {
    if (!MP4G::CBox::IsTopLevelBox(box.type)) unknown.insert(box.type);
    if (box.type == FourCc("mdat")) ++media;
  }
  TellLost(clip, index, report);
  const bool lacksType = clip.Place(FourCc("ftyp")) == nullptr;
  if (!unknown.empty())
    report.Note(AdaptationKind::kTopLevel, index, 0,
                "has at its top level " + Listed(unknown) + ", passed over");
  if (lacksType)
    report.Note(AdaptationKind::kTopLevel, index, 0,
                "has no file type box \"ftyp\", and gets one of the kind \"qt  \"");
  if (!clip.Layout().empty() && clip.Layout().back().End() < clip.Size())
    report.Note(AdaptationKind::kTopLevel, index, 0, "has zeros behind its last box, passed over");
  if (media > 1)
    report.Note(AdaptationKind::kMediaBoxes, index, 0,
                "has " + std::to_string(media) + " media boxes, put in a row");
}

}  // namespace clipchain
