#include "workflow/merging/image_writer.h"

#include <algorithm>
#include <cerrno>
#include <iterator>

#include "workflow/system/file_output.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

using Number = unsigned long long;
using Side = WriteFault::Side;

// The system copies a request of this size while it is in the processor's cache.
constexpr std::size_t kBlock = 256 * 1024;
// Bytes until somebody is told.
constexpr Number kBetween = 16 * 1024 * 1024;

// What says that there is no sharing here, rather than that the disk is full or broken.
bool IsRefusal(const std::error_code& error) {
  constexpr int kFailures[] = {EIO, ENOSPC, EDQUOT, ENOMEM, EFBIG, EROFS, EINTR};
  return std::find(std::begin(kFailures), std::end(kFailures), error.value()) ==
         std::end(kFailures);
}

}  // namespace

struct ImageWriter::Share {
  FileOutput& output;
  unsigned int block;
  bool strict;
  // Something was shared.
  bool any = false;
};

std::string WhyUncopied(const std::error_code& error) {
  return error ? "can't be read: " + ErrorText(error) : "ends before its media does";
}

ImageWriter::ImageWriter(const std::vector<std::string>& clips, const MergeImage& image,
                         CopyProgress& progress)
    : clips_(clips), image_(image), progress_(progress), totals_(clips.size()), block_(kBlock) {
  for (const ImagePiece& piece : image.pieces) {
    if (piece.clip != ImagePiece::kNoClip) totals_[piece.clip] += piece.size;
  }
}

WriteFault ImageWriter::WriteTo(int file, Watermark* mark) {
  FileOutput output(file);
  output.Reserve(image_.size);
  return Run(
      [&](Number at, const unsigned char* bytes, std::size_t size) {
        const std::error_code error = output.Write(at, bytes, size);
        if (!error && mark != nullptr) mark->RaiseTo(at + size);
        return error;
      },
      nullptr);
}

WriteFault ImageWriter::ShareWith(int file, unsigned int block, bool strict) {
  FileOutput output(file);
  Share share{output, block, strict};
  const WriteFault fault = Run([&](Number at, const unsigned char* bytes,
                                   std::size_t size) { return output.Write(at, bytes, size); },
                               &share);
  const bool isOfNoUse = !strict && !share.any && fault.side == Side::kNone;
  return isOfNoUse ? WriteFault{Side::kNotShared} : fault;
}

WriteFault ImageWriter::WriteThrough(const Write& write) {
  return Run(
      [&](Number, const unsigned char* bytes, std::size_t size) { return write(bytes, size); },
      nullptr);
}

WriteFault ImageWriter::Run(const Put& put, Share* share) {
  for (const ImagePiece& piece : image_.pieces) {
    if (piece.clip != ImagePiece::kNoClip) {
      if (const WriteFault fault = StartClipsUpTo(piece.clip); fault.side != Side::kNone)
        return fault;
    }
    std::vector<ImagePiece> left{piece};
    if (share != nullptr && piece.clip != ImagePiece::kNoClip) {
      if (const WriteFault fault = SharePiece(piece, *share, left); fault.side != Side::kNone)
        return fault;
    }
    for (const ImagePiece& part : left) {
      if (const WriteFault fault = CopyPiece(part, put); fault.side != Side::kNone) return fault;
    }
  }
  return StartClipsUpTo(clips_.size() - 1);
}

// Clips without media are told of, too.
WriteFault ImageWriter::StartClipsUpTo(std::size_t clip) {
  while (started_ <= clip) {
    ++started_;
    done_ = 0;
    progress_.StartInput();
    if (const WriteFault fault = Tell(0); fault.side != Side::kNone) return fault;
  }
  return {};
}

WriteFault ImageWriter::Tell(Number bytes) {
  const std::size_t clip = started_ - 1;
  const Number before = done_;
  done_ += bytes;
  const bool isDue = bytes == 0 || done_ == totals_[clip] || done_ / kBetween != before / kBetween;
  if (!isDue) return {};
  const bool goesOn = progress_.Copied(static_cast<long long>(done_));
  return {goesOn ? Side::kNone : Side::kStopped};
}

WriteFault ImageWriter::Open(std::size_t clip) {
  if (clip == open_) return {};
  source_ = std::make_unique<FileBytes>(clips_[clip]);
  if (source_->error()) return {Side::kClip, clip, source_->error()};
  open_ = clip;
  return {};
}

WriteFault ImageWriter::CopyPiece(const ImagePiece& piece, const Put& put) {
  const bool isOwn = piece.clip == ImagePiece::kNoClip;
  if (!isOwn) {
    if (const WriteFault fault = Open(piece.clip); fault.side != Side::kNone) return fault;
  }
  for (Number done = 0; done < piece.size;) {
    const auto size = static_cast<std::size_t>(std::min<Number>(piece.size - done, kBlock));
    const unsigned char* bytes = image_.bytes.data() + piece.source + done;
    if (!isOwn) {
      if (!source_->Read(piece.source + done, block_.data(), size))
        return {Side::kClip, piece.clip, source_->error()};
      bytes = block_.data();
    }
    if (const std::error_code error = put(piece.position + done, bytes, size))
      return {Side::kOutput, 0, error};
    done += size;
    const WriteFault fault = isOwn ? WriteFault{} : Tell(size);
    if (fault.side != Side::kNone) return fault;
  }
  return {};
}

WriteFault ImageWriter::SharePiece(const ImagePiece& piece, Share& share,
                                   std::vector<ImagePiece>& left) {
  const Number ahead = (0 - piece.source) % share.block;
  if ((piece.position - piece.source) % share.block != 0 || piece.size < ahead + share.block)
    return {};
  const Number size = (piece.size - ahead) / share.block * share.block;
  if (const WriteFault fault = Open(piece.clip); fault.side != Side::kNone) return fault;
  const std::error_code error =
      share.output.Share(source_->descriptor(), piece.source + ahead, size, piece.position + ahead);
  if (error && !IsRefusal(error)) return {Side::kOutput, 0, error};
  if (error)
    return {share.strict || !share.any ? Side::kNotShared : Side::kNone, piece.clip, error};
  share.any = true;
  shared_ += size;
  const Number behind = ahead + size;
  left = {{piece.position, ahead, piece.clip, piece.source},
          {piece.position + behind, piece.size - behind, piece.clip, piece.source + behind}};
  return Tell(size);
}

}  // namespace clipchain
