#include "workflow/keeping/content_hash.h"

#include <gtest/gtest.h>

using namespace clipchain;

namespace {

TEST(ContentHash, IsThatOfTheToolsForIt) {
  ContentHash hash(true);
  EXPECT_EQ("99aa06d3014798d86001c324468d497f", hash.Value().xxh128);
  EXPECT_EQ("e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855",
            hash.Value().sha256);
  hash.Update("abc", 3);
  EXPECT_EQ("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad",
            hash.Value().sha256);
}

}  // namespace
