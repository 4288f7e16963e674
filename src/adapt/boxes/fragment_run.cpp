#include "adapt/boxes/fragment_run.h"

#include <bit>

#include "adapt/boxes/fields.h"

namespace clipchain {

namespace {

using QUIRVA::be32;
using QUIRVA::be64;

// Flags of "tfhd" (8.8.7.1).
constexpr std::uint32_t kBaseDataOffset = 0x1;
constexpr std::uint32_t kDescription = 0x2;
constexpr std::uint32_t kDefaultDuration = 0x8;
constexpr std::uint32_t kDefaultSize = 0x10;
constexpr std::uint32_t kDefaultFlags = 0x20;
constexpr std::uint32_t kDurationIsEmpty = 0x10000;
constexpr std::uint32_t kBaseIsFragment = 0x20000;
constexpr std::uint32_t kHeaderFields =
    kBaseDataOffset | kDescription | kDefaultDuration | kDefaultSize | kDefaultFlags;

// Flags of "trun" (8.8.8.1); those of the entries stand in the order of their fields.
constexpr std::uint32_t kDataOffset = 0x1;
constexpr std::uint32_t kFirstFlags = 0x4;
constexpr std::uint32_t kDuration = 0x100;
constexpr std::uint32_t kSize = 0x200;
constexpr std::uint32_t kFlags = 0x400;
constexpr std::uint32_t kOffset = 0x800;
constexpr std::uint32_t kEntryFields = kDuration | kSize | kFlags | kOffset;
constexpr std::uint32_t kRunFields = kDataOffset | kFirstFlags | kEntryFields;

// Flags above these give no field of their own.
// Those below that are not known may, and would move all fields behind.
constexpr std::uint32_t kFieldFlags = 0xFFFF;

bool TakeVersion(std::span<const unsigned char>& in, unsigned int& version, std::uint32_t& flags) {
  be32 both;
  if (!TakeField(in, both)) return false;
  version = both >> 24;
  flags = both & 0xFFFFFF;
  return true;
}

template <typename Field, typename Value>
bool TakeOptional(std::span<const unsigned char>& in, bool isThere, std::optional<Value>& value) {
  if (!isThere) return true;
  Field field;
  if (!TakeField(in, field)) return false;
  value = static_cast<Value>(typename Field::Value{field});
  return true;
}

// Where the field of that flag begins in an entry.
std::size_t PlaceOf(std::uint32_t flag, std::uint32_t flags) {
  return sizeof(be32) * static_cast<std::size_t>(std::popcount(flags & kEntryFields & (flag - 1)));
}

}  // namespace

std::optional<FragmentRun> FragmentRun::Read(const RawBox& trun, const SampleDefaults& defaults) {
  std::span<const unsigned char> in = trun.data;
  FragmentRun run;
  unsigned int version = 0;
  be32 count;
  if (!TakeVersion(in, version, run.flags_) || version > 1 || !TakeField(in, count) ||
      (run.flags_ & kFieldFlags & ~kRunFields) != 0 ||
      !TakeOptional<be32>(in, (run.flags_ & kDataOffset) != 0, run.dataOffset_) ||
      !TakeOptional<be32>(in, (run.flags_ & kFirstFlags) != 0, run.firstFlags_)) {
    return std::nullopt;
  }
  // Version 0 has offsets without a sign (8.8.8.1).
  run.offsetsAreSigned_ = version == 1;
  run.count_ = count;
  run.defaults_ = defaults;
  run.width_ = sizeof(be32) * static_cast<std::size_t>(std::popcount(run.flags_ & kEntryFields));
  // Entries without fields take no bytes: a run may then count any number of samples, and holds
  // none of them in memory.
  if (run.width_ != 0 && run.count_ > in.size() / run.width_) return std::nullopt;
  run.entries_ = in.first(run.count_ * run.width_);
  return run;
}

std::uint32_t FragmentRun::Field(std::uint32_t index, std::size_t place) const {
  be32 field;
  std::memcpy(&field, entries_.subspan(index * width_ + place).data(), sizeof field);
  return field;
}

FragmentSample FragmentRun::Sample(std::uint32_t index) const {
  FragmentSample sample{defaults_.duration, defaults_.size, defaults_.flags, 0};
  if ((flags_ & kDuration) != 0) sample.duration = Field(index, 0);
  if ((flags_ & kSize) != 0) sample.size = Field(index, PlaceOf(kSize, flags_));
  // They override what is said of that sample otherwise (8.8.8.1).
  if (index == 0 && firstFlags_) {
    sample.flags = *firstFlags_;
  } else if ((flags_ & kFlags) != 0) {
    sample.flags = Field(index, PlaceOf(kFlags, flags_));
  }
  if ((flags_ & kOffset) != 0) {
    const std::uint32_t offset = Field(index, PlaceOf(kOffset, flags_));
    sample.offset = offsetsAreSigned_ ? static_cast<std::int32_t>(offset) : std::int64_t{offset};
  }
  return sample;
}

std::uint64_t FragmentRun::Bytes() const {
  if ((flags_ & kSize) == 0) return std::uint64_t{defaults_.size} * count_;
  const std::size_t place = PlaceOf(kSize, flags_);
  std::uint64_t sum = 0;
  for (std::uint32_t i = 0; i < count_; ++i) sum += Field(i, place);
  return sum;
}

std::optional<FragmentHeader> ReadFragmentHeader(const RawBox& tfhd) {
  std::span<const unsigned char> in = tfhd.data;
  FragmentHeader header;
  unsigned int version = 0;
  std::uint32_t flags = 0;
  be32 trackId;
  if (!TakeVersion(in, version, flags) || version != 0 || !TakeField(in, trackId) ||
      (flags & kFieldFlags & ~kHeaderFields) != 0 ||
      !TakeOptional<be64>(in, (flags & kBaseDataOffset) != 0, header.base) ||
      !TakeOptional<be32>(in, (flags & kDescription) != 0, header.description) ||
      !TakeOptional<be32>(in, (flags & kDefaultDuration) != 0, header.duration) ||
      !TakeOptional<be32>(in, (flags & kDefaultSize) != 0, header.size) ||
      !TakeOptional<be32>(in, (flags & kDefaultFlags) != 0, header.flags)) {
    return std::nullopt;
  }
  header.trackId = trackId;
  header.durationIsEmpty = (flags & kDurationIsEmpty) != 0;
  header.baseIsFragment = (flags & kBaseIsFragment) != 0;
  return header;
}

std::optional<std::uint64_t> ReadFragmentTime(const RawBox& tfdt) {
  std::span<const unsigned char> in = tfdt.data;
  unsigned int version = 0;
  std::uint32_t flags = 0;
  if (!TakeVersion(in, version, flags) || version > 1) return std::nullopt;
  be32 narrow;
  be64 wide;
  if (version == 1) {
    if (!TakeField(in, wide)) return std::nullopt;
    return wide;
  }
  if (!TakeField(in, narrow)) return std::nullopt;
  return std::uint64_t{narrow};
}

std::optional<SampleDefaults> ReadTrackDefaults(const RawBox& trex, std::uint32_t& trackId) {
  struct Record {
    be32 versionAndFlags;
    be32 trackId;
    be32 description;
    be32 duration;
    be32 size;
    be32 flags;
  };
  std::span<const unsigned char> in = trex.data;
  Record record;
  if (!TakeField(in, record) || record.versionAndFlags >> 24 != 0) return std::nullopt;
  trackId = record.trackId;
  return SampleDefaults{record.description, record.duration, record.size, record.flags};
}

}  // namespace clipchain
