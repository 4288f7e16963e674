// Does the same with many things at once.
#pragma once

#include <atomic>
#include <cstddef>
#include <exception>
#include <future>
#include <system_error>
#include <vector>

namespace clipchain {

// Calls `work` with every number from `begin` to `end`, `end` left out, in a few threads, and
// returns when all calls have. What one of them throws is thrown again then; numbers that nobody
// had begun with are left out. Few numbers are not worth a thread.
template <typename Work>
void ForEachAtOnce(std::size_t begin, std::size_t end, const Work& work) {
  constexpr std::size_t kThreads = 4;
  constexpr std::size_t kFew = 8;
  std::atomic<std::size_t> next = begin;
  const auto run = [&] {
    for (std::size_t i = next++; i < end; i = next++) work(i);
  };
  std::vector<std::future<void>> others;
  try {
    for (std::size_t i = 1; end - begin >= kFew && i < kThreads; ++i)
      others.push_back(std::async(std::launch::async, run));
  } catch (const std::system_error&) {
    // With fewer threads it takes longer.
  }
  std::exception_ptr failure;
  try {
    run();
  } catch (...) {
    failure = std::current_exception();
    next = end;
  }
  for (std::future<void>& other : others) {
    try {
      other.get();
    } catch (...) {
      failure = std::current_exception();
      next = end;
    }
  }
  if (failure) std::rethrow_exception(failure);
}

}  // namespace clipchain
