#include "workflow/merging/result_chapters.h"

#include <optional>
#include <utility>

#include "adapt/boxes/chapter_box.h"
#include "foundation/fourcc.h"
#include "workflow/boxes/top_level.h"

namespace clipchain {

namespace {

// Nothing where the file has no movie box with chapters.
std::optional<std::vector<Chapter>> ChaptersIn(FileBytes& file) {
  TopLevel boxes;
  if (boxes.Read(file)) return std::nullopt;
  Bytes bytes(static_cast<std::size_t>(boxes.movie.size));
  if (!file.Read(boxes.movie.position, bytes.data(), bytes.size())) return std::nullopt;
  std::span<const unsigned char> in = bytes;
  RawBox movie;
  if (!movie.Take(in) || movie.type != FourCc("moov")) return std::nullopt;
  return ReadChapters(movie);
}

}  // namespace

std::vector<std::string> ChapterTitlesIn(FileBytes& file) {
  std::vector<std::string> titles;
  const auto chapters = ChaptersIn(file);
  if (!chapters) return titles;
  for (const Chapter& chapter : *chapters) titles.push_back(chapter.title);
  return titles;
}

}  // namespace clipchain
