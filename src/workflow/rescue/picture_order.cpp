#include "workflow/rescue/picture_order.h"

namespace clipchain::rescue {

// Gaps in frame numbers are allowed to streams from which pictures were taken
// out; cameras write none. Two pictures in a row that set everything back have
// different identifiers (7.4.3).
bool PictureOrder::Follows(const Slice& slice, const SequenceSet& sequence) const {
  if (!any_) return true;
  if (slice.idr) return !idr_ || slice.idrId != idrId_;
  const unsigned int most = 1U << sequence.frameNumberBits;
  return slice.frameNumber == (referenceNumber_ + 1) % most;
}

std::int64_t PictureOrder::StepTo(Codec codec, const Slice& slice,
                                  const SequenceSet& sequence) const {
  if (!any_ || slice.idr) return 0;
  PictureOrder next = *this;
  return next.Take(codec, slice, sequence) - order_;
}

std::int64_t PictureOrder::Take(Codec codec, const Slice& slice, const SequenceSet& sequence) {
  const std::int64_t order = OrderOf(codec, slice, sequence);
  any_ = true;
  order_ = order;
  idr_ = slice.idr;
  idrId_ = slice.idrId;
  number_ = slice.frameNumber;
  if (slice.referenceIdc != 0) referenceNumber_ = slice.frameNumber;
  return order;
}

std::int64_t PictureOrder::OrderOf(Codec codec, const Slice& slice, const SequenceSet& sequence) {
  if (codec == Codec::kAvc && sequence.orderType != 0) return OrderByNumber(slice, sequence);
  const std::int64_t most = std::int64_t{1} << sequence.orderBits;
  const auto low = static_cast<std::int64_t>(slice.orderLow);
  const bool setsBack =
      slice.idr || !any_ || (codec == Codec::kHevc && slice.randomAccess && slice.unitType <= 18);
  std::int64_t high = setsBack ? 0 : orderHigh_;
  if (!setsBack && low < orderLow_ && orderLow_ - low >= most / 2) high += most;
  if (!setsBack && low > orderLow_ && low - orderLow_ > most / 2) high -= most;
  // Pictures that the next ones are not counted from: those nobody refers to;
  // with HEVC those of upper layers of time and those that lead a random access
  // picture.
  const bool counts = codec == Codec::kAvc ? slice.referenceIdc != 0
                                           : slice.temporalId == 0 && slice.unitType != 0 &&
                                                 !(slice.unitType >= 6 && slice.unitType <= 9);
  if (counts || setsBack) {
    orderHigh_ = high;
    orderLow_ = low;
  }
  // Of the two fields of a frame the earlier one counts.
  return high + low + (slice.orderBottom < 0 ? slice.orderBottom : 0);
}

// Types 1 and 2, where pictures are shown in the order of their numbers
// (8.2.1.2 and 8.2.1.3); the cycles of type 1 are not followed, which the
// reference's own offsets tell.
std::int64_t PictureOrder::OrderByNumber(const Slice& slice, const SequenceSet& sequence) {
  if (slice.idr || !any_) {
    numberOffset_ = 0;
  } else if (number_ > slice.frameNumber) {
    numberOffset_ += 1U << sequence.frameNumberBits;
  }
  const std::int64_t order = 2 * (std::int64_t{numberOffset_} + slice.frameNumber);
  return slice.referenceIdc == 0 && order > 0 ? order - 1 : order;
}

}  // namespace clipchain::rescue
