// Finds samples of sound, one way for each kind of it: each splits a piece
// of media into samples and is sure of it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "workflow/rescue/harvest.h"
#include "workflow/rescue/media_window.h"
#include "workflow/rescue/reference.h"

namespace clipchain::rescue {

// Tells whether a picture may begin at that place of the file: what is behind
// it is no sound.
class BeginsOther {
 public:
  virtual ~BeginsOther() = default;
  enum class Answer { kNo, kMaybe, kTooShort };
  virtual Answer At(std::uint64_t position) = 0;
};

class FrameMethod {
 public:
  virtual ~FrameMethod() = default;
  virtual std::string_view Name() const = 0;
  // To be called before a walk through media: what comes next is the track's
  // first sample.
  virtual void Restart() {}
  // The samples that stand there are the track's next ones.
  virtual void Taken(MediaWindow&, ByteRange) {}
  // The samples that fill that part of the file exactly; nothing if none do.
  virtual std::optional<SampleSpan> Fill(MediaWindow& window, ByteRange range) = 0;
  // So many samples at the beginning of that part, whose ends are sure; nothing if there are fewer.
  // Of samples that begin with a mark there are as many as follow one another.
  virtual std::optional<SampleSpan> Take(MediaWindow&, ByteRange, std::uint64_t) {
    return std::nullopt;
  }
  // Bytes that each sample begins with, which IsMark() knows; 0: none.
  virtual std::size_t MarkSize() const { return 0; }
  virtual bool IsMark(const unsigned char*) const { return false; }
  // The samples at the beginning of a part that was cut, which is shorter than
  // it was: those whose ends are sure.
  virtual SampleSpan Begin(MediaWindow& window, ByteRange range, BeginsOther& other) = 0;
  // Not 0: all samples have that size.
  virtual std::uint32_t UniformSize() const { return 0; }
};

// The method for a track of the reference; null where there is none. `counts`
// are the numbers of samples that pieces of the track have there.
std::unique_ptr<FrameMethod> MakeFrameMethod(const Reference& reference, std::size_t track,
                                             const std::vector<std::uint64_t>& counts);

}  // namespace clipchain::rescue
