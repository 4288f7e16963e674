#include "workflow/merging/watermark.h"

#include <limits>

namespace clipchain {

void Watermark::RaiseTo(Number end) {
  {
    const std::lock_guard guard(lock_);
    end_ = end;
    if (end_ < wanted_) return;
  }
  changed_.notify_one();
}

void Watermark::GiveUp() {
  {
    const std::lock_guard guard(lock_);
    givenUp_ = true;
  }
  changed_.notify_one();
}

bool Watermark::WaitFor(Number end) {
  std::unique_lock guard(lock_);
  if (end_ >= end) return true;
  constexpr Number kMost = std::numeric_limits<Number>::max();
  wanted_ = end < kMost - kStep ? end + kStep : kMost;
  changed_.wait(guard, [&] { return end_ >= wanted_ || givenUp_; });
  return end_ >= end;
}

bool FollowingBytes::ReadMedia(const ImagePiece& piece, unsigned long long skip, unsigned char* out,
                               std::size_t size) {
  const unsigned long long position = piece.position + skip;
  // What was written a moment ago is still in memory: who follows closely reads nothing off the
  // disk.
  if (!mark_.WaitFor(position + size)) return false;
  if (written_.Read(position, out, size)) return true;
  SetError(written_.error());
  return false;
}

}  // namespace clipchain
