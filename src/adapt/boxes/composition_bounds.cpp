#include "adapt/boxes/composition_bounds.h"

#include <algorithm>
#include <string>

#include "adapt/boxes/fields.h"
#include "adapt/boxes/table_builder.h"
#include "adapt/boxes/track_tables.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

using QUIRVA::be32;
using QUIRVA::be64;

bool FitsShort(std::int64_t value) { return value == static_cast<std::int32_t>(value); }

RawBox BoundsBox(const std::int64_t (&values)[5]) {
  const bool isShort = std::all_of(std::begin(values), std::end(values), FitsShort);
  RawBox box(FourCc("cslg"), {});
  PutField<be32>(box.data, isShort ? 0 : 1U << 24);
  for (const std::int64_t value : values) {
    if (isShort) {
      PutField<be32>(box.data, static_cast<std::uint32_t>(value));
    } else {
      PutField<be64>(box.data, static_cast<std::uint64_t>(value));
    }
  }
  return box;
}

}  // namespace

void CompositionBounds::Append(const RawBox& table) {
  const RawBox* box = table.Child(FourCc("cslg"));
  if (box == nullptr) return;
  // The box is optional: bounds are written where a clip has some (8.6.1.4).
  isThere_ = true;
  std::span<const unsigned char> in = box->data;
  be32 versionAndFlags;
  be32 narrow;
  be64 wide;
  if (!TakeField(in, versionAndFlags)) return;
  if (versionAndFlags >> 24 == 0 && TakeField(in, narrow)) {
    shift_ = std::max<std::int64_t>(shift_, static_cast<std::int32_t>(std::uint32_t{narrow}));
  } else if (versionAndFlags >> 24 == 1 && TakeField(in, wide)) {
    shift_ = std::max(shift_, static_cast<std::int64_t>(std::uint64_t{wide}));
  }
}

void CompositionBounds::Write(RawBox& table) const {
  if (!isThere_) return;
  TableBuilder tables;
  // Without offsets each sample is shown when it is decoded.
  const RawBox* box = table.Child(FourCc("ctts"));
  const auto offsets = box != nullptr ? ReadOffsets(*box) : OffsetRuns{{1, 0}};
  // Bounds that can't be reckoned are better missing than wrong: players do without them.
  if (tables.TakeTables(table) || !offsets || offsets->empty()) {
    table.Remove(FourCc("cslg"));
    return;
  }
  const auto [least, greatest] = std::minmax_element(
      offsets->begin(), offsets->end(),
      [](const OffsetRun& a, const OffsetRun& b) { return a.offset < b.offset; });
  // All samples are shown no earlier than they are decoded, once they are moved by it.
  const std::int64_t shift = std::max({shift_, -least->offset, std::int64_t{0}});
  ReplaceChild(table, BoundsBox({shift, least->offset, greatest->offset, tables.FirstShown(),
                                 tables.LastShown()}));
}

}  // namespace clipchain
