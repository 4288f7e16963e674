// Does the same with many things at once.
#pragma once

#include <atomic>
#include <cstddef>
#include <exception>
#include <future>
#include <system_error>
#include <vector>

namespace clipchain {

// Threads for work that waits for a disk now and then.
inline constexpr std::size_t kFewThreads = 4;

// Calls `work` with every number below `count`, in that many threads, and returns when all calls
// have. What one of them throws is thrown again then; numbers that nobody had begun with are left
// out. Few numbers are not worth a thread.
template <typename Work>
void ForEachAtOnce(std::size_t count, const Work& work, std::size_t threads = kFewThreads) {
  constexpr std::size_t kFew = 8;
  std::atomic<std::size_t> next = 0;
  const auto run = [&] {
    for (std::size_t i = next++; i < count; i = next++) work(i);
  };
  std::vector<std::future<void>> others;
  try {
    for (std::size_t i = 1; count >= kFew && i < threads; ++i)
      others.push_back(std::async(std::launch::async, run));
  } catch (const std::system_error&) {
    // With fewer threads it takes longer.
  }
  std::exception_ptr failure;
  try {
    run();
  } catch (...) {
    failure = std::current_exception();
    next = count;
  }
  for (std::future<void>& other : others) {
    try {
      other.get();
    } catch (...) {
      failure = std::current_exception();
      next = count;
    }
  }
  if (failure) std::rethrow_exception(failure);
}

}  // namespace clipchain
