// Folders when the disk does not take their names.
#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "support/failing_calls.h"
#include "support/temp_dir.h"
#include "workflow/card_proof.h"
#include "workflow/folders.h"
#include "workflow/system/descriptor.h"
#include "workflow/system/flush_folders.h"

namespace fs = std::filesystem;
using support::Call;
using support::Disturbance;

TEST(FoldersFaults, LeaveNoFolderThatMayBeLost) {
  const support::TempDir dir;
  const std::string path = (dir / "new").string();
  {
    const Disturbance disturbance(Call::kFsync, EIO, 0, 1);
    const auto fault = clipchain::MakeFolder(path);
    ASSERT_TRUE(fault);
    EXPECT_EQ("can't be created: Input/output error", fault->text);
  }
  EXPECT_FALSE(fs::exists(path));
  EXPECT_EQ(std::nullopt, clipchain::MakeFolder(path));
  EXPECT_TRUE(fs::is_directory(path));
}

TEST(FoldersFaults, KeepNoEmptyFileThatMayBeLost) {
  const support::TempDir dir;
  for (const char* name : {"card", "kept"}) {
    fs::create_directory(dir / name);
    support::WriteFile(dir.path() / name / "empty.txt", {});
  }
  clipchain::CardProofOptions options;
  options.cards = {dir / "card"};
  options.against = {dir / "kept"};
  {
    const Disturbance disturbance(Call::kFsync, EIO);
    const clipchain::CardProof proof = clipchain::ProveCards(options);
    EXPECT_FALSE(proof.kept);
    ASSERT_EQ(1u, proof.notKept.size());
    EXPECT_NE(std::string::npos, proof.notKept[0].reason.find("can't be flushed"));
  }
  EXPECT_TRUE(clipchain::ProveCards(options).kept);
}

TEST(FoldersFaults, TakeNothingForFlushedBelowWhatWasNot) {
  const support::TempDir dir;
  fs::create_directories(dir / "a/b");
  const clipchain::Descriptor folder(::open((dir / "a/b").c_str(), O_RDONLY | O_DIRECTORY));
  clipchain::FlushedFolders flushed;
  {
    const Disturbance disturbance(Call::kFsync, EIO, 1);
    EXPECT_EQ(std::errc::io_error, clipchain::FlushAbove(folder, flushed));
  }
  EXPECT_TRUE(flushed.empty());
  EXPECT_EQ(std::error_code(), clipchain::FlushAbove(folder, flushed));
  EXPECT_LE(2u, flushed.size());
  // Each of them once.
  const Disturbance disturbance(Call::kFsync, EIO);
  EXPECT_EQ(std::error_code(), clipchain::FlushAbove(folder, flushed));
}
