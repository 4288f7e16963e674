#include "workflow/merging/media_blocks.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

#include "support/temp_dir.h"

namespace {

using clipchain::ImagePiece;
using clipchain::MediaBlocks;
using support::Bytes;
using support::TempDir;

constexpr unsigned long long kPiece = 20 * MediaBlocks::kBlock + 12345;
constexpr unsigned long long kSkipped = 77;

class MediaBlocksTest : public testing::Test {
 protected:
  MediaBlocksTest() {
    for (unsigned int clip = 0; clip < 3; ++clip) {
      Bytes media(kSkipped + kPiece);
      for (std::size_t i = 0; i < media.size(); ++i)
        media[i] = static_cast<unsigned char>((i * 2654435761U >> 13U) + clip);
      support::WriteFile(folder_ / ("clip" + std::to_string(clip)), media);
      media_.push_back(std::move(media));
      clips_.push_back((folder_ / ("clip" + std::to_string(clip))).string());
      pieces_.push_back({0, kPiece, clip, kSkipped});
    }
    // Its bytes stand in no clip.
    pieces_.insert(pieces_.begin() + 1, ImagePiece{0, 100});
  }

  // All there is of a piece; where that can't be read, as far as it can be.
  static Bytes ReadPiece(MediaBlocks& blocks, const ImagePiece& piece, std::error_code* error) {
    Bytes bytes;
    while (bytes.size() < piece.size) {
      const MediaBlocks::Block block = blocks.Next(piece, bytes.size());
      *error = block.error;
      if (block.bytes == nullptr) break;
      bytes.insert(bytes.end(), block.bytes, block.bytes + block.size);
    }
    return bytes;
  }

  Bytes MediaOf(const ImagePiece& piece) const {
    return Bytes(media_[piece.clip].begin() + kSkipped, media_[piece.clip].end());
  }

  TempDir folder_;
  std::vector<Bytes> media_;
  std::vector<std::string> clips_;
  std::vector<ImagePiece> pieces_;
};

TEST_F(MediaBlocksTest, AreTheSameReadAheadAndReadOnceTheyAreAskedFor) {
  for (const bool ahead : {true, false}) {
    MediaBlocks blocks(clips_);
    if (ahead) blocks.ReadAhead(pieces_);
    for (const ImagePiece& piece : pieces_) {
      if (piece.clip == ImagePiece::kNoClip) continue;
      std::error_code error;
      EXPECT_TRUE(ReadPiece(blocks, piece, &error) == MediaOf(piece)) << ahead << piece.clip;
      EXPECT_FALSE(error);
    }
  }
}

TEST_F(MediaBlocksTest, SayWhatCanNotBeReadWhereItsTurnHasCome) {
  std::filesystem::remove(clips_[2]);
  std::filesystem::resize_file(clips_[1], kSkipped + 5 * MediaBlocks::kBlock + 1);
  for (const bool ahead : {true, false}) {
    for (const std::size_t broken : {1u, 2u}) {
      const std::vector<ImagePiece> pieces = {pieces_[0], pieces_[0], pieces_[1 + broken]};
      MediaBlocks blocks(clips_);
      if (ahead) blocks.ReadAhead(pieces);
      std::error_code error;
      for (const int whole : {0, 1}) {
        EXPECT_TRUE(ReadPiece(blocks, pieces[0], &error) == MediaOf(pieces[0])) << whole;
      }
      const std::size_t there = broken == 1 ? 5 * MediaBlocks::kBlock : 0;
      EXPECT_EQ(there, ReadPiece(blocks, pieces[2], &error).size());
      EXPECT_EQ(broken == 1 ? 0 : ENOENT, error.value());
    }
  }
}

TEST_F(MediaBlocksTest, MayBeLeftBeforeTheyEnd) {
  MediaBlocks untouched(clips_);
  untouched.ReadAhead(pieces_);
  MediaBlocks blocks(clips_);
  blocks.ReadAhead(pieces_);
  EXPECT_NE(nullptr, blocks.Next(pieces_[0], 0).bytes);
}

}  // namespace
