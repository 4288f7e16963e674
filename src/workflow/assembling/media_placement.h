// Tells where the media of clips lies in a result.
#pragma once

namespace clipchain {

// Places one behind the other, from a first place on; with blocks each at the same place modulo the
// block as in its file.
class MediaPlacement {
 public:
  using Number = unsigned long long;

  // `block`: a power of two, or 0.
  MediaPlacement(unsigned int block, Number first) : block_(block), end_(first) {}

  // The place of media that lies at `inFile` in its file.
  Number Place(Number inFile, Number size) {
    const Number place = block_ != 0 ? end_ + (inFile - end_) % block_ : end_;
    end_ = place + size;
    return place;
  }
  // Behind all that was placed.
  Number End() const { return end_; }

 private:
  unsigned int block_;
  Number end_;
};

}  // namespace clipchain
