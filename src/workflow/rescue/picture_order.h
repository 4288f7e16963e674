// Tells which picture may follow which, and when each is shown.
#pragma once

#include <cstdint>

#include "workflow/rescue/video_syntax.h"

namespace clipchain::rescue {

// Follows the pictures in the order in which they are decoded. Small enough to
// be copied where a step may have to be taken back.
class PictureOrder {
 public:
  // Whether the picture may stand behind those that were taken: its number is
  // the next one. With HEVC, which has no such numbers, always.
  bool Follows(const Slice& slice, const SequenceSet& sequence) const;
  // How far from the last picture's the count of the next one would be; 0 where the counts start
  // anew.
  std::int64_t StepTo(Codec codec, const Slice& slice, const SequenceSet& sequence) const;
  // Takes a picture; its picture order count (ISO/IEC 14496-10, 8.2.1; ISO/IEC
  // 23008-2, 8.3.1), counted from the last picture that sets it back.
  std::int64_t Take(Codec codec, const Slice& slice, const SequenceSet& sequence);

 private:
  std::int64_t OrderOf(Codec codec, const Slice& slice, const SequenceSet& sequence);
  std::int64_t OrderByNumber(const Slice& slice, const SequenceSet& sequence);

  bool any_ = false;
  // Of the last picture.
  std::int64_t order_ = 0;
  // Frame number of the last picture that others refer to.
  unsigned int referenceNumber_ = 0;
  // Of the last picture.
  unsigned int number_ = 0;
  unsigned int numberOffset_ = 0;
  unsigned int idrId_ = 0;
  bool idr_ = false;
  std::int64_t orderHigh_ = 0;
  std::int64_t orderLow_ = 0;
};

}  // namespace clipchain::rescue
