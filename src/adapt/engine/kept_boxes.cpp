#include "adapt/engine/kept_boxes.h"

#include <algorithm>
#include <set>
#include <string>
#include <utility>

#include "adapt/boxes/box_header.h"
#include "adapt/boxes/item_places.h"
#include "adapt/boxes/track_headers.h"
#include "adapt/boxes/tracks.h"
#include "foundation/fourcc.h"
#include "reader/box_reader.h"
#include "reader/mp4_tree.h"

namespace clipchain {

namespace {

// What the engine writes of a movie box; no type if it can't.
RawBox EngineCopy(const RawBox& movie) {
  const Bytes bytes = movie.Written();
  MP4G::CMp4Tree tree;
  RawBox copy;
  if (tree.AddBoxData(bytes.data(), static_cast<unsigned int>(bytes.size()), 0) != S_OK ||
      tree.GetMovieBox() == nullptr)
    return copy;
  MP4G::CBoxReader reader(tree.GetMovieBox());
  const unsigned char* data = nullptr;
  unsigned int size = 0;
  if (reader.GetData(&data, &size) != S_OK) return copy;
  std::span<const unsigned char> in(data, size);
  if (!copy.Take(in)) copy = RawBox();
  return copy;
}

// Zeros at the end of a box are padding that nobody misses.
bool SaysTheSame(const Bytes& original, const Bytes& copy) {
  if (copy.size() > original.size() || !std::equal(copy.begin(), copy.end(), original.begin()))
    return false;
  return std::all_of(original.begin() + static_cast<std::ptrdiff_t>(copy.size()), original.end(),
                     [](int b) { return b == 0; });
}

bool SameDescriptions(const RawBox& original, const RawBox& copy) {
  const auto before = SampleEntriesOf(original);
  const auto after = SampleEntriesOf(copy);
  if (!before || !after) return SaysTheSame(original.data, copy.data);
  return before->size() == after->size() &&
         std::equal(before->begin(), before->end(), after->begin(),
                    [](const RawBox& a, const RawBox& b) {
                      return a.type == b.type && SaysTheSame(a.data, b.data);
                    });
}

// What differs, in one track or in none.
struct Differences {
  bool descriptions = false;
  bool references = false;
  // Types of boxes.
  std::set<unsigned int> others;
};

// Boxes of the first clip alone go into the result, where what they speak of lies elsewhere.
void LeaveOutPlaces(RawBox& parent, unsigned int track, FitReport& report) {
  for (RawBox& box : parent.children) {
    const bool isTrack = box.type == FourCc("trak");
    if (isTrack || box.type == FourCc("udta"))
      LeaveOutPlaces(box, isTrack ? RawTrackId(box) : track, report);
  }
  const auto gone = std::erase_if(parent.children, [](const RawBox& box) {
    return box.type == FourCc("meta") && NamesPlacesInFile(box);
  });
  if (gone == 0) return;
  report.dropped.insert(FourCc("meta"));
  const std::string where = track != 0 ? "in its track " + std::to_string(track) + ' ' : "";
  report.Note(AdaptationKind::kBoxes, 0, track,
              "leaves out " + where + "a box \"meta\" that names places of this file");
  report
      .Refuse(FitProblemKind::kBoxLost, 0, track,
              "has " + where +
                  "a box \"meta\" whose items lie at places of this file, which a merge leaves "
                  "out",
              "keep the clip if you need what it says")
      .box = track != 0 ? "moov/trak/meta" : "moov/meta";
}

// The children, but those of one type.
void Compare(const RawBox& original, const RawBox& copy, unsigned int apart,
             Differences& differences) {
  if (original.children.size() != copy.children.size() || !SaysTheSame(original.data, copy.data)) {
    differences.others.insert(original.type);
    return;
  }
  for (std::size_t i = 0; i < original.children.size(); ++i) {
    const RawBox& box = original.children[i];
    const RawBox& other = copy.children[i];
    if (box.type == apart && other.type == apart) continue;
    if (box.type == FourCc("stsd")) {
      if (!SameDescriptions(box, other)) differences.descriptions = true;
    } else if (box.type == FourCc("tref")) {
      if (box.Written() != other.Written()) differences.references = true;
    } else if (box.type != other.type) {
      differences.others.insert(box.type);
    } else if (IsRawContainer(box.type)) {
      Compare(box, other, apart, differences);
    } else if (!SaysTheSame(box.data, other.data)) {
      differences.others.insert(box.type);
    }
  }
}

void Tell(const Differences& differences, const RawBox* track, std::size_t index,
          FitReport& report) {
  const unsigned int id = track != nullptr ? RawTrackId(*track) : 0;
  const std::string where = track != nullptr ? "in its " + RawTrackWords(*track) : "";
  if (differences.descriptions)
    report.Note(AdaptationKind::kDescriptions, index, id,
                "has " + where + " a sample description that is kept as it is");
  if (differences.references)
    report.Note(AdaptationKind::kReferences, index, id,
                "has " + where + " references to other tracks that are kept as they are");
  for (const unsigned int type : differences.others)
    report.Note(AdaptationKind::kBoxes, index, id,
                "has " + (where.empty() ? std::string() : where + ' ') + "a box " + Quoted(type) +
                    " that is kept as it is");
}

void Explain(const RawBox& movie, std::size_t index, FitReport& report);

void Look(const RawBox& movie, std::size_t index, FitReport& report) {
  // The engine itself is asked what it keeps: a list of what it knows would be wrong some day.
  RawBox copy = EngineCopy(movie);
  if (copy.type == 0) {
    Explain(movie, index, report);
    return;
  }
  Differences ofMovie;
  Compare(movie, copy, FourCc("trak"), ofMovie);
  Tell(ofMovie, nullptr, index, report);
  const std::vector<const RawBox*> tracks = TracksOf(movie);
  const std::vector<RawBox*> copies = TracksOf(copy);
  for (std::size_t i = 0; i < tracks.size() && i < copies.size(); ++i) {
    Differences ofTrack;
    Compare(*tracks[i], *copies[i], 0, ofTrack);
    Tell(ofTrack, tracks[i], index, report);
  }
}

// Which box it is that the engine does not read: the one without which it reads the others.
void Explain(const RawBox& movie, std::size_t index, FitReport& report) {
  RawBox without = movie;
  for (RawBox* track : TracksOf(without)) track->Remove(FourCc("tref"));
  bool isReferences = EngineCopy(without).type != 0;
  report.Note(isReferences ? AdaptationKind::kReferences : AdaptationKind::kBoxes, index, 0,
              isReferences ? "has references between its tracks that are kept as they are"
                           : "has boxes that a merge does not read and that are kept as they are");
  if (isReferences) Look(without, index, report);
}

}  // namespace

void AdaptKeptBoxes(FitClip& clip, std::size_t index, FitReport& report) {
  if (index == 0) LeaveOutPlaces(clip.movie, 0, report);
  Look(clip.movie, index, report);
}

}  // namespace clipchain
