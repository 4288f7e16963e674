// Writes a large file in order, at the speed of its disk.
#pragma once

#include <cstddef>
#include <system_error>

namespace clipchain {

// Writes through a descriptor that stays the caller's. Its functions answer the error of the
// system.
class FileOutput {
 public:
  explicit FileOutput(int file) : file_(file) {}

  // Space for a file of that size is asked for at once, which is cheaper than many requests. Where
  // it can't be had that way, nothing is lost: the writing itself succeeds or fails.
  void Reserve(unsigned long long size) const;
  // Writes at that place. The disk begins with what was written before all of it is.
  [[nodiscard]] std::error_code Write(unsigned long long position, const void* bytes,
                                      std::size_t size);
  // Lets the file have those bytes of another one without a copy, if its file system can: whole
  // blocks of both.
  [[nodiscard]] std::error_code Share(int source, unsigned long long from, unsigned long long size,
                                      unsigned long long to) const;

 private:
  void StartFlush();

  int file_;
  // Up to there the disk was told to begin.
  unsigned long long flushed_ = 0;
  // In a row from there on.
  unsigned long long written_ = 0;
};

}  // namespace clipchain
