// What a merge puts around the media, made again from its inputs.
#pragma once

#include <memory>
#include <vector>

#include "merge/mp4_merge.h"
#include "reader/mp4_file.h"

namespace clipchain {

// Puts the boxes of the inputs together as the engine does it, in memory, so that a file can be
// compared with what it must be, byte for byte. The media itself is left out.
class ExpectedFile {
 public:
  // Takes the next input. The code with which a merge would refuse it; nothing is to be taken then.
  [[nodiscard]] HRESULT Take(std::unique_ptr<MP4G::CMp4File> input);

  // Completes the boxes, once all inputs are taken. Else the code with which a merge would fail.
  [[nodiscard]] HRESULT Finish();
  // Both hold from then on: all bytes ahead of the media, and the movie box behind it.
  const std::vector<unsigned char>& Head() const { return head_; }
  const std::vector<unsigned char>& Movie() const { return movie_; }

 private:
  [[nodiscard]] HRESULT MakeHead();

  std::unique_ptr<MP4G::CMp4File> first_;
  MP4G::CMp4Merge merge_;
  unsigned long long mediaSize_ = 0;
  std::vector<unsigned char> head_;
  std::vector<unsigned char> movie_;
};

}  // namespace clipchain
