#include "adapt/boxes/chapter_box.h"

#include <algorithm>
#include <span>
#include <utility>

#include "adapt/boxes/fields.h"
#include "adapt/boxes/tracks.h"
#include "foundation/fourcc.h"
#include "foundation/strings.h"

namespace clipchain {

namespace {

constexpr unsigned int kChapters = FourCc("chpl");

// Whether a title may not hold it: a byte that is no UTF-8, as paths carry it, or a control
// character.
bool IsUnprintable(wchar_t c) {
  const auto code = static_cast<unsigned long>(c);
  return code < 0x20 || (code >= 0x7F && code < 0xA0) || (code >= 0xDC80 && code <= 0xDCFF);
}

bool TakeChapter(std::span<const unsigned char>& in, Chapter& chapter) {
  QUIRVA::be64 start;
  unsigned char length = 0;
  if (!TakeField(in, start) || !TakeField(in, length) || in.size() < length) return false;
  chapter.start = start;
  chapter.title.assign(in.begin(), in.begin() + length);
  in = in.subspan(length);
  return true;
}

}  // namespace

std::optional<std::vector<Chapter>> ReadChapters(const RawBox& movie) {
  const RawBox* box = movie.At({FourCc("udta"), kChapters});
  if (box == nullptr) return std::nullopt;
  std::span<const unsigned char> in = box->data;
  QUIRVA::be32 versionAndFlags;
  QUIRVA::be32 reserved;
  unsigned char count = 0;
  if (!TakeField(in, versionAndFlags)) return std::nullopt;
  // No standard knows this box. Programs write it with four more bytes ahead of the count in
  // version 1, and without them in version 0.
  const bool hasReserved = (versionAndFlags >> 24) != 0;
  if ((hasReserved && !TakeField(in, reserved)) || !TakeField(in, count)) return std::nullopt;
  std::vector<Chapter> chapters(count);
  for (Chapter& chapter : chapters) {
    if (!TakeChapter(in, chapter)) return std::nullopt;
  }
  return chapters;
}

bool HasChapters(const RawBox& movie) {
  if (movie.At({FourCc("udta"), kChapters}) != nullptr) return true;
  const std::vector<const RawBox*> tracks = TracksOf(movie);
  return std::any_of(tracks.begin(), tracks.end(), [](const RawBox* track) {
    return track->At({FourCc("tref"), FourCc("chap")}) != nullptr;
  });
}

void WriteChapters(RawBox& movie, const std::vector<Chapter>& chapters) {
  constexpr std::uint32_t kVersion1 = 1u << 24;
  RawBox box(kChapters, {});
  PutField<QUIRVA::be32>(box.data, kVersion1);
  PutField<QUIRVA::be32>(box.data, 0);
  box.data.push_back(static_cast<unsigned char>(chapters.size()));
  for (const Chapter& chapter : chapters) {
    PutField<QUIRVA::be64>(box.data, chapter.start);
    box.data.push_back(static_cast<unsigned char>(chapter.title.size()));
    box.data.insert(box.data.end(), chapter.title.begin(), chapter.title.end());
  }
  RawBox* userData = movie.Child(FourCc("udta"));
  if (userData == nullptr) {
    movie.children.emplace_back(FourCc("udta"), Bytes());
    userData = &movie.children.back();
  }
  userData->Remove(kChapters);
  userData->children.insert(userData->children.begin(), std::move(box));
}

std::string ChapterTitle(std::string_view text) {
  std::wstring title = QUIRVA::WidePathFromBytes(text);
  std::replace_if(title.begin(), title.end(), IsUnprintable, L'\uFFFD');
  return QUIRVA::PathBytesFromWide(title).value_or("");
}

std::string ChapterTitleOf(std::string_view path) {
  return ChapterTitle(path.substr(path.find_last_of('/') + 1));
}

}  // namespace clipchain
