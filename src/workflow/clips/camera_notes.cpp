#include "workflow/clips/camera_notes.h"

#include <algorithm>

#include "box/data_boxes.h"
#include "clip/vendor_boxes.h"
#include "foundation/cursor.h"
#include "foundation/fourcc.h"
#include "workflow/clips/clip_date.h"

namespace clipchain {

namespace {

using Block = std::span<const unsigned char>;

// Takes a camera's box. Its size field is the step to the next box and no more; what a last one
// claims beyond the block is not there.
bool TakeCameraBox(Block& block, unsigned int& type, Block& payload) {
  MP4G::_tagBOX_HEADER header;
  const unsigned char* in = block.data();
  auto rest = static_cast<unsigned int>(block.size());
  if (QUIRVA::Take(in, rest, header) != S_OK || header.size < sizeof header) return false;
  type = header.type;
  const std::size_t step = std::min<std::size_t>(header.size, block.size());
  payload = block.first(step).subspan(sizeof header);
  block = block.subspan(step);
  return true;
}

// The stream inside the first child of "VRTH", whatever that child's type.
Block FindStream(Block block) {
  unsigned int type = 0;
  Block payload;
  while (TakeCameraBox(block, type, payload)) {
    if (type != FourCc("VRTH")) continue;
    Block stream;
    return TakeCameraBox(payload, type, stream) ? stream : Block{};
  }
  return {};
}

}  // namespace

CameraNotes ReadCameraNotes(MP4G::CMovieBox* movie) {
  constexpr unsigned int kNoVolume = 0;
  MP4G::CVireoMp4 clip(kNoVolume);
  CameraNotes notes;
  notes.result = clip.ParseMovieBox(movie);
  // Without a date of the camera's own the movie's is the next best.
  if (clip.timedate == MP4G::_tagSequenceTimedate{})
    clip.timedate = MP4G::CVireoMp4::ObtainMovieBoxTimedate(movie);
  notes.date = KnownDate(clip.timedate);
  notes.cameraStream = clip.isVireoStream != 0;
  notes.hasIdentifiers = clip.hasIDBox != 0;
  notes.id = clip.uniqueID;
  notes.previous = clip.preID;
  notes.next = clip.nextID;
  return notes;
}

std::span<const unsigned char> FindThumbnail(const MP4G::CMovieBox& movie) {
  for (const MP4G::CBox* child : movie.children) {
    const auto* block = dynamic_cast<const MP4G::CDataMemBox*>(child);
    if (block == nullptr || block->header->type != FourCc("uuid") ||
        block->GetUsertype() != MP4G::VIREO_CLIP_UUID)
      continue;
    return FindStream({block->data, block->dataSize});
  }
  return {};
}

}  // namespace clipchain
