#include "workflow/merging/media_blocks.h"

#include <algorithm>

#include "workflow/companion.h"

namespace clipchain {

namespace {

using Number = unsigned long long;

// Enough for the reader to be at work while a write waits for the disk.
constexpr std::size_t kAhead = 16;
// The reader is woken for so many blocks: to be woken for each costs as much as to read it.
constexpr std::size_t kBatch = kAhead / 2;
// Less media is not worth a thread.
constexpr Number kWorthIt = 32 * MediaBlocks::kBlock;

bool IsInClip(const ImagePiece& piece) { return piece.clip != ImagePiece::kNoClip; }

}  // namespace

FileBytes& OpenClip::At(std::size_t clip) {
  if (clip != open_) file_ = std::make_unique<FileBytes>(clips_[clip]);
  open_ = clip;
  return *file_;
}

MediaBlocks::~MediaBlocks() { End(); }

void MediaBlocks::End() {
  {
    const std::lock_guard guard(lock_);
    isOver_ = true;
  }
  changed_.notify_all();
}

void MediaBlocks::ReadAhead(const std::vector<ImagePiece>& pieces) {
  Number size = 0;
  for (const ImagePiece& piece : pieces) size += IsInClip(piece) ? piece.size : 0;
  if (size < kWorthIt) return;
  slots_.resize(kAhead);
  try {
    thread_ = std::async(std::launch::async, [this, pieces] { Run(pieces); });
  } catch (const std::system_error&) {
    // Without a thread each block is read once it is asked for.
  }
}

MediaBlocks::Block MediaBlocks::Next(const ImagePiece& piece, Number done) {
  if (!thread_.valid()) {
    slots_.resize(1);
    return Read(piece, done, slots_.front().bytes);
  }
  std::unique_lock guard(lock_);
  if (isLent_) ++returned_;
  isLent_ = false;
  if (read_ + kBatch <= returned_ + slots_.size()) changed_.notify_all();
  changed_.wait(guard, [this] { return read_ > returned_ || isOver_; });
  if (read_ == returned_) {
    guard.unlock();
    // It says why it ended.
    thread_.get();
    return {};
  }
  const Block block = slots_[returned_ % slots_.size()].block;
  isLent_ = true;
  return block;
}

MediaBlocks::Block MediaBlocks::Read(const ImagePiece& piece, Number done,
                                     std::vector<unsigned char>& room) {
  const auto size = static_cast<std::size_t>(std::min<Number>(piece.size - done, kBlock));
  FileBytes& clip = clip_.At(piece.clip);
  if (clip.error() || !clip.Read(piece.source + done, room.data(), size))
    return {nullptr, 0, clip.error()};
  return {room.data(), size};
}

void MediaBlocks::Run(const std::vector<ImagePiece>& pieces) {
  // However it ends, nobody is to wait for more.
  struct Over {
    MediaBlocks& blocks;
    ~Over() { blocks.End(); }
  } const over{*this};
  for (const ImagePiece& piece : pieces) {
    if (!IsInClip(piece)) continue;
    for (Number done = 0; done < piece.size; done += kBlock) {
      if (!ReadInto(piece, done)) return;
    }
  }
}

bool MediaBlocks::ReadInto(const ImagePiece& piece, Number done) {
  std::unique_lock guard(lock_);
  changed_.wait(guard, [this] { return read_ < returned_ + slots_.size() || isOver_; });
  if (isOver_) return false;
  Slot& slot = slots_[read_ % slots_.size()];
  guard.unlock();
  slot.block = Read(piece, done, slot.bytes);
  if (companion_ != nullptr && slot.block.bytes != nullptr)
    companion_->See(piece.clip, piece.source + done, {slot.block.bytes, slot.block.size});
  guard.lock();
  ++read_;
  changed_.notify_all();
  return slot.block.bytes != nullptr;
}

}  // namespace clipchain
