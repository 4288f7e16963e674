#include "workflow/checks/input_check.h"

#include <fmt/format.h>

#include <algorithm>

#include "adapt/boxes/box_header.h"
#include "workflow/boxes/box_place.h"
#include "workflow/boxes/lost_movie.h"
#include "workflow/findings/rewrap.h"

namespace clipchain {

namespace {

constexpr const char* kCopyAgain =
    "copy the clip again from the card; \"clipchain rescue\" finds what is left of one that is cut "
    "off";
constexpr const char* kRescueIt =
    "copy the clip again from the card; if its recording was interrupted, run \"clipchain rescue\" "
    "on it";
constexpr const char* kRewrapIt = "rewrap it with a tool that writes plain MP4 files";

Finding& AddRefusal(FileFindings& findings, Message message, std::string text, std::string remedy,
                    HRESULT result) {
  Finding& finding = findings.Add(message, std::move(text), std::move(remedy));
  finding.result = result;
  return finding;
}

// Its media may stand where the engine sees boxes.
bool IsWithoutMovie(const std::string& path) {
  FileBytes file(path);
  return !file.error() && LacksMovie(file);
}

void PlaceAt(Finding& finding, const TopLevelBox& box) {
  finding.box = FourCcText(box.type);
  finding.offset = box.position;
}

// The walk of the engine ends at a header that is none, at a type that it does not know and at a
// box that it has to load and that runs past the end. Answers whether it comes to the end.
bool CheckWhereTheWalkEnds(const ClipFile& clip, FileFindings& findings) {
  if (clip.BrokenHeader() >= 0) {
    AddRefusal(findings, Message::kFileCutOff,
               fmt::format("ends at byte {} in the middle of a box's header, which begins at {}",
                           clip.Size(), clip.BrokenHeader()),
               kCopyAgain, E_BAD_DATA)
        .offset = clip.BrokenHeader();
    return false;
  }
  // An empty file has no box that could be named.
  if (clip.Layout().empty()) return false;
  const TopLevelBox& last = clip.Layout().back();
  if (!MP4G::CBox::IsTopLevelBox(last.type)) {
    // What begins with something else is no clip at all, which whoever named it wants to know
    // first.
    const bool isFirst = clip.Layout().size() == 1;
    PlaceAt(AddRefusal(
                findings, Message::kTopLevelBoxUnknown,
                fmt::format("{} a box {} at its top level, where a merge takes \"free\", "
                            "\"ftyp\", \"mdat\", \"meta\", \"mfra\", \"moof\", \"moov\", "
                            "\"pdin\" and \"skip\" alone",
                            isFirst ? "is no MP4 clip: it begins with" : "has", Quoted(last.type)),
                IsWithoutMovie(clip.Path()) ? kRescueIt : Rewrap(kRewrapIt), E_BAD_TYPE),
            last);
    return false;
  }
  // Neither is loaded: the walk passes over them by their size alone, which may lead past the end.
  if (last.type == FourCc("mdat") || last.size >= MP4G::kLeastUnloadedBoxSize) return true;
  if (last.size > 0 && last.End() <= clip.Size()) return true;
  PlaceAt(AddRefusal(findings, Message::kFileCutOff,
                     fmt::format("ends at byte {} in the middle of its box {}, which ends at {}",
                                 clip.Size(), Quoted(last.type), last.End()),
                     kCopyAgain, E_BAD_DATA),
          last);
  return false;
}

void CheckRequiredBoxes(const ClipFile& clip, FileFindings& findings) {
  for (const auto& [type, message, words] :
       {std::tuple(FourCc("ftyp"), Message::kFileTypeMissing, "file type"),
        std::tuple(FourCc("moov"), Message::kMovieMissing, "movie")}) {
    const auto place =
        std::find_if(clip.Layout().begin(), clip.Layout().end(),
                     [wanted = type](const TopLevelBox& box) { return box.type == wanted; });
    if (place == clip.Layout().end()) {
      AddRefusal(findings, message, fmt::format("has no {} box {}", words, Quoted(type)),
                 type == FourCc("moov") ? kRescueIt : Rewrap(kRewrapIt), E_BAD_DATA);
    } else if (place->size >= MP4G::kLeastUnloadedBoxSize) {
      PlaceAt(AddRefusal(findings, Message::kMovieTooLarge,
                         fmt::format("has a box {} of {} bytes, and a reader takes {} at most",
                                     Quoted(type), place->size, MP4G::kLeastUnloadedBoxSize - 1),
                         "split the clip", E_BAD_DATA),
              *place);
    }
  }
}

// The media box is copied as far as its header says, whatever the file has.
void CheckMedia(const ClipFile& clip, FileFindings& findings) {
  for (const TopLevelBox& box : clip.Layout()) {
    if (box.type != FourCc("mdat") || box.End() <= clip.Size()) continue;
    const long long there = std::max(clip.Size() - box.Body(), 0LL);
    PlaceAt(AddRefusal(findings, Message::kMediaCutOff,
                       fmt::format("is cut off: {} of the {} bytes of its media are there", there,
                                   box.size - box.headerSize),
                       kCopyAgain, MP4G_E_INPUT_READ),
            box);
  }
}

// The last media box alone is copied.
void CheckMediaBoxes(const ClipFile& clip, FileFindings& findings) {
  const auto isMedia = [](const TopLevelBox& box) {
    return box.type == FourCc("mdat") && box.size > box.headerSize;
  };
  const auto count = std::count_if(clip.Layout().begin(), clip.Layout().end(), isMedia);
  if (count < 2) return;
  const auto first = std::find_if(clip.Layout().begin(), clip.Layout().end(), isMedia);
  PlaceAt(
      findings.Add(Message::kSeveralMediaBoxes,
                   fmt::format("has {} media boxes, and a merge copies the last one alone", count),
                   Rewrap(kRewrapIt)),
      *first);
}

// The box at which the parser stopped: the last one of the half-built tree.
const MP4G::CBox* LastBox(const MP4G::CMp4File& file) {
  const MP4G::CBox* last = nullptr;
  if (!file.boxes.empty()) last = file.boxes.back().box;
  while (last != nullptr && !last->children.empty() && last->children.back() != nullptr)
    last = last->children.back();
  return last;
}

void ExplainParse(const ClipFile& clip, HRESULT result, FileFindings& findings) {
  if (result == MP4G_E_INPUT_READ) {
    AddRefusal(findings, Message::kInputUnreadable, "can't be read to its end",
               "copy it to another disk and try that copy", result);
    return;
  }
  // What was found at the top level explains why the parser stopped, and says more.
  if (findings.Refused()) return;
  const MP4G::CBox* box = LastBox(clip.file);
  const bool isReference =
      box != nullptr && box->parent != nullptr && box->parent->header->type == FourCc("tref");
  Finding& finding =
      AddRefusal(findings, Message::kBoxDamaged,
                 isReference ? "refers to its timecode track in a way that a merge can't read"
                 : result == S_FALSE ? "has a box that is shorter than what it must hold"
                                     : "has a box that contradicts itself",
                 isReference ? Rewrap("leave the timecode track out") : kCopyAgain, result);
  if (box == nullptr) return;
  finding.box = PathOf(*box);
  finding.offset = OffsetOf(*box);
}

// Samples in fragments are known to the fragments alone.
void CheckFragments(const ClipFile& clip, FileFindings& findings) {
  const auto fragment =
      std::find_if(clip.Layout().begin(), clip.Layout().end(),
                   [](const TopLevelBox& box) { return box.type == FourCc("moof"); });
  const MP4G::CBox* announced =
      clip.Movie() != nullptr ? clip.Movie()->GetChildBox(FourCc("mvex"), 0) : nullptr;
  if (fragment == clip.Layout().end() && announced == nullptr) return;
  Finding& finding = findings.Add(Message::kFragmented,
                                  "keeps its samples in fragments, and a merge would lose them",
                                  Rewrap("rewrap it without fragments"));
  if (fragment != clip.Layout().end()) {
    PlaceAt(finding, *fragment);
  } else {
    finding.box = PathOf(*announced);
    finding.offset = OffsetOf(*announced);
  }
}

void CheckTopLevelLosses(const ClipFile& clip, FileFindings& findings) {
  const TopLevelBox* movie = clip.MoviePlace();
  for (const TopLevelBox& box : clip.Layout()) {
    const bool isSecondMovie = box.type == FourCc("moov") && &box != movie;
    if (box.type != FourCc("meta") && !isSecondMovie) continue;
    PlaceAt(findings.Add(Message::kTopLevelBoxLost,
                         fmt::format("has a box {} of {} bytes at its top level, which a merge "
                                     "leaves out",
                                     Quoted(box.type), box.size),
                         "keep the clip if you need what it says"),
            box);
  }
}

}  // namespace

bool CheckInput(ClipFile& clip, FileFindings& findings) {
  if (const Reason& why = clip.WhyUnreadable()) {
    AddRefusal(findings, Message::kInputUnreadable, "can't be read: " + *why,
               "check the name and the permissions", MP4G_E_INPUT_OPEN);
    return false;
  }
  CheckMedia(clip, findings);
  if (CheckWhereTheWalkEnds(clip, findings)) CheckRequiredBoxes(clip, findings);
  const HRESULT result = clip.Parse();
  if (result != S_OK) ExplainParse(clip, result, findings);
  CheckMediaBoxes(clip, findings);
  CheckFragments(clip, findings);
  CheckTopLevelLosses(clip, findings);
  return result == S_OK;
}

}  // namespace clipchain
