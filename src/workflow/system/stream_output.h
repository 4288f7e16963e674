// Writes to a pipe, a socket or whatever else somebody reads from.
#pragma once

#include <signal.h>
#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <system_error>

namespace clipchain {

// While it lives, a reader that goes away is an error of the write in this thread (EPIPE) and no
// signal.
class NoPipeSignal {
 public:
  NoPipeSignal();
  ~NoPipeSignal();
  NoPipeSignal(const NoPipeSignal&) = delete;
  NoPipeSignal& operator=(const NoPipeSignal&) = delete;

 private:
  sigset_t pipe_;
  sigset_t before_;
  bool wasPending_ = false;
};

// A descriptor that somebody reads from; it stays the caller's.
class ReaderOutput {
 public:
  explicit ReaderOutput(int descriptor);

  // Writes all of it. While the reader is slow, `goOn` is asked now and then, and false ends the
  // writing (std::errc::operation_canceled). Answers the error of the system.
  [[nodiscard]] std::error_code Write(const unsigned char* bytes, std::size_t size,
                                      const std::function<bool()>& goOn);

 private:
  ssize_t TryToWrite(const unsigned char* bytes, std::size_t size);

  int descriptor_;
  // A write would wait for the reader.
  bool canWait_;
  // Unless it is told not to.
  bool canRefuse_ = true;
};

}  // namespace clipchain
