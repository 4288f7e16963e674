#include "workflow/clip_card.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <optional>
#include <span>
#include <utility>

#include "box/header_boxes.h"
#include "box/top_level_boxes.h"
#include "foundation/strings.h"
#include "reader/mp4_file.h"
#include "reader/typed_views.h"
#include "workflow/clips/adapted_clip.h"
#include "workflow/clips/camera_notes.h"
#include "workflow/clips/jpeg.h"
#include "workflow/system/file_bytes.h"

namespace clipchain {

namespace {

void ReadThumbnail(const MP4G::CMovieBox& movie, ClipCard& card) {
  const std::span<const unsigned char> stream = FindThumbnail(movie);
  // Whether it is a picture its bytes say, and not the box that holds them.
  const auto found = FindJpeg(stream.data(), static_cast<unsigned int>(stream.size()));
  if (!found || found->length > kMostThumbnailBytes ||
      std::max(found->width, found->height) > kMostThumbnailSide)
    return;
  card.thumbnail.assign(stream.begin(), stream.begin() + found->length);
  card.width = found->width;
  card.height = found->height;
}

// Some cameras put the picture of a clip into a file of its own beside it.
void ReadPictureBeside(const std::string& path, ClipCard& card) {
  // Cards don't mind the case, the disks to which they are copied do.
  for (const char* const suffix : {".THM", ".thm"}) {
    FileBytes file(std::filesystem::path(path).replace_extension(suffix).string());
    const unsigned long long size = !file.error() && file.IsFile() ? file.Size() : 0;
    if (size == 0 || size > kMostThumbnailBytes) continue;
    std::vector<unsigned char> bytes(static_cast<std::size_t>(size));
    if (!file.Read(0, bytes.data(), bytes.size())) continue;
    const auto found = FindJpeg(bytes.data(), static_cast<unsigned int>(bytes.size()));
    if (!found || std::max(found->width, found->height) > kMostThumbnailSide) continue;
    bytes.resize(found->length);
    card.thumbnail = std::move(bytes);
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
  const HRESULT result = file.SetFile(QUIRVA::WidePathFromBytes(path).c_str());
  std::optional<AdaptedClip> adapted;
  // Adapting reads more of the file, and most clips don't need it.
  if (SaysMoreAdapted(file, result)) adapted.emplace(path);
  MP4G::CMovieBox* movie = adapted ? adapted->Movie() : nullptr;
  if (movie == nullptr && result == S_OK) movie = file.GetMovieBox();
  RETURN_IF(movie == nullptr, result != S_OK ? result : E_BAD_DATA);
  ReadDuration(*movie, card);
  ReadThumbnail(*movie, card);
  if (card.thumbnail.empty()) ReadPictureBeside(path, card);
  return S_OK;
}

}  // namespace clipchain
