#include "adapt/clips/at_once.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <vector>

using clipchain::ForEachAtOnce;

TEST(AtOnce, CallsEveryNumberOnce) {
  for (const std::size_t count : {0u, 1u, 7u, 8u, 1000u}) {
    std::vector<std::atomic<int>> calls(count + 5);
    ForEachAtOnce(count, [&](std::size_t i) { ++calls[i]; });
    for (std::size_t i = 0; i < calls.size(); ++i) EXPECT_EQ(i < count ? 1 : 0, calls[i]) << i;
  }
}

TEST(AtOnce, ThrowsWhatACallThrows) {
  std::atomic<int> calls = 0;
  const auto work = [&](std::size_t i) {
    ++calls;
    if (i == 3) throw std::length_error("three");
  };
  EXPECT_THROW(ForEachAtOnce(5, work), std::length_error);
  EXPECT_EQ(4, calls);
  EXPECT_THROW(ForEachAtOnce(100, work), std::length_error);
}
