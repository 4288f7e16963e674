// Reads and writes the chapters of a movie: the box "chpl" below its "udta". It stands in no part
// of ISO/IEC 14496; players read it since long before there were chapter tracks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "adapt/boxes/raw_boxes.h"

namespace clipchain {

// What the box has room for: a count and the length of a title have 8 bits each.
inline constexpr std::size_t kMostChapters = 255;
inline constexpr std::size_t kMostTitleBytes = 255;
inline constexpr std::uint64_t kChapterUnitsASecond = 10'000'000;

struct Chapter {
  // In units of 100 ns, from the moment at which the movie begins to be shown.
  std::uint64_t start = 0;
  // UTF-8.
  std::string title;
  bool operator==(const Chapter&) const = default;
};

// The chapters in the movie's box, of either version; nothing where there is no such box, or one
// that is shorter than its count says.
std::optional<std::vector<Chapter>> ReadChapters(const RawBox& movie);

// Whether the movie has chapters of its own, in that box or as a track that others refer to as
// theirs ("chap").
bool HasChapters(const RawBox& movie);

// Puts the chapters into the movie in place of that box, in front of whatever "udta" holds: what
// stands behind its boxes may be bytes that are none. There are no more of them, nor longer ones,
// than the box has room for.
void WriteChapters(RawBox& movie, const std::vector<Chapter>& chapters);

// A text as a title can have it: U+FFFD stands for each byte that is no UTF-8 and for each control
// character. A title stays what it is.
std::string ChapterTitle(std::string_view text);
// The title of the chapter of a clip: its name without its folder.
std::string ChapterTitleOf(std::string_view path);

}  // namespace clipchain
