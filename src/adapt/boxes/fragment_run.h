// Reads the runs of samples that a movie fragment holds (ISO/IEC 14496-12, 8.8).
#pragma once

#include <cstdint>
#include <cstring>
#include <optional>
#include <span>

#include "adapt/boxes/raw_boxes.h"
#include "foundation/big_endian.h"

namespace clipchain {

// What a sample has where its run does not say: from "trex", then from "tfhd".
struct SampleDefaults {
  std::uint32_t description = 0;
  std::uint32_t duration = 0;
  std::uint32_t size = 0;
  std::uint32_t flags = 0;
};

struct FragmentSample {
  std::uint32_t duration = 0;
  std::uint32_t size = 0;
  // As in 8.8.3.1: dependencies, padding, whether it is no sync sample, priority.
  std::uint32_t flags = 0;
  // How much later it is shown than it is decoded.
  std::int64_t offset = 0;
};

// One "trun", lent by its box.
class FragmentRun {
 public:
  // Nothing: fewer bytes than its samples need, or flags that no version defines.
  static std::optional<FragmentRun> Read(const RawBox& trun, const SampleDefaults& defaults);

  std::uint32_t Count() const { return count_; }
  // How many of its samples the bytes of the box speak of, one by one; 0 if all are alike.
  std::uint32_t Spelled() const { return width_ != 0 ? count_ : 0; }
  // Where its data begins, as seen from the base of the track fragment.
  std::optional<std::int32_t> DataOffset() const { return dataOffset_; }
  // The data of all its samples.
  std::uint64_t Bytes() const;

  // Calls visit(count, sample) for samples that are alike, in their order.
  template <typename Visit>
  void ForEach(Visit visit) const {
    std::uint32_t i = 0;
    if (width_ == 0) {
      if (count_ > 0 && firstFlags_) visit(1, Sample(i++));
      if (i < count_) visit(count_ - i, Sample(i));
      return;
    }
    for (; i < count_; ++i) visit(1, Sample(i));
  }

 private:
  FragmentSample Sample(std::uint32_t index) const;
  std::uint32_t Field(std::uint32_t index, std::size_t place) const;

  std::span<const unsigned char> entries_;
  // Bytes of an entry.
  std::size_t width_ = 0;
  std::uint32_t flags_ = 0;
  bool offsetsAreSigned_ = false;
  std::uint32_t count_ = 0;
  std::optional<std::int32_t> dataOffset_;
  std::optional<std::uint32_t> firstFlags_;
  SampleDefaults defaults_;
};

// "tfhd".
struct FragmentHeader {
  std::uint32_t trackId = 0;
  std::optional<std::uint64_t> base;
  bool baseIsFragment = false;
  bool durationIsEmpty = false;
  // What it gives in place of the defaults of "trex".
  std::optional<std::uint32_t> description;
  std::optional<std::uint32_t> duration;
  std::optional<std::uint32_t> size;
  std::optional<std::uint32_t> flags;
};

// Each gives nothing where the box is too short, of an unknown version or has unknown flags.
std::optional<FragmentHeader> ReadFragmentHeader(const RawBox& tfhd);
std::optional<std::uint64_t> ReadFragmentTime(const RawBox& tfdt);
// The identifier of the track that "trex" speaks of, and its defaults.
std::optional<SampleDefaults> ReadTrackDefaults(const RawBox& trex, std::uint32_t& trackId);

}  // namespace clipchain
