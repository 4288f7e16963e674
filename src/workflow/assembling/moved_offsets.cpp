#include "workflow/assembling/moved_offsets.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <span>
#include <vector>

#include "adapt/boxes/fields.h"
#include "adapt/boxes/track_tables.h"
#include "foundation/big_endian.h"
#include "foundation/fourcc.h"
#include "workflow/boxes/box_span.h"

namespace clipchain {

namespace {

using QUIRVA::be32;
using QUIRVA::be64;

constexpr std::uint64_t kMostNarrow = std::numeric_limits<std::uint32_t>::max();

// Down to the tables of every track.
constexpr std::uint32_t kPath[] = {FourCc("moov"), FourCc("trak"), FourCc("mdia"), FourCc("minf"),
                                   FourCc("stbl")};

// The entries of a table, behind version, flags and their number (ISO/IEC 14496-12, clause 8.7.5).
struct Table {
  std::span<unsigned char> entries;
  bool isWide;
};

bool ReadTable(std::span<unsigned char> body, bool isWide, std::vector<Table>& tables) {
  std::span<const unsigned char> rest = body;
  be32 versionAndFlags;
  be32 count;
  if (!TakeField(rest, versionAndFlags) || !TakeField(rest, count)) return false;
  const std::size_t size = isWide ? sizeof(be64) : sizeof(be32);
  if (count > rest.size() / size) return false;
  tables.push_back({body.subspan(body.size() - rest.size(), count * size), isWide});
  return true;
}

// False where a table is shorter than it says. What stands behind the last box that fits is none,
// and only at the end of the whole path is "stco" a track's table of chunks: what has its type
// elsewhere holds no offsets.
bool FindTables(std::span<unsigned char> boxes, std::span<const std::uint32_t> path,
                std::vector<Table>& tables) {
  while (const auto box = TakeBox(boxes)) {
    const bool isWide = box->type == FourCc("co64");
    if (!path.empty()) {
      if (box->type == path.front() && !FindTables(box->body, path.subspan(1), tables))
        return false;
    } else if ((isWide || box->type == FourCc("stco")) && !ReadTable(box->body, isWide, tables)) {
      return false;
    }
  }
  return true;
}

template <class Field, class Change>
void ForEachOffset(std::span<unsigned char> entries, Change change) {
  for (; !entries.empty(); entries = entries.subspan(sizeof(Field))) {
    Field field;
    std::memcpy(&field, entries.data(), sizeof field);
    change(field);
    std::memcpy(entries.data(), &field, sizeof field);
  }
}

bool HasRoom(const Table& table, std::uint64_t by) {
  std::uint64_t most = 0;
  if (!table.isWide)
    ForEachOffset<be32>(table.entries,
                        [&](const be32& offset) { most = std::max(most, offset + by); });
  return most <= kMostNarrow;
}

void Move(const Table& table, std::uint64_t by) {
  const auto move = [by](auto& offset) {
    using Field = std::decay_t<decltype(offset)>;
    offset = static_cast<typename Field::Value>(offset + by);
  };
  if (table.isWide) {
    ForEachOffset<be64>(table.entries, move);
  } else {
    ForEachOffset<be32>(table.entries, move);
  }
}

// Gives 64 bits to each table that needs them, and to no other, since there are readers that know
// no "co64"; what stands behind its entries stays.
void Widen(RawBox& parent, std::span<const std::uint32_t> path, std::uint64_t by) {
  for (RawBox& child : parent.children) {
    if (!path.empty()) {
      if (child.type == path.front()) Widen(child, path.subspan(1), by);
      continue;
    }
    std::vector<Table> tables;
    if (child.type != FourCc("stco") || !ReadTable(child.data, false, tables) ||
        HasRoom(tables.front(), by))
      continue;
    Bytes wide(child.data.data(), tables.front().entries.data());
    ForEachOffset<be32>(tables.front().entries,
                        [&](const be32& offset) { PutField<be64>(wide, offset); });
    const auto entriesEnd = &tables.front().entries.back() + 1;
    wide.insert(wide.end(), entriesEnd, child.data.data() + child.data.size());
    child.data = std::move(wide);
    child.type = FourCc("co64");
  }
}

}  // namespace

bool MoveOffsets(Bytes& movie, std::uint64_t by) {
  const auto header = TakeBoxHeader(movie);
  std::vector<Table> tables;
  if (!header || header->type != kPath[0] || header->size != movie.size() ||
      !FindTables(movie, kPath, tables))
    return false;
  const auto hasRoom = [by](const Table& table) { return HasRoom(table, by); };
  if (!std::all_of(tables.begin(), tables.end(), hasRoom)) {
    std::span<const unsigned char> bytes = movie;
    RawBox box;
    if (!box.Take(bytes)) return false;
    Widen(box, std::span(kPath).subspan(1), by);
    movie.clear();
    box.Write(movie);
    return MoveOffsets(movie, by);
  }
  for (const Table& table : tables) Move(table, by);
  return true;
}

}  // namespace clipchain
