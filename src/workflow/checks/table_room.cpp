#include "workflow/checks/table_room.h"

#include <algorithm>
#include <new>
#include <system_error>

#include "box/sample_table_boxes.h"
#include "foundation/platform/pages.h"

namespace clipchain {

namespace {

// Chapters differ a little, and a table that lacks room for one entry is copied as a whole. Room
// that stays empty takes addresses alone.
constexpr double kMargin = 1.0625;
// Tables of less are in memory that was used before.
constexpr std::size_t kLeast = QUIRVA::kLargePage;

}  // namespace

TableRoom::TableRoom(MP4G::CMovieBox* movie, double growth) {
  if (growth <= 1) return;
  try {
    for (MP4G::CTrackBox* track : MP4G::CMovieBox_wr(movie).Tracks()) EnlargeTables(track, growth);
    if (!rooms_.empty()) thread_ = std::async(std::launch::async, [this] { Prepare(); });
  } catch (const std::bad_alloc&) {
    // The tables grow as they would.
  } catch (const std::system_error&) {
    // The memory is cleared once it is used.
  }
}

void TableRoom::EnlargeTables(MP4G::CTrackBox* track, double growth) {
  const MP4G::CSampleTableBox_wr tables(MP4G::CTrackBox_wr(track).SampleTableBox());
  const auto enlarge = [&](auto* box) {
    if (box != nullptr) Enlarge(box->entries, growth);
  };
  enlarge(tables.TimeToSampleBox());
  enlarge(tables.CompositionOffsetBox());
  enlarge(tables.SampleSizeBox());
  enlarge(tables.CompactSampleSizeBox());
  enlarge(tables.SampleToChunkBox());
  enlarge(tables.ChunkLargeOffsetBox());
  enlarge(tables.SyncSampleBox());
  enlarge(tables.SampleDependencyTypeBox());
}

template <class Table>
void TableRoom::Enlarge(Table& table, double growth) {
  using Entry = typename Table::value_type;
  const auto expected = static_cast<std::size_t>(static_cast<double>(table.size()) * growth);
  table.reserve(static_cast<std::size_t>(static_cast<double>(expected) * kMargin));
  if (expected * sizeof(Entry) < kLeast) return;
  rooms_.push_back({reinterpret_cast<unsigned char*>(table.data() + table.size()),
                    (expected - table.size()) * sizeof(Entry)});
}

// All tables grow at once: a step of each, in turn.
void TableRoom::Prepare() const {
  bool isMore = true;
  for (std::size_t done = 0; isMore; done += QUIRVA::kLargePage) {
    isMore = false;
    for (const Room& room : rooms_) {
      if (isOver_) return;
      if (done >= room.size) continue;
      isMore = true;
      QUIRVA::PreparePages(room.begin + done, std::min(room.size - done, QUIRVA::kLargePage));
    }
  }
}

}  // namespace clipchain
