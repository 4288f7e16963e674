#include "adapt/boxes/tracks.h"

#include "adapt/boxes/box_header.h"
#include "adapt/boxes/track_headers.h"
#include "foundation/fourcc.h"

namespace clipchain {

std::vector<RawBox*> TracksOf(RawBox& movie) {
  std::vector<RawBox*> tracks;
  for (RawBox& child : movie.children) {
    if (child.type == FourCc("trak")) tracks.push_back(&child);
  }
  return tracks;
}

std::vector<const RawBox*> TracksOf(const RawBox& movie) {
  std::vector<const RawBox*> tracks;
  for (const RawBox& child : movie.children) {
    if (child.type == FourCc("trak")) tracks.push_back(&child);
  }
  return tracks;
}

unsigned int RawTrackId(const RawBox& track) {
  const RawBox* header = track.Child(FourCc("tkhd"));
  const auto fields = header != nullptr ? ReadTrackHeader(*header) : std::nullopt;
  return fields ? fields->id : 0;
}

std::string RawTrackWords(const RawBox& track) {
  std::string text = "track " + std::to_string(RawTrackId(track));
  const unsigned int type = TrackSampleEntryType(track);
  return type != 0 ? text + " (" + FourCcText(type) + ')' : text;
}

}  // namespace clipchain
