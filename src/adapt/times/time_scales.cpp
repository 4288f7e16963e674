#include "adapt/times/time_scales.h"

#include <limits>
#include <optional>

#include "adapt/boxes/track_headers.h"
#include "adapt/boxes/track_tables.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

__extension__ using Wide = __int128;

struct Scales {
  std::uint32_t from;
  std::uint32_t to;
};

// Half a tick is rounded up; nothing where 64 bits do not hold it.
std::optional<std::uint64_t> Nearest(std::uint64_t ticks, Scales scales) {
  const Wide converted = (Wide{ticks} * scales.to * 2 + scales.from) / (Wide{scales.from} * 2);
  if (converted > Wide{std::numeric_limits<std::int64_t>::max()}) return std::nullopt;
  return static_cast<std::uint64_t>(converted);
}

// A duration that is not known stays so, and one beyond all measure as it is.
std::uint64_t ConvertedDuration(std::uint64_t duration, Scales scales) {
  return duration == kUnknownDuration ? duration : Nearest(duration, scales).value_or(duration);
}

template <typename Number>
bool ConvertExactly(Number& ticks, Scales scales) {
  const Wide product = Wide{ticks} * scales.to;
  // Half a tick a sample would add up to a drift; one in a header or an edit does not.
  if (product % scales.from != 0) return false;
  const Wide converted = product / scales.from;
  ticks = static_cast<Number>(converted);
  return Wide{ticks} == converted;
}

void ConvertEdits(RawBox& trak, Scales movie, Scales media) {
  RawBox* box = trak.At({FourCc("edts"), FourCc("elst")});
  auto edits = box != nullptr ? ReadEdits(*box) : std::nullopt;
  if (!edits) return;
  for (Edit& edit : *edits) {
    edit.duration = ConvertedDuration(edit.duration, movie);
    // -1 is no time: the edit shows nothing (8.6.6.3).
    if (edit.mediaTime <= 0) continue;
    const auto time = Nearest(static_cast<std::uint64_t>(edit.mediaTime), media);
    if (time) edit.mediaTime = static_cast<std::int64_t>(*time);
  }
  *box = EditsBox(*edits);
}

constexpr Scales kSame{1, 1};

void ConvertTrackHeader(RawBox& trak, Scales scales) {
  RawBox* box = trak.Child(FourCc("tkhd"));
  auto header = box != nullptr ? ReadTrackHeader(*box) : std::nullopt;
  if (!header) return;
  header->duration = ConvertedDuration(header->duration, scales);
  static_cast<void>(WriteTrackHeader(*box, *header));
}

// The new table, or none where it is missing: false if it can't be read or is not exact.
bool ConvertTimes(const RawBox& table, Scales scales, std::optional<RawBox>& result) {
  const RawBox* box = table.Child(FourCc("stts"));
  if (box == nullptr) return true;
  auto runs = ReadTimes(*box);
  if (!runs) return false;
  for (TimeRun& run : *runs) {
    if (!ConvertExactly(run.delta, scales)) return false;
  }
  result = TimesBox(*runs);
  return true;
}

bool ConvertOffsets(const RawBox& table, Scales scales, std::optional<RawBox>& result) {
  const RawBox* box = table.Child(FourCc("ctts"));
  if (box == nullptr) return true;
  auto runs = ReadOffsets(*box);
  if (!runs) return false;
  for (OffsetRun& run : *runs) {
    if (!ConvertExactly(run.offset, scales)) return false;
  }
  result = OffsetsBox(*runs);
  return result.has_value();
}

}  // namespace

bool ConvertMovieScale(RawBox& movie, std::uint32_t scale) {
  RawBox* box = movie.Child(FourCc("mvhd"));
  auto header = box != nullptr ? ReadTimeHeader(*box) : std::nullopt;
  if (!header || header->scale == 0 || scale == 0) return false;
  const Scales scales{header->scale, scale};
  header->scale = scale;
  header->duration = ConvertedDuration(header->duration, scales);
  if (!WriteTimeHeader(*box, *header)) return false;
  for (RawBox& child : movie.children) {
    if (child.type != FourCc("trak")) continue;
    ConvertTrackHeader(child, scales);
    ConvertEdits(child, scales, kSame);
  }
  return true;
}

bool ConvertMediaScale(RawBox& trak, std::uint32_t scale) {
  RawBox* box = trak.At({FourCc("mdia"), FourCc("mdhd")});
  auto header = box != nullptr ? ReadTimeHeader(*box) : std::nullopt;
  RawBox* table = SampleTable(trak);
  if (!header || header->scale == 0 || scale == 0 || table == nullptr) return false;
  const Scales scales{header->scale, scale};
  std::optional<RawBox> times;
  std::optional<RawBox> offsets;
  // Both tables ahead of any change: a track of which one alone counts otherwise would be out of
  // step.
  if (!ConvertTimes(*table, scales, times) || !ConvertOffsets(*table, scales, offsets))
    return false;
  header->scale = scale;
  header->duration = ConvertedDuration(header->duration, scales);
  if (!WriteTimeHeader(*box, *header)) return false;
  if (times) *table->Child(FourCc("stts")) = std::move(*times);
  if (offsets) *table->Child(FourCc("ctts")) = std::move(*offsets);
  // Bounds of composition times in the old units; whoever needs them finds them in the table.
  table->Remove(FourCc("cslg"));
  ConvertEdits(trak, kSame, scales);
  return true;
}

}  // namespace clipchain
