#include "workflow/rescue/broken_file.h"

#include <algorithm>
#include <string_view>

#include "foundation/cursor.h"
#include "foundation/fourcc.h"
#include "workflow/boxes/lost_movie.h"
#include "workflow/boxes/read_box_header.h"
#include "workflow/rescue/media_window.h"
#include "workflow/rescue/reference.h"

namespace clipchain::rescue {

namespace {

// Boxes that stand beside the media at the top level of clips.
bool IsKnownBox(unsigned int type) {
  constexpr unsigned int kTypes[] = {FourCc("ftyp"), FourCc("free"), FourCc("skip"), FourCc("wide"),
                                     FourCc("uuid"), FourCc("moov"), FourCc("mdat"), FourCc("udta"),
                                     FourCc("meta"), FourCc("moof"), FourCc("sidx"), FourCc("pnot"),
                                     FourCc("mfra"), FourCc("styp"), FourCc("emsg")};
  return std::find(std::begin(kTypes), std::end(kTypes), type) != std::end(kTypes);
}

constexpr std::size_t kMostBoxes = 10000;

// Where a copy or a file system has put something in front of a clip.
constexpr std::size_t kMostInFront = 1 << 20;

// Behind each head of a media box in the first part of a file that begins with none.
std::vector<std::uint64_t> BehindHeads(FileBytes& file) {
  constexpr std::size_t kMostHeads = 4;
  constexpr std::string_view kMedia = "mdat";
  std::vector<unsigned char> bytes(
      static_cast<std::size_t>(std::min<std::uint64_t>(kMostInFront, file.Size())));
  std::vector<std::uint64_t> places;
  if (!file.Read(0, bytes.data(), bytes.size())) return places;
  auto from = bytes.begin();
  while (places.size() < kMostHeads) {
    const auto found = std::search(from, bytes.end(), kMedia.begin(), kMedia.end());
    if (found == bytes.end()) break;
    from = found + kMedia.size();
    places.push_back(static_cast<std::uint64_t>(from - bytes.begin()));
  }
  return places;
}

void AddBegin(BrokenMedia& media, std::uint64_t position) {
  const bool known =
      std::find(media.begins.begin(), media.begins.end(), position) != media.begins.end();
  if (!known && position < media.end) media.begins.push_back(position);
}

// Walks the top level up to the media box. Where its head is not there, what
// stands behind the last known box is the media, with or without the room for a
// head.
class Walk {
 public:
  Walk(FileBytes& file, BrokenMedia& media) : file_(file), media_(media), size_(file.Size()) {}

  void Run(std::uint64_t lead) {
    std::uint64_t at = 0;
    for (std::size_t boxes = 0; boxes < kMostBoxes && at < size_; ++boxes) {
      const auto header = ReadBoxHeader(file_, at);
      if (!header || !IsKnownBox(header->type)) break;
      media_.fragmented = media_.fragmented || header->type == FourCc("moof");
      const bool fits = header->size != 0 && header->FitsIn(size_ - at);
      if (header->type == FourCc("mdat") && !found_ && !IsEmptyPlaceholder(*header, at)) {
        Take(*header, at, fits, lead);
      }
      if (!fits) break;
      if (header->type == FourCc("moov") && !media_.hasMovie)
        media_.hasMovie = !IsBlankMovie(file_, at, *header);
      at += header->size;
      if (!found_) behindBoxes_ = at;
    }
  }
  bool found() const { return found_; }
  std::uint64_t behindBoxes() const { return behindBoxes_; }

 private:
  // A box that holds no more than its head, which was written before anything
  // else was known; what follows is no box.
  bool IsEmptyPlaceholder(const BoxHeader& header, std::uint64_t at) {
    if (header.size == 0 || header.size > header.headerSize) return false;
    const auto next = ReadBoxHeader(file_, at + header.size);
    return next && IsKnownBox(next->type);
  }

  // What other bytes run over may have been written over what is in front of it, too.
  bool EndsThere(std::uint64_t end) {
    const auto next = ReadBoxHeader(file_, end);
    return end == size_ || (next && IsKnownBox(next->type));
  }

  void Take(const BoxHeader& header, std::uint64_t at, bool fits, std::uint64_t lead) {
    found_ = true;
    media_.beginIsSure = true;
    const std::uint64_t body = at + header.headerSize;
    const bool empty = header.size != 0 && header.size <= header.headerSize;
    media_.end = fits && !empty ? at + header.size : size_;
    media_.ends = fits && !empty && EndsThere(at + header.size);
    media_.overrun = fits && !empty && !media_.ends;
    media_.cutOff = !fits && header.size != 0;
    AddBegin(media_, body + lead);
    AddBegin(media_, body);
    AddBegin(media_, body + 8);
    // A size that stands behind the type may be the first bytes of the media.
    AddBegin(media_, at + BoxHeader::kShort);
  }

  FileBytes& file_;
  BrokenMedia& media_;
  std::uint64_t size_;
  std::uint64_t behindBoxes_ = 0;
  bool found_ = false;
};

}  // namespace

bool BeginsMovie(const unsigned char* bytes) {
  const auto is = [&](std::size_t at, const char* type) {
    return std::equal(bytes + at, bytes + at + 4, type);
  };
  return is(4, "moov") && is(12, "mvhd");
}

BrokenMedia ExamineBroken(FileBytes& file, std::uint64_t content, std::uint64_t firstChunk,
                          std::uint64_t lead, bool endsInZeros) {
  BrokenMedia media;
  media.end = file.Size();
  media.content = content;
  Walk walk(file, media);
  walk.Run(lead);
  if (!walk.found()) {
    const std::uint64_t behind = walk.behindBoxes();
    AddBegin(media, firstChunk);
    for (const unsigned head : {8u, 16u, 0u}) AddBegin(media, behind + head + lead);
    for (const unsigned head : {8u, 16u, 0u}) AddBegin(media, behind + head);
    AddBegin(media, 0);
    for (const std::uint64_t place : BehindHeads(file)) {
      for (const std::uint64_t head : {std::uint64_t{0}, std::uint64_t{8}, lead, lead + 8})
        AddBegin(media, place + head);
    }
  }
  // Nobody can tell a sample's own zeros from those that were never written; but whoever wrote the
  // size wrote more than all but a few bytes of the last sector.
  constexpr std::uint64_t kFewZeros = 64;
  const bool areFew = endsInZeros && media.ends && media.end - media.content < kFewZeros;
  if (media.end > media.content && !areFew) {
    media.end = media.content;
    media.ends = false;
  }
  return media;
}

}  // namespace clipchain::rescue
