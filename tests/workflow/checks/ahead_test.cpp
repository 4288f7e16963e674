#include "workflow/checks/ahead.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>

namespace {

using clipchain::Ahead;
using Number = std::unique_ptr<std::size_t>;

TEST(Ahead, GivesEachThingOnceAndInItsOrder) {
  for (const std::size_t count : {0u, 1u, 7u, 8u, 1000u}) {
    std::atomic<std::size_t> made = 0;
    Ahead<Number> row(count, [&](std::size_t i) {
      ++made;
      return std::make_unique<std::size_t>(i);
    });
    for (std::size_t i = 0; i < count; ++i) EXPECT_EQ(i, *row.Take());
    EXPECT_EQ(count, made);
  }
}

TEST(Ahead, MakesNoMoreThanAFewThatNobodyTook) {
  constexpr std::size_t kMost = 9;
  std::atomic<std::size_t> made = 0;
  std::atomic<std::size_t> taken = 0;
  std::atomic<std::size_t> most = 0;
  Ahead<int> row(200, [&](std::size_t) {
    most = std::max<std::size_t>(most, ++made - taken);
    return 0;
  });
  for (; taken < 200; ++taken) row.Take();
  EXPECT_LE(most, kMost) << "eight, and the one that is taken";
}

TEST(Ahead, ThrowsWhatWasThrownForAThingWhereThatIsTaken) {
  Ahead<std::size_t> row(100, [](std::size_t i) {
    if (i == 30) throw std::length_error("thirty");
    return i;
  });
  for (std::size_t i = 0; i < 30; ++i) EXPECT_EQ(i, row.Take());
  EXPECT_THROW(row.Take(), std::length_error);
  EXPECT_EQ(31u, row.Take());
}

TEST(Ahead, LeavesOutWhatIsNotTaken) {
  std::atomic<std::size_t> made = 0;
  {
    Ahead<std::size_t> row(1000, [&](std::size_t i) {
      ++made;
      return i;
    });
    EXPECT_EQ(0u, row.Take());
  }
  EXPECT_LE(made, 20u);
}

}  // namespace
