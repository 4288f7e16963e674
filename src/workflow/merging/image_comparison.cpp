#include "workflow/merging/image_comparison.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>

#include "workflow/system/files.h"

namespace clipchain {

namespace {

using Number = unsigned long long;

constexpr std::size_t kBlock = 1024 * 1024;

class Comparison {
 public:
  explicit Comparison(const ImageComparison& task) : task_(task) {
    for (const ImagePiece& piece : task.image.pieces) {
      if (piece.clip != ImagePiece::kNoClip) total_ += piece.size;
    }
  }

  Findings Run() {
    // Of another size, it would differ from some place on without saying why.
    if (const Number size = task_.file.Size(); size != task_.image.size) {
      Damaged(fmt::format("has {} bytes; its clips give {}", size, task_.image.size), 0);
      return std::move(findings_);
    }
    for (const ImagePiece& piece : task_.image.pieces) {
      const bool isOwn = piece.clip == ImagePiece::kNoClip;
      // Unless every byte is asked for, the oracle looks at the media: at the seams, off the
      // tables.
      if (!isOwn && !task_.everyByte) continue;
      if (!isOwn && !Tell(0)) break;
      if (!(isOwn ? CompareOwn(piece) : CompareMedia(piece))) break;
    }
    return std::move(findings_);
  }

 private:
  bool Tell(Number bytes) {
    done_ += bytes;
    return !task_.progress ||
           task_.progress({Step::Phase::kVerifying, 0, static_cast<long long>(done_),
                           static_cast<long long>(total_)});
  }

  void Damaged(std::string text, Number offset) {
    if (task_.file.error()) text += ": " + ErrorText(task_.file.error());
    Finding finding = MakeFinding(Message::kResultDamaged, task_.output, std::move(text),
                                  "write to another disk, or check this one");
    finding.offset = static_cast<long long>(offset);
    findings_.push_back(std::move(finding));
  }

  // The block that begins there in the output; null if it can't be read.
  const unsigned char* ReadOutput(Number position, std::size_t size) {
    if (found_.size() < size) found_.resize(size);
    if (task_.file.Read(position, found_.data(), size)) return found_.data();
    Damaged("can't be read back", position);
    return nullptr;
  }

  bool CompareOwn(const ImagePiece& piece) {
    const unsigned char* const bytes = task_.image.Own(piece).data();
    for (Number done = 0; done < piece.size; done += kBlock) {
      const auto size = static_cast<std::size_t>(std::min<Number>(piece.size - done, kBlock));
      const unsigned char* const found = ReadOutput(piece.position + done, size);
      if (found == nullptr) return false;
      if (std::memcmp(found, bytes + done, size) == 0) continue;
      // Compared at once and searched only where something differs, which is never but once.
      const auto [mine, theirs] = std::mismatch(found, found + size, bytes + done);
      const Number at = piece.position + done + static_cast<Number>(mine - found);
      Damaged(
          fmt::format("has a byte {:02X} at {}; its clips give {:02X} there", *mine, at, *theirs),
          at);
      return false;
    }
    return true;
  }

  bool CompareMedia(const ImagePiece& piece) {
    const std::string& path = task_.clips[piece.clip];
    if (open_ != piece.clip) {
      clip_ = std::make_unique<FileBytes>(path);
      open_ = piece.clip;
    }
    given_.resize(kBlock);
    for (Number done = 0; done < piece.size; done += kBlock) {
      const auto size = static_cast<std::size_t>(std::min<Number>(piece.size - done, kBlock));
      if (!clip_->Read(piece.source + done, given_.data(), size)) {
        Unreadable(path);
        return false;
      }
      const unsigned char* const found = ReadOutput(piece.position + done, size);
      if (found == nullptr) return false;
      if (std::memcmp(found, given_.data(), size) != 0) {
        const auto [mine, theirs] = std::mismatch(found, found + size, given_.data());
        const Number at = done + static_cast<Number>(mine - found);
        Damaged(fmt::format("has a byte {:02X} at {}; it is {:02X} at {} in {}", *mine,
                            piece.position + at, *theirs, piece.source + at, PrintablePath(path)),
                piece.position + at);
        return false;
      }
      if (!Tell(size)) return false;
    }
    return true;
  }

  void Unreadable(const std::string& path) {
    std::string text = "can't be read again to compare it";
    if (clip_->error()) text += ": " + ErrorText(clip_->error());
    findings_.push_back(MakeFinding(Message::kInputUnreadable, path, std::move(text),
                                    "copy the clip again from the card"));
  }

  const ImageComparison& task_;
  Number total_ = 0;
  Number done_ = 0;
  std::unique_ptr<FileBytes> clip_;
  std::size_t open_ = ImagePiece::kNoClip;
  std::vector<unsigned char> given_;
  std::vector<unsigned char> found_;
  Findings findings_;
};

}  // namespace

Findings CompareWithImage(const ImageComparison& task) { return Comparison(task).Run(); }

}  // namespace clipchain
