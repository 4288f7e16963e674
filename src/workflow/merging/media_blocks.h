// Reads the media of clips for whoever copies it, block by block.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <future>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <system_error>
#include <vector>

#include "workflow/assembling/merge_image.h"
#include "workflow/system/file_bytes.h"

namespace clipchain {

class Companion;

// One clip at a time: there may be more of them than a process may have open.
class OpenClip {
 public:
  // The clips must outlive this object.
  explicit OpenClip(const std::vector<std::string>& clips) : clips_(clips) {}

  // The clip of that index, open until another one is asked for and nobody holds it any more, or
  // with the error why it is not.
  std::shared_ptr<FileBytes> At(std::size_t clip);

 private:
  const std::vector<std::string>& clips_;
  std::shared_ptr<FileBytes> file_;
  std::size_t open_ = ImagePiece::kNoClip;
};

class MediaBlocks {
 public:
  // The system copies a request of this size while it is in the processor's cache.
  static constexpr std::size_t kBlock = 256 * 1024;

  struct Block {
    // Null: it can't be read; without an error the clip ends before its media does.
    const unsigned char* bytes = nullptr;
    std::size_t size = 0;
    std::error_code error{};
  };

  // The clips must outlive this object. What is read ahead is shown to the companion, unless it is
  // null.
  explicit MediaBlocks(const std::vector<std::string>& clips, Companion* companion = nullptr)
      : clip_(clips), companion_(companion) {}
  MediaBlocks(const MediaBlocks&) = delete;
  MediaBlocks& operator=(const MediaBlocks&) = delete;
  ~MediaBlocks();

  // From now on the next block is asked for in the order of these pieces, each from its beginning
  // to its end, so that a thread may read ahead. Pieces that stand in no clip are passed over. They
  // must outlive this object.
  void ReadAhead(const std::vector<ImagePiece>& pieces);

  // The bytes of the piece, up to a block of them, behind the first `done`. Lent until the next
  // call.
  Block Next(const ImagePiece& piece, unsigned long long done);

 private:
  struct Slot {
    std::vector<unsigned char> bytes = std::vector<unsigned char>(kBlock);
    Block block{};
    bool isRead = false;
  };
  // Of a block that one thread reads.
  struct Claim {
    // Null: there is none to be read now.
    Slot* slot = nullptr;
    std::shared_ptr<FileBytes> clip{};
    ImagePiece piece{};
    unsigned long long done = 0;
  };
  using Guard = std::unique_lock<std::mutex>;

  // The next block that nobody reads yet, if there is room for it. Called under the lock.
  Claim ClaimNext();
  // The lock is free while the clip is read.
  void Fill(const Claim& claim, Guard& guard);
  void Run();
  // Nobody reads or waits any more.
  void End();

  OpenClip clip_;
  Companion* const companion_;
  std::mutex lock_;
  std::condition_variable changed_;
  // One alone where no thread reads.
  std::vector<Slot> slots_;
  // Of the next block: what is left of the pieces, and of the first of them.
  std::span<const ImagePiece> pieces_;
  unsigned long long done_ = 0;
  // Blocks that were taken to be read, and those of them that are lent no more.
  std::size_t claimed_ = 0;
  std::size_t returned_ = 0;
  bool isLent_ = false;
  // Nothing more is going to be read ahead.
  bool isOver_ = false;
  // Ends first.
  std::future<void> thread_;
};

}  // namespace clipchain
