#include "workflow/system/read_folder.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <filesystem>

#include "support/bytes.h"
#include "support/temp_dir.h"
#include "workflow/system/open_file.h"

using namespace clipchain;
using support::Bytes;
using testing::ElementsAre;

namespace fs = std::filesystem;

namespace {

TEST(ReadFolder, TellsThatAFolderIsGone) {
  const support::TempDir folder;
  fs::create_directory(folder / "f");
  support::WriteFile(folder / "f/a", Bytes(1));
  const Descriptor descriptor = OpenToRead(folder / "f", O_DIRECTORY);
  std::vector<std::string> names;
  const auto listener = [&names](const clipchain::FolderEntry& entry) {
    names.emplace_back(entry.name);
    return true;
  };
  EXPECT_FALSE(ReadFolder(descriptor, listener));
  EXPECT_THAT(names, ElementsAre("a"));
  fs::remove_all(folder / "f");
  EXPECT_EQ(ReadFolder(descriptor, listener), std::errc::no_such_file_or_directory);
  EXPECT_THAT(names, ElementsAre("a"));
}

}  // namespace
