// Calls of the system that fail, or in front of which something happens, where a test says so. A
// program that wants it compiles failing_calls.cpp in, which takes the place of those calls.
#pragma once

#include <cstddef>
#include <functional>

namespace support {

enum class Call {
  kFlock,
  kFstat,
  kFsync,
  kLink,
  kOpen,
  kRead,
  kRename,
  kRenameat2,
  kUnlink,
  kWrite
};

// Holds while it lives; one at a time for each call.
class Disturbance {
 public:
  static constexpr std::size_t kAll = static_cast<std::size_t>(-1);

  // Of the calls from then on, number `first`, from 0, and `count` in all fail with that error.
  Disturbance(Call call, int error, std::size_t first = 0, std::size_t count = kAll);
  // The action is done in front of number `index`, which is made all the same. What the action
  // itself calls is not disturbed.
  Disturbance(Call call, std::function<void()> action, std::size_t index = 0);
  ~Disturbance();
  Disturbance(const Disturbance&) = delete;
  Disturbance& operator=(const Disturbance&) = delete;

  std::size_t Count() const { return count_; }  // calls so far
  // Whether this call is to fail; errno is set then.
  bool Strikes();

 private:
  const Call call_;
  const int error_;
  const std::size_t first_;
  const std::size_t strikes_;
  std::function<void()> action_;
  std::size_t count_ = 0;
};

}  // namespace support
