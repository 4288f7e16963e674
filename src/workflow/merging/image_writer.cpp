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

std::string UncopiedWords(const std::error_code& error) {
  return error ? "can't be read: " + ErrorText(error) : "ends before its media does";
}

ImageWriter::ImageWriter(const std::vector<std::string>& clips, const MergeImage& image,
                         CopyProgress& progress, Companion* companion)
    : clips_(clips),
      image_(image),
      progress_(progress),
      totals_(clips.size()),
      blocks_(clips, companion),
      source_(clips) {
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
        // Behind the write: the verification that follows reads up to the mark.
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
  // What is left of the pieces where blocks are shared is known piece by piece.
  if (share == nullptr) blocks_.ReadAhead(image_.pieces);
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
  // Told of each block, whoever draws the progress would take as long as the copy.
  const bool isDue = bytes == 0 || done_ == totals_[clip] || done_ / kBetween != before / kBetween;
  if (!isDue) return {};
  const bool goesOn = progress_.Copied(static_cast<long long>(done_));
  return {goesOn ? Side::kNone : Side::kStopped};
}

WriteFault ImageWriter::CopyPiece(const ImagePiece& piece, const Put& put) {
  const bool isOwn = piece.clip == ImagePiece::kNoClip;
  for (Number done = 0; done < piece.size;) {
    const MediaBlocks::Block block = isOwn ? OwnBlock(piece, done) : blocks_.Next(piece, done);
    if (block.bytes == nullptr) return {Side::kClip, piece.clip, block.error};
    if (const std::error_code error = put(piece.position + done, block.bytes, block.size))
      return {Side::kOutput, 0, error};
    done += block.size;
    const WriteFault fault = isOwn ? WriteFault{} : Tell(block.size);
    if (fault.side != Side::kNone) return fault;
  }
  return {};
}

MediaBlocks::Block ImageWriter::OwnBlock(const ImagePiece& piece, Number done) const {
  const Number size = std::min<Number>(piece.size - done, MediaBlocks::kBlock);
  return {image_.Own(piece).data() + done, static_cast<std::size_t>(size)};
}

WriteFault ImageWriter::SharePiece(const ImagePiece& piece, Share& share,
                                   std::vector<ImagePiece>& left) {
  const Number ahead = (0 - piece.source) % share.block;
  // File systems share whole blocks that begin at whole blocks in both files.
  if ((piece.position - piece.source) % share.block != 0 || piece.size < ahead + share.block)
    return {};
  const Number size = (piece.size - ahead) / share.block * share.block;
  const std::shared_ptr<FileBytes> source = source_.At(piece.clip);
  if (source->error()) return {Side::kClip, piece.clip, source->error()};
  const std::error_code error =
      share.output.Share(source->descriptor(), piece.source + ahead, size, piece.position + ahead);
  if (error && !IsRefusal(error)) return {Side::kOutput, 0, error};
  if (error)
    // Once something was shared a refusal is about this piece alone, which is copied.
    return {share.strict || !share.any ? Side::kNotShared : Side::kNone, piece.clip, error};
  share.any = true;
  shared_ += size;
  const Number behind = ahead + size;
  left = {{piece.position, ahead, piece.clip, piece.source},
          {piece.position + behind, piece.size - behind, piece.clip, piece.source + behind}};
  return Tell(size);
}

}  // namespace clipchain
