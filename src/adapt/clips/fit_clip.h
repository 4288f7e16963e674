// Holds a clip as it is made to fit others.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "adapt/boxes/raw_boxes.h"
#include "adapt/clips/fit_report.h"
#include "adapt/clips/media_map.h"
#include "adapt/clips/memory_budget.h"
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

class FitClip {
 public:
  explicit FitClip(std::string path);

  // Walks the top level, takes the movie box and the places of the media, and leaves the file open.
  // False: a merge can't take it, whatever is done to it, and a problem of clip number `index` says
  // why; or it lacks memory. The budget must live until the clip is closed.
  [[nodiscard]] bool Open(std::size_t index, FitReport& report, MemoryBudget& memory);
  // Of the file alone: there may be more clips than a process may have open files.
  void Close();
  // What the boxes of the movie take, with all that is made of them, about; known once it was
  // closed. Of one that lacks memory, as much of it as was counted.
  std::uint64_t Memory() const { return memory_; }
  // Whether the budget does not have what the movie takes.
  bool LacksMemory() const { return lacksMemory_; }

  const std::string& Path() const { return path_; }
  std::uint64_t Size() const { return size_; }
  // The whole top level as it stands in the file, in its order.
  const std::vector<FitBox>& Layout() const { return layout_; }
  // Bytes of the file; none if not all of them can be read. A file that is closed is open for the
  // call alone.
  Bytes Read(std::uint64_t position, std::uint64_t size) const;
  // The same of an open clip, for bytes that are put into the movie; none where memory lacks.
  Bytes Keep(std::uint64_t position, std::uint64_t size);
  // Counts bytes that a movie is to have besides those of its box. False: there is no memory for
  // them, and whatever is said of the clip otherwise is not told.
  [[nodiscard]] bool HasRoom(std::uint64_t bytes);
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
  bool TakeMovie(std::size_t index, FitReport& report);
  bool TakeMemory(std::uint64_t bytes);
  bool IsZeroFrom(std::uint64_t at) const;
  void TakeFileType();

  std::string path_;
  std::uint64_t size_ = 0;
  std::uint64_t memory_ = 0;
  bool lacksMemory_ = false;
  // Until it is closed.
  std::unique_ptr<QUIRVA::QvFile> file_;
  MemoryBudget* budget_ = nullptr;
  std::vector<FitBox> layout_;
};

}  // namespace clipchain
