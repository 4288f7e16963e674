#include "workflow/assembling/moved_offsets.h"

#include <algorithm>
#include <limits>

#include "adapt/fields.h"
#include "foundation/big_endian.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

constexpr std::uint64_t kMostNarrow = std::numeric_limits<std::uint32_t>::max();

// Version, flags and the number of entries (ISO/IEC 14496-12, clause 8.7.5).
constexpr std::size_t kHead = 8;

template <class Field>
std::uint64_t At(const Bytes& data, std::size_t index) {
  std::span<const unsigned char> rest = std::span(data).subspan(kHead + index * sizeof(Field));
  Field field;
  return TakeField(rest, field) ? std::uint64_t{field} : 0;
}

// The table in 32 or 64 bits; what stands behind its entries stays.
template <class From, class To>
Bytes Moved(const Bytes& data, std::size_t count, std::uint64_t by) {
  Bytes moved(data.begin(), data.begin() + kHead);
  moved.reserve(data.size() + count * (sizeof(To) - sizeof(From)));
  for (std::size_t i = 0; i < count; ++i)
    PutField<To>(moved, static_cast<typename To::Value>(At<From>(data, i) + by));
  const auto behind = static_cast<std::ptrdiff_t>(kHead + count * sizeof(From));
  moved.insert(moved.end(), data.begin() + behind, data.end());
  return moved;
}

bool Move(RawBox& box, std::uint64_t by) {
  const bool isWide = box.type == FourCc("co64");
  if (box.data.size() < kHead) return false;
  std::span<const unsigned char> rest = std::span(box.data).subspan(kHead - sizeof(QUIRVA::be32));
  QUIRVA::be32 field;
  if (!TakeField(rest, field)) return false;
  const auto count = static_cast<std::size_t>(std::uint32_t{field});
  if (count > rest.size() / (isWide ? sizeof(QUIRVA::be64) : sizeof(QUIRVA::be32))) return false;
  if (isWide) {
    box.data = Moved<QUIRVA::be64, QUIRVA::be64>(box.data, count, by);
    return true;
  }
  std::uint64_t most = 0;
  for (std::size_t i = 0; i < count; ++i) most = std::max(most, At<QUIRVA::be32>(box.data, i) + by);
  // As the engine does it: a table is wide where an offset needs it, since there are readers that
  // know no "co64".
  if (most <= kMostNarrow) {
    box.data = Moved<QUIRVA::be32, QUIRVA::be32>(box.data, count, by);
  } else {
    box.data = Moved<QUIRVA::be32, QUIRVA::be64>(box.data, count, by);
    box.type = FourCc("co64");
  }
  return true;
}

// From the children of "moov" down to the tables of every track.
bool MoveBelow(RawBox& parent, std::span<const std::uint32_t> path, std::uint64_t by) {
  return std::all_of(parent.children.begin(), parent.children.end(), [=](RawBox& child) {
    // Only at the end of the whole path is "stco" a track's table of chunks (clause 8.7.5): what
    // has its type elsewhere holds no offsets.
    if (!path.empty()) return child.type != path.front() || MoveBelow(child, path.subspan(1), by);
    return (child.type != FourCc("stco") && child.type != FourCc("co64")) || Move(child, by);
  });
}

}  // namespace

std::optional<Bytes> WithMovedOffsets(std::span<const unsigned char> movie, std::uint64_t by) {
  static constexpr std::uint32_t kPath[] = {FourCc("trak"), FourCc("mdia"), FourCc("minf"),
                                            FourCc("stbl")};
  RawBox box;
  if (!box.Take(movie) || !movie.empty() || box.type != FourCc("moov")) return std::nullopt;
  if (!MoveBelow(box, kPath, by)) return std::nullopt;
  Bytes bytes;
  bytes.reserve(static_cast<std::size_t>(box.Size()));
  box.Write(bytes);
  return bytes;
}

}  // namespace clipchain
