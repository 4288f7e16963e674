// Asks a decoder where frames of compressed sound end, and whether a picture is
// whole.
//
// A build without the decoder's library has neither: HasDecoder() says so, and
// nothing is found.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "workflow/rescue/video_syntax.h"

namespace clipchain::rescue {

bool HasDecoder();

// Frames of AAC (ISO/IEC 14496-3, 4.4.2.1), which do not say how long they are.
class SoundDecoder {
 public:
  // `configuration` is the AudioSpecificConfig; `witness` is a frame that is
  // known to be whole.
  SoundDecoder(std::span<const unsigned char> configuration,
               std::span<const unsigned char> witness);
  ~SoundDecoder();
  SoundDecoder(const SoundDecoder&) = delete;
  SoundDecoder& operator=(const SoundDecoder&) = delete;

  bool good() const { return decoder_ != nullptr; }

  // The sizes of the frames that fill the bytes exactly; empty if none do. The
  // witness is put behind them: the last frame ends where the decoder finds the
  // witness. With `silentFirst` the first frame may be one that yields no
  // sound, as streams begin with.
  std::vector<std::uint32_t> Fill(std::span<const unsigned char> bytes, bool silentFirst);
  // The sizes of the frames that begin with the bytes and of which each is
  // followed by another one.
  std::vector<std::uint32_t> Begin(std::span<const unsigned char> bytes, bool silentFirst);
  // The size of the frame that the bytes begin with, whatever stands behind it; 0: none does.
  std::uint32_t SizeOf(std::span<const unsigned char> bytes, bool silentFirst);

 private:
  struct Decoder;
  bool HoldsFrame(std::span<const unsigned char> bytes);
  std::vector<std::size_t> Starts(std::span<const unsigned char> bytes, bool witness);
  void WarmUp();

  std::vector<unsigned char> witness_;
  std::vector<unsigned char> buffer_;
  std::unique_ptr<Decoder> decoder_;
};

// Whether the access unit is one whole picture by the description, and every
// part of it can be decoded.
bool DecodesPicture(Codec codec, std::span<const unsigned char> configuration,
                    std::span<const unsigned char> accessUnit);

}  // namespace clipchain::rescue
