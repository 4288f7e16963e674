// Closes a file descriptor at the end of its block.
#pragma once

#include <unistd.h>

#include <utility>

namespace clipchain {

// Owns a descriptor; negative for none. Closing is not asked whether it worked: what was written
// through it must be flushed before.
class Descriptor {
 public:
  explicit Descriptor(int number = -1) : number_(number) {}
  ~Descriptor() { Close(); }
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  operator int() const { return number_; }
  // Gives it to the caller, who closes it.
  int Release() { return std::exchange(number_, -1); }
  void Close() {
    if (number_ >= 0) ::close(std::exchange(number_, -1));
  }

 private:
  int number_;
};

}  // namespace clipchain
