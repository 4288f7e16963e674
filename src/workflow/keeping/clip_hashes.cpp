#include "workflow/keeping/clip_hashes.h"

#include <signal.h>

#include <algorithm>
#include <limits>
#include <system_error>

#include "workflow/system/file_bytes.h"

namespace clipchain {

namespace {

constexpr std::size_t kBlock = 1024 * 1024;
// How far it may be ahead: what is read here first is in the system's memory for the others.
constexpr long long kAhead = 64LL << 20;
constexpr long long kAll = std::numeric_limits<long long>::max();

// Signals are the caller's: while it lives no new thread takes any.
class BlockedSignals {
 public:
  BlockedSignals() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before_);
  }
  ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;

 private:
  sigset_t before_;
};

}  // namespace

ClipHashes::ClipHashes(const std::vector<std::string>& clips, bool withSha256)
    : clips_(clips), withSha256_(withSha256), hashes_(clips.size()), limit_(kAhead) {
  const BlockedSignals blocked;
  try {
    thread_ = std::thread([this] { Work(); });
  } catch (const std::system_error&) {
    thread_ = std::thread();
  }
}

ClipHashes::~ClipHashes() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard lock(mutex_);
    ends_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void ClipHashes::Follow(long long bytes) {
  {
    const std::lock_guard lock(mutex_);
    limit_ = bytes > kAll - kAhead ? kAll : std::max(limit_, bytes + kAhead);
  }
  changed_.notify_all();
}

// Whether to go on.
bool ClipHashes::MayRead(long long upTo) {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return ends_ || upTo <= limit_; });
  return !ends_;
}

bool ClipHashes::HashClip(std::size_t clip) {
  FileBytes file(clips_[clip]);
  const unsigned long long size = file.Size();
  if (file.error()) return true;
  ContentHash hash(withSha256_);
  std::vector<unsigned char> block(kBlock);
  for (unsigned long long at = 0; at < size;) {
    const auto part = static_cast<std::size_t>(std::min<unsigned long long>(kBlock, size - at));
    if (!MayRead(done_ + static_cast<long long>(part))) return false;
    if (!file.Read(at, block.data(), part)) return true;
    hash.Update(block.data(), part);
    at += part;
    done_ += static_cast<long long>(part);
  }
  hashes_[clip] = hash.Value();
  return true;
}

void ClipHashes::Work() {
  for (std::size_t clip = 0; clip < clips_.size(); ++clip) {
    if (!HashClip(clip)) return;
  }
}

bool ClipHashes::Finish(std::size_t clip, ContentHashes& hashes) {
  Follow(kAll);
  if (thread_.joinable()) {
    thread_.join();
  } else if (done_ == 0) {
    Work();
  }
  hashes = hashes_[clip];
  return !hashes.xxh128.empty();
}

}  // namespace clipchain
