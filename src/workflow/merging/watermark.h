// Tells how far a file is written, for who reads behind its writer.
#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "workflow/assembling/image_bytes.h"
#include "workflow/system/file_bytes.h"

namespace clipchain {

// Of one writer and one reader in two threads.
class Watermark {
 public:
  using Number = unsigned long long;

  // All up to there is written. Behind the last byte, the largest number is told or GiveUp called.
  void RaiseTo(Number end);
  // Nothing more will be; who waits for more waits no longer.
  void GiveUp();

  // Waits until all up to there is written, and a little more where it has to wait; false if it
  // never will be.
  bool WaitFor(Number end);

 private:
  // A reader that waits is woken once so much more is there: to be woken for each block costs more
  // than to compare it.
  static constexpr Number kStep = 4 * 1024 * 1024;

  std::mutex lock_;
  std::condition_variable changed_;
  Number end_ = 0;
  // What the reader waits for.
  Number wanted_ = 0;
  bool givenUp_ = false;
};

// Reads the media of a file that is being written, once it is there, and what stands in no clip as
// the image has it.
class FollowingBytes final : public ImageBytes {
 public:
  // Through a descriptor that stays the caller's.
  FollowingBytes(const std::vector<std::string>& clips, const MergeImage& image, int descriptor,
                 Watermark& mark)
      : ImageBytes(clips, image), written_(descriptor), mark_(mark) {}

 protected:
  bool ReadMedia(const ImagePiece& piece, unsigned long long skip, unsigned char* out,
                 std::size_t size) override;

 private:
  FileBytes written_;
  Watermark& mark_;
};

}  // namespace clipchain
