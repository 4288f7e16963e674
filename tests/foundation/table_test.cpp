#include "foundation/table.h"

#include <gtest/gtest.h>

#include <limits>
#include <numeric>

namespace QUIRVA {
namespace {

constexpr std::size_t kSmall = 1000;
constexpr std::size_t kLarge = 3 * kLargePage / sizeof(unsigned int) + 1;

TEST(Table, KeepsItsEntriesAsItGrowsFromSmallToLarge) {
  Table<unsigned int> table(kSmall);
  std::iota(table.begin(), table.end(), 0u);
  while (table.size() < kLarge) table.insert(table.end(), table.begin(), table.begin() + kSmall);
  for (std::size_t i = 0; i < table.size(); ++i) ASSERT_EQ(i % kSmall, table[i]);
}

TEST(Table, KeepsItsEntriesAsItShrinks) {
  Table<unsigned int> table(kLarge);
  std::iota(table.begin(), table.end(), 0u);
  table.resize(kSmall);
  table.shrink_to_fit();
  ASSERT_EQ(kSmall, table.capacity());
  for (std::size_t i = 0; i < kSmall; ++i) ASSERT_EQ(i, table[i]);
}

TEST(Table, TakesValuesWhereTheyAreGiven) {
  const Table<unsigned int> table(kLarge, 7u);
  EXPECT_EQ(kLarge * 7, std::accumulate(table.begin(), table.end(), std::size_t{0}));
}

TEST(Table, IsEqualByItsEntries) {
  EXPECT_EQ((Table<unsigned int>{1, 2}), (Table<unsigned int>{1, 2}));
  EXPECT_NE((Table<unsigned int>{1, 2}), (Table<unsigned int>{1, 3}));
}

TEST(Table, MovesWithoutCopying) {
  Table<unsigned int> table(kLarge, 1u);
  const unsigned int* entries = table.data();
  const Table<unsigned int> moved = std::move(table);
  EXPECT_EQ(entries, moved.data());
}

TEST(Table, RefusesMoreThanThereIs) {
  TableMemory<unsigned int> memory;
  EXPECT_THROW(static_cast<void>(memory.allocate(std::numeric_limits<std::size_t>::max() / 8)),
               std::bad_alloc);
  EXPECT_THROW(static_cast<void>(memory.allocate(std::numeric_limits<std::size_t>::max())),
               std::bad_alloc);
}

}  // namespace
}  // namespace QUIRVA
