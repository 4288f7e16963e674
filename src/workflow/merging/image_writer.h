// Writes a merged file as its image says.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <system_error>
#include <vector>

#include "workflow/assembling/merge_image.h"
#include "workflow/merging/copy_progress.h"
#include "workflow/merging/media_blocks.h"
#include "workflow/merging/watermark.h"

namespace clipchain {

// Why an image was not written to its end.
struct WriteFault {
  enum class Side {
    kNone,
    // The progress said so.
    kStopped,
    // `clip` can't be read; without an error it ends before its media does.
    kClip,
    // The output can't be written.
    kOutput,
    // The file system can't share the media of `clip`.
    kNotShared,
  };

  Side side = Side::kNone;
  std::size_t clip = 0;
  // Of the system.
  std::error_code error{};
};

// Of a clip that could not be read with that error, as the rest of a sentence.
std::string UncopiedWords(const std::error_code& error);

class ImageWriter {
 public:
  // All must outlive this object. The progress hears of each clip as it does when the engine
  // copies. `companion`, unless it is null, sees most of the media.
  ImageWriter(const std::vector<std::string>& clips, const MergeImage& image,
              CopyProgress& progress, Companion* companion = nullptr);

  // Into an empty file, through its descriptor, whatever its position: first what stands in no
  // clip, then clip by clip, with the mark, unless it is null, raised behind what is written. The
  // file is not flushed.
  [[nodiscard]] WriteFault WriteTo(int file, Watermark* mark = nullptr);

  // The same, and shares whole blocks of that size with the clips where image and clip have them at
  // places that are the same modulo a block. `strict`: media that can't be shared ends the work.
  // Else it is copied; but if the first that there is can't be, the work ends, too, and where
  // nothing was shared it does not count.
  [[nodiscard]] WriteFault ShareWith(int file, unsigned int block, bool strict);
  // Bytes that were shared.
  unsigned long long Shared() const { return shared_; }

  // From the beginning to the end, piece by piece, through `write`, which answers the error of
  // the system.
  using Write = std::function<std::error_code(const unsigned char* bytes, std::size_t size)>;
  [[nodiscard]] WriteFault WriteThrough(const Write& write);

 private:
  struct Share;

  // Writes bytes that belong at that place.
  using Put = std::function<std::error_code(unsigned long long at, const unsigned char* bytes,
                                            std::size_t)>;

  [[nodiscard]] WriteFault Run(const Put& put, Share* share);
  [[nodiscard]] WriteFault CopyPiece(const ImagePiece& piece, const Put& put);
  MediaBlocks::Block OwnBlock(const ImagePiece& piece, unsigned long long done) const;
  // What of the piece is left ahead of the shared blocks and behind them.
  [[nodiscard]] WriteFault SharePiece(const ImagePiece& piece, Share& share,
                                      std::vector<ImagePiece>& left);
  [[nodiscard]] WriteFault StartClipsUpTo(std::size_t clip);
  [[nodiscard]] WriteFault Tell(unsigned long long bytes);

  const std::vector<std::string>& clips_;
  const MergeImage& image_;
  CopyProgress& progress_;
  // Bytes of media of each clip.
  std::vector<unsigned long long> totals_;
  MediaBlocks blocks_;
  // Of which blocks are shared.
  OpenClip source_;
  // Clips.
  std::size_t started_ = 0;
  // Of the clip at work.
  unsigned long long done_ = 0;
  unsigned long long shared_ = 0;
};

}  // namespace clipchain
