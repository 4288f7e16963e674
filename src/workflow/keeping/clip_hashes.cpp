#include "workflow/keeping/clip_hashes.h"

#include <algorithm>
#include <limits>

#include "workflow/system/file_bytes.h"

namespace clipchain {

namespace {

using Number = unsigned long long;

// The system copies a request of this size while it is in the processor's cache.
constexpr std::size_t kBlock = 256 * 1024;

}  // namespace

// The clip at work, hashed up to `done`.
struct ClipHashes::Work {
  Work(std::size_t index, const std::string& path, bool withSha256)
      : clip(index), file(path), size(file.Size()), hash(withSha256), isRead(!file.error()) {}

  void Hash(std::span<const unsigned char> bytes) {
    hash.Update(bytes.data(), bytes.size());
    done += bytes.size();
  }

  void ReadUpTo(Number end) {
    std::vector<unsigned char> block(
        static_cast<std::size_t>(std::min<Number>(kBlock, end - std::min(done, end))));
    while (isRead && done < end) {
      const auto part = static_cast<std::size_t>(std::min<Number>(block.size(), end - done));
      isRead = file.Read(done, block.data(), part);
      if (isRead) Hash({block.data(), part});
    }
  }

  const std::size_t clip;
  FileBytes file;
  const Number size;
  ContentHash hash;
  bool isRead;
  Number done = 0;
};

ClipHashes::ClipHashes(const std::vector<std::string>& clips, bool withSha256)
    : clips_(clips), withSha256_(withSha256), hashes_(clips.size()) {}

ClipHashes::~ClipHashes() = default;

void ClipHashes::See(std::size_t clip, Number position, std::span<const unsigned char> bytes) {
  // A merge that looks at a clip once more tells nothing new.
  if (hashes_[clip]) return;
  Work& work = WorkOn(clip);
  // Media that is not in the order of the file was read to get behind it.
  if (position < work.done) return;
  work.ReadUpTo(position);
  if (work.isRead) work.Hash(bytes);
}

bool ClipHashes::Finish(std::size_t clip, ContentHashes& hashes) {
  if (!hashes_[clip]) {
    WorkOn(clip);
    Complete();
  }
  hashes = *hashes_[clip];
  return !hashes.xxh128.empty();
}

ClipHashes::Work& ClipHashes::WorkOn(std::size_t clip) {
  if (work_ != nullptr && work_->clip != clip) Complete();
  if (work_ == nullptr) work_ = std::make_unique<Work>(clip, clips_[clip], withSha256_);
  return *work_;
}

void ClipHashes::Complete() {
  work_->ReadUpTo(work_->size);
  // An empty hash stands for a clip that could not be read, so that it is not tried again.
  hashes_[work_->clip] = work_->isRead ? work_->hash.Value() : ContentHashes();
  work_.reset();
}

}  // namespace clipchain
