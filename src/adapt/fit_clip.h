// Holds a clip as it is made to fit others.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "adapt/fit_report.h"
#include "adapt/raw_boxes.h"
#include "foundation/qv_file.h"

namespace clipchain {

// A box at the top level of a file, by its header.
struct FitBox {
  unsigned int type;
  std::uint64_t position;
  // Bytes.
  std::uint64_t header;
  // Of the whole box.
  std::uint64_t size;

  std::uint64_t Body() const { return position + header; }
  std::uint64_t End() const { return position + size; }
};

// A stretch of a file that holds media.
struct MediaRange {
  std::uint64_t position;
  std::uint64_t size;
};

class FitClip {
 public:
  static constexpr std::uint64_t kNoLimit = ~std::uint64_t{0};

  explicit FitClip(std::string path);

  // Walks the top level, takes the movie box and the places of the media. False: a merge can't take
  // it, whatever is done to it, and a problem of clip number `index` says why; or it needs more
  // memory than there is.
  [[nodiscard]] bool Open(std::size_t index, FitReport& report, std::uint64_t memory = kNoLimit);
  // What the boxes of the movie take, with all that is made of them, about; known once it is open.
  std::uint64_t Memory() const { return memory_; }

  const std::string& Path() const { return path_; }
  std::uint64_t Size() const { return size_; }
  // The whole top level as it stands in the file, in its order.
  const std::vector<FitBox>& Layout() const { return layout_; }
  // Bytes of the file; none if not all of them can be read. The file is open for the call alone:
  // there may be more clips than a process may have open.
  Bytes Read(std::uint64_t position, std::uint64_t size) const;
  // The place of the first box of that type; null without one.
  const FitBox* Place(unsigned int type) const;

  // What adaptations edit. The body of each media box, in the order of the file: the view has them
  // in a row, and nothing else of the file.
  RawBox fileType;
  RawBox movie;
  std::vector<MediaRange> media;

 private:
  bool Walk(std::size_t index, FitReport& report);
  bool TakeHeader(std::uint64_t at, FitBox& box) const;
  bool TakeMovie(std::size_t index, std::uint64_t memory, FitReport& report);
  bool IsZeroFrom(std::uint64_t at) const;
  void TakeFileType();

  std::string path_;
  std::uint64_t size_ = 0;
  std::uint64_t memory_ = 0;
  // While the clip is opened.
  std::unique_ptr<QUIRVA::QvFile> file_;
  std::vector<FitBox> layout_;
};

// The tracks of a movie box, in its order. Lent.
std::vector<RawBox*> TracksOf(RawBox& movie);
std::vector<const RawBox*> TracksOf(const RawBox& movie);
// "track 2 (hvc1)", by its own identifier and first sample entry, for notes.
std::string RawTrackWords(const RawBox& track);
unsigned int RawTrackId(const RawBox& track);

}  // namespace clipchain
