#include "foundation/platform/file_holes.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "support/bytes.h"
#include "support/temp_dir.h"

namespace QUIRVA {
namespace {

constexpr unsigned long long kLarge = 1ULL << 36;

TEST(PassHoles, EndsWhereBytesStandAgain) {
  const support::TempDir folder;
  const std::string path = folder / "sparse";
  support::WriteFile(path, support::Bytes(10, 'a'));
  std::filesystem::resize_file(path, kLarge);
  EXPECT_EQ(PassHoles(path.c_str(), 5, kLarge), 5u);
  EXPECT_EQ(PassHoles(path.c_str(), kLarge / 2, kLarge), kLarge);
  EXPECT_EQ(PassHoles(path.c_str(), kLarge, kLarge), kLarge);
  EXPECT_EQ(PassHoles(path.c_str(), 1 << 20, 2 << 20), 2u << 20) << "no further than asked";
}

TEST(PassHoles, StaysWhereNothingIsKnown) {
  const support::TempDir folder;
  const std::string path = folder / "none";
  EXPECT_EQ(PassHoles(path.c_str(), 5, 100), 5u);
}

}  // namespace
}  // namespace QUIRVA
