// What a merge puts around the media, made again from its inputs.
#pragma once

#include <memory>
#include <vector>

#include "adapt/fit.h"
#include "merge/mp4_merge.h"
#include "reader/mp4_file.h"
#include "workflow/boxes/top_level.h"
#include "workflow/merging/media_placement.h"

namespace clipchain {

// Where the media of an input lies in the file.
struct MediaStretch {
  unsigned long long begin;
  unsigned long long end;
};

// Puts the boxes of the inputs together as the engine does it, in memory, so that a file can be
// compared with what it must be, byte for byte. The media itself is left out.
class ExpectedFile {
 public:
  explicit ExpectedFile(const Layout& layout = {}) : layout_(layout), placement_(0, 0) {}

  // Takes the next input, which was read through `view` or, with null, as it is. The code with
  // which a merge would refuse it; nothing is to be taken then.
  [[nodiscard]] HRESULT Take(std::unique_ptr<MP4G::CMp4File> input, const ClipView* view = nullptr);

  bool IsEmpty() const { return media_.empty(); }

  // Completes the boxes, once all inputs are taken, and adapts them if there is a `fit`. Else the
  // code with which a merge would fail.
  [[nodiscard]] HRESULT Finish(const Fit* fit = nullptr);
  // All hold from then on: the bytes ahead of the media box's body, the movie box, which is among
  // them if it stands in front, and where the media of each input lies.
  const std::vector<unsigned char>& Head() const { return head_; }
  const std::vector<unsigned char>& Movie() const { return movie_; }
  const std::vector<MediaStretch>& Media() const { return media_; }
  // Behind all media.
  unsigned long long MediaEnd() const { return placement_.End() + moved_; }

 private:
  [[nodiscard]] HRESULT TakeFirst(std::unique_ptr<MP4G::CMp4File> input, unsigned long long inFile);
  long long Place(unsigned long long inFile, const MP4G::CMp4File& input);
  [[nodiscard]] HRESULT PutMovieInFront();
  [[nodiscard]] HRESULT AppendMediaHeader();

  const Layout layout_;
  std::unique_ptr<MP4G::CMp4File> first_;
  MP4G::CMp4Merge merge_;
  MediaPlacement placement_;
  // Where the first input's media begins there.
  unsigned long long firstInFile_ = 0;
  // Without a movie box.
  unsigned long long headSize_ = 0;
  // By which the movie box in front moved the media.
  unsigned long long moved_ = 0;
  std::vector<MediaStretch> media_;
  std::vector<unsigned char> head_;
  std::vector<unsigned char> movie_;
};

}  // namespace clipchain
