#include "workflow/clip_card.h"

#include <algorithm>
#include <limits>

#include "box/data_boxes.h"
#include "box/header_boxes.h"
#include "box/top_level_boxes.h"
#include "clip/vendor_boxes.h"
#include "foundation/cursor.h"
#include "foundation/strings.h"
#include "reader/mp4_file.h"
#include "reader/typed_views.h"
#include "workflow/clips/jpeg.h"

namespace clipchain {

namespace {

struct Block {
  const unsigned char* in;
  unsigned int rest;
};

// Takes the header of a camera's box. Its size field is the step to the next box and no more; what
// a last one claims beyond the block is not there.
bool TakeHeader(Block& block, unsigned int& type, Block& payload) {
  MP4G::_tagBOX_HEADER header;
  Block behind = block;
  if (QUIRVA::Take(behind.in, behind.rest, header) != S_OK || header.size < sizeof header)
    return false;
  type = header.type;
  const unsigned int step = std::min<unsigned int>(header.size, block.rest);
  payload = {behind.in, step - static_cast<unsigned int>(sizeof header)};
  return QUIRVA::Skip(block.in, block.rest, step) == S_OK;
}

// The stream inside the first child of "VRTH", whatever that child's type.
Block FindThumbnail(Block block) {
  unsigned int type = 0;
  Block payload{};
  while (TakeHeader(block, type, payload)) {
    if (type != FourCc("VRTH")) continue;
    Block stream{};
    return TakeHeader(payload, type, stream) ? stream : Block{};
  }
  return {};
}

void ReadThumbnail(const MP4G::CMovieBox& movie, ClipCard& card) {
  for (const MP4G::CBox* child : movie.children) {
    const auto* block = dynamic_cast<const MP4G::CDataMemBox*>(child);
    if (block == nullptr || block->header->type != FourCc("uuid") ||
        block->GetUsertype() != MP4G::VIREO_CLIP_UUID)
      continue;
    Block stream = FindThumbnail({block->data, block->dataSize});
    const auto found = FindJpeg(stream.in, stream.rest);
    if (!found || found->length > kMostThumbnailBytes ||
        std::max(found->width, found->height) > kMostThumbnailSide)
      return;
    if (QUIRVA::TakeArray<unsigned char>(stream.in, stream.rest, card.thumbnail, found->length) !=
        S_OK)
      return;
    card.width = found->width;
    card.height = found->height;
    return;
  }
}

void ReadDuration(MP4G::CMovieBox& movie, ClipCard& card) {
  const MP4G::CMovieHeaderBox* header = MP4G::CMovieBox_wr(&movie).MovieHeaderBox();
  if (header == nullptr) return;
  // All ones mean that the duration is not known (ISO/IEC 14496-12, clause 8.2.2.3).
  const std::uint64_t unknown = header->fullHeader->version == 1
                                    ? std::numeric_limits<std::uint64_t>::max()
                                    : std::numeric_limits<std::uint32_t>::max();
  const std::uint64_t duration = header->recordA->Duration();
  if (duration >= unknown || duration > std::numeric_limits<long long>::max()) return;
  card.timeScale = header->recordA->timeScale;
  card.duration = static_cast<long long>(duration);
}

}  // namespace

HRESULT ReadClipCard(const std::string& path, ClipCard& card) {
  card = {};
  MP4G::CMp4File file;
  RETURN_IF_NOT_OK(file.SetFile(QUIRVA::WidePathFromBytes(path).c_str()));
  MP4G::CMovieBox* movie = file.GetMovieBox();
  RETURN_IF(movie == nullptr, E_BAD_DATA);
  ReadDuration(*movie, card);
  ReadThumbnail(*movie, card);
  return S_OK;
}

}  // namespace clipchain
