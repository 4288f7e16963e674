#include "workflow/system/file_bytes.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "foundation/platform/read_failures.h"
#include "support/temp_dir.h"

using namespace clipchain;

// Whoever reads other files at that time must not be told that these failed.
TEST(FileBytes, ThatCannotBeOpenedFailAsTheyDidAtFirst) {
  const support::TempDir dir;
  const std::string path = (dir / "nothing").string();
  const QUIRVA::ReadFailures failures;
  FileBytes bytes(path);
  char byte = 0;
  EXPECT_FALSE(bytes.IsFile());
  EXPECT_EQ(0u, bytes.Size());
  EXPECT_FALSE(bytes.Read(0, &byte, 1));
  EXPECT_EQ(ENOENT, bytes.error().value());
  EXPECT_EQ(ENOENT, failures.Of(path, 0, 0));
  EXPECT_EQ(0, failures.Of("another", 0, 0));
}
