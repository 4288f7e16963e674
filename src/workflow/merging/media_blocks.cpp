#include "workflow/merging/media_blocks.h"

#include <algorithm>

#include "workflow/companion.h"

namespace clipchain {

namespace {

using Number = unsigned long long;

// Enough for the thread ahead to be at work while a write waits for the disk.
constexpr std::size_t kAhead = 16;
// It is woken for so many blocks: to be woken for each costs as much as to read it.
constexpr std::size_t kBatch = kAhead / 2;
// Less media is not worth a thread.
constexpr Number kWorthIt = 32 * MediaBlocks::kBlock;

bool IsInClip(const ImagePiece& piece) { return piece.clip != ImagePiece::kNoClip; }

MediaBlocks::Block Read(const FileBytes& clip, const ImagePiece& piece, Number done,
                        std::vector<unsigned char>& room) {
  const auto size =
      static_cast<std::size_t>(std::min<Number>(piece.size - done, MediaBlocks::kBlock));
  if (clip.error()) return {nullptr, 0, clip.error()};
  // Another thread may read the clip at the same time, and each has its own errors.
  FileBytes own(clip.descriptor());
  if (!own.Read(piece.source + done, room.data(), size)) return {nullptr, 0, own.error()};
  return {room.data(), size};
}

}  // namespace

std::shared_ptr<FileBytes> OpenClip::At(std::size_t clip) {
  if (clip != open_) file_ = std::make_shared<FileBytes>(clips_[clip]);
  open_ = clip;
  return file_;
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
  pieces_ = pieces;
  try {
    thread_ = std::async(std::launch::async, [this] { Run(); });
  } catch (const std::system_error&) {
    // Without a thread each block is read once it is asked for.
  }
}

MediaBlocks::Block MediaBlocks::Next(const ImagePiece& piece, Number done) {
  if (!thread_.valid()) {
    slots_.resize(1);
    return Read(*clip_.At(piece.clip), piece, done, slots_.front().bytes);
  }
  Guard guard(lock_);
  if (isLent_) slots_[returned_++ % kAhead].isRead = false;
  isLent_ = false;
  if (claimed_ + kBatch <= returned_ + kAhead) changed_.notify_all();
  Slot& slot = slots_[returned_ % kAhead];
  while (!slot.isRead && !isOver_) {
    // Who waits could as well read. A companion sees the blocks in their order, from one thread.
    const Claim claim = companion_ == nullptr ? ClaimNext() : Claim{};
    if (claim.slot != nullptr) {
      Fill(claim, guard);
    } else {
      changed_.wait(guard);
    }
  }
  if (!slot.isRead) {
    guard.unlock();
    // It says why it ended.
    thread_.get();
    return {};
  }
  isLent_ = true;
  return slot.block;
}

MediaBlocks::Claim MediaBlocks::ClaimNext() {
  while (!pieces_.empty() && (!IsInClip(pieces_.front()) || done_ >= pieces_.front().size)) {
    pieces_ = pieces_.subspan(1);
    done_ = 0;
  }
  if (pieces_.empty() || claimed_ == returned_ + kAhead) return {};
  const ImagePiece& piece = pieces_.front();
  const Claim claim{&slots_[claimed_++ % kAhead], clip_.At(piece.clip), piece, done_};
  done_ += kBlock;
  return claim;
}

void MediaBlocks::Fill(const Claim& claim, Guard& guard) {
  guard.unlock();
  Slot& slot = *claim.slot;
  slot.block = Read(*claim.clip, claim.piece, claim.done, slot.bytes);
  if (companion_ != nullptr && slot.block.bytes != nullptr)
    companion_->See(claim.piece.clip, claim.piece.source + claim.done,
                    {slot.block.bytes, slot.block.size});
  guard.lock();
  slot.isRead = true;
  if (slot.block.bytes != nullptr) return;
  // Nobody asks for what stands behind a block that can't be read.
  pieces_ = {};
  changed_.notify_all();
}

void MediaBlocks::Run() {
  // However it ends, nobody is to wait for more.
  struct Over {
    MediaBlocks& blocks;
    ~Over() { blocks.End(); }
  } const over{*this};
  Guard guard(lock_);
  while (!isOver_ && !pieces_.empty()) {
    const Claim claim = ClaimNext();
    if (claim.slot != nullptr) {
      Fill(claim, guard);
      changed_.notify_all();
    } else if (!pieces_.empty()) {
      changed_.wait(guard);
    }
  }
}

}  // namespace clipchain
