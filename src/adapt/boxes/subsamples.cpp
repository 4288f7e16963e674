#include "adapt/boxes/subsamples.h"

#include <span>
#include <utility>

#include "adapt/boxes/fields.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

using QUIRVA::be16;
using QUIRVA::be32;

// Behind its size, of 16 or 32 bits: priority, discardable and what the codec says.
struct SubsampleEnd {
  unsigned char bytes[6];
};

// Takes one sample's subsamples and appends them, each with a size of 32 bits if `toWide`.
bool TakeSample(std::span<const unsigned char>& in, bool isWide, bool toWide, Bytes& out) {
  be16 count;
  if (!TakeField(in, count)) return false;
  PutRecord(out, count);
  for (std::uint32_t i = 0; i < count; ++i) {
    be16 narrow;
    be32 wide;
    SubsampleEnd end;
    if (isWide ? !TakeField(in, wide) : !TakeField(in, narrow)) return false;
    if (!TakeField(in, end)) return false;
    if (isWide) {
      PutRecord(out, wide);
    } else if (toWide) {
      PutField<be32>(out, narrow);
    } else {
      PutRecord(out, narrow);
    }
    PutRecord(out, end);
  }
  return true;
}

// The same table with sizes of 32 bits; each entry begins with the sample's distance.
Bytes Widened(const Bytes& data) {
  std::span<const unsigned char> in = data;
  Bytes wide;
  be32 distance;
  while (TakeField(in, distance)) {
    PutRecord(wide, distance);
    if (!TakeSample(in, false, true, wide)) break;
  }
  return wide;
}

}  // namespace

void Subsamples::Append(const RawBox& parent, std::uint32_t samples) {
  for (const RawBox& box : parent.children) {
    if (box.type == FourCc("subs") && !isLeftOut_ && !Take(box, samples)) {
      tables_.clear();
      isLeftOut_ = true;
    }
  }
  samples_ += samples;
}

bool Subsamples::Take(const RawBox& box, std::uint32_t samples) {
  std::span<const unsigned char> in = box.data;
  be32 versionAndFlags;
  be32 count;
  if (!TakeField(in, versionAndFlags) || !TakeField(in, count)) return false;
  const unsigned int version = versionAndFlags >> 24;
  if (version > 1 || count > in.size()) return false;
  const bool isWide = version == 1;
  Table& table = tables_[versionAndFlags & 0xFFFFFF];
  // A second one of these flags in a part.
  if (table.last > samples_) return false;
  // Sizes of 16 bits and of 32 do not stand in one table: its version says which (8.7.7.2).
  if (isWide && !table.isWide) table.data = Widened(table.data);
  table.isWide = table.isWide || isWide;
  std::uint64_t sample = samples_;
  for (std::uint32_t i = 0; i < count; ++i) {
    be32 distance;
    // A distance of 0 would be a second entry for one sample, or one for a sample 0.
    if (!TakeField(in, distance) || distance == 0) return false;
    sample += distance;
    const std::uint64_t from = sample - table.last;
    if (sample > samples_ + samples || from > 0xFFFFFFFF) return false;
    // From the entry before in the joined table, which may be of an earlier clip (8.7.7.3).
    PutField<be32>(table.data, static_cast<std::uint32_t>(from));
    if (!TakeSample(in, isWide, table.isWide, table.data)) return false;
    table.last = sample;
    ++table.entries;
  }
  return true;
}

void Subsamples::Write(RawBox& table) const {
  table.Remove(FourCc("subs"));
  for (const auto& [flags, joined] : tables_) {
    RawBox box(FourCc("subs"), {});
    PutField<be32>(box.data, (joined.isWide ? 1U << 24 : 0) | flags);
    PutField<be32>(box.data, joined.entries);
    box.data.insert(box.data.end(), joined.data.begin(), joined.data.end());
    table.children.push_back(std::move(box));
  }
}

}  // namespace clipchain
