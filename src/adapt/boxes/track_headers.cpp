#include "adapt/boxes/track_headers.h"

#include <span>
#include <utility>

#include "adapt/boxes/fields.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

using QUIRVA::be32;
using QUIRVA::be64;

constexpr std::uint64_t kMost32Bits = 0xFFFFFFFF;

// What "mvhd", "mdhd" and "tkhd" begin with. Between the dates and the duration stands the time
// scale or, in "tkhd", the identifier and 32 reserved bits.
template <typename Time>
struct HeaderStart {
  be32 versionAndFlags;
  Time creationTime;
  Time modificationTime;
};

template <typename Time>
struct TimeFields {
  HeaderStart<Time> start;
  be32 scale;
  Time duration;
};

template <typename Time>
struct TrackFields {
  HeaderStart<Time> start;
  be32 id;
  be32 reserved;
  Time duration;
};

using ShortTime = TimeFields<be32>;
using LargeTime = TimeFields<be64>;
using ShortTrack = TrackFields<be32>;
using LargeTrack = TrackFields<be64>;

std::optional<unsigned int> Version(const RawBox& box) {
  if (box.data.size() < sizeof(be32) || box.data.front() > 1) return std::nullopt;
  return box.data.front();
}

template <typename Fields>
std::optional<Fields> Taken(const RawBox& box) {
  std::span<const unsigned char> in = box.data;
  Fields fields;
  if (!TakeField(in, fields)) return std::nullopt;
  return fields;
}

std::uint64_t Duration(const be32& duration) {
  // All bits set say so in either width (8.2.2.3).
  return duration == kMost32Bits ? kUnknownDuration : duration;
}

bool FitsShort(std::uint64_t duration) {
  return duration < kMost32Bits || duration == kUnknownDuration;
}

// Replaces the fields that a box begins with.
template <typename Fields>
void Replace(RawBox& box, std::size_t old, const Fields& fields) {
  Bytes bytes;
  bytes.reserve(box.data.size() + sizeof fields - old);
  PutRecord(bytes, fields);
  bytes.insert(bytes.end(), box.data.begin() + static_cast<std::ptrdiff_t>(old), box.data.end());
  box.data = std::move(bytes);
}

template <typename Large, typename Short>
Large Widened(const Short& fields) {
  Large large{};
  large.start.versionAndFlags = fields.start.versionAndFlags | 0x01000000;
  large.start.creationTime = std::uint32_t{fields.start.creationTime};
  large.start.modificationTime = std::uint32_t{fields.start.modificationTime};
  return large;
}

// Sets the fields of a header in the version that it has, or in the larger one that it needs.
template <typename Short, typename Large, typename Set>
bool WriteFields(RawBox& box, std::uint64_t duration, Set set) {
  const auto version = Version(box);
  if (!version) return false;
  if (*version == 1) {
    auto fields = Taken<Large>(box);
    if (!fields) return false;
    set(*fields);
    fields->duration = duration;
    Replace(box, sizeof(Large), *fields);
    return true;
  }
  auto fields = Taken<Short>(box);
  if (!fields) return false;
  set(*fields);
  if (FitsShort(duration)) {
    fields->duration = static_cast<std::uint32_t>(duration);
    Replace(box, sizeof(Short), *fields);
    return true;
  }
  auto large = Widened<Large>(*fields);
  set(large);
  large.duration = duration;
  Replace(box, sizeof(Short), large);
  return true;
}

// A field of 32 bits at a place in a box; 0 where it is too short.
std::uint32_t FieldAt(const RawBox& box, std::size_t at) {
  if (box.data.size() < at) return 0;
  auto in = std::span<const unsigned char>(box.data).subspan(at);
  be32 field;
  return TakeField(in, field) ? std::uint32_t{field} : 0;
}

}  // namespace

std::optional<TimeHeader> ReadTimeHeader(const RawBox& mvhdOrMdhd) {
  const auto version = Version(mvhdOrMdhd);
  if (!version) return std::nullopt;
  if (*version == 1) {
    const auto fields = Taken<LargeTime>(mvhdOrMdhd);
    if (!fields) return std::nullopt;
    return TimeHeader{fields->scale, fields->duration};
  }
  const auto fields = Taken<ShortTime>(mvhdOrMdhd);
  if (!fields) return std::nullopt;
  return TimeHeader{fields->scale, Duration(fields->duration)};
}

std::optional<TrackHeader> ReadTrackHeader(const RawBox& tkhd) {
  const auto version = Version(tkhd);
  if (!version) return std::nullopt;
  if (*version == 1) {
    const auto fields = Taken<LargeTrack>(tkhd);
    if (!fields) return std::nullopt;
    return TrackHeader{fields->id, fields->duration};
  }
  const auto fields = Taken<ShortTrack>(tkhd);
  if (!fields) return std::nullopt;
  return TrackHeader{fields->id, Duration(fields->duration)};
}

bool WriteTimeHeader(RawBox& mvhdOrMdhd, const TimeHeader& header) {
  return WriteFields<ShortTime, LargeTime>(mvhdOrMdhd, header.duration,
                                           [&](auto& fields) { fields.scale = header.scale; });
}

bool WriteTrackHeader(RawBox& tkhd, const TrackHeader& header) {
  return WriteFields<ShortTrack, LargeTrack>(tkhd, header.duration,
                                             [&](auto& fields) { fields.id = header.id; });
}

bool WidenHeader(RawBox& header) {
  if (Version(header) != 0u) return false;
  if (header.type == FourCc("tkhd")) {
    const auto fields = Taken<ShortTrack>(header);
    if (!fields) return false;
    auto large = Widened<LargeTrack>(*fields);
    large.id = fields->id;
    large.reserved = fields->reserved;
    large.duration = Duration(fields->duration);
    Replace(header, sizeof(ShortTrack), large);
    return true;
  }
  const auto fields = Taken<ShortTime>(header);
  if (!fields) return false;
  auto large = Widened<LargeTime>(*fields);
  large.scale = fields->scale;
  large.duration = Duration(fields->duration);
  Replace(header, sizeof(ShortTime), large);
  return true;
}

unsigned int HandlerKind(const RawBox& hdlr) {
  // Behind version, flags and 32 predefined bits.
  return FieldAt(hdlr, 2 * sizeof(be32));
}

std::uint32_t SampleEntryCount(const RawBox& stsd) { return FieldAt(stsd, sizeof(be32)); }

unsigned int FirstSampleEntryType(const RawBox& stsd) {
  // Behind version, flags, the count and the size of the entry.
  return SampleEntryCount(stsd) == 0 ? 0 : FieldAt(stsd, 3 * sizeof(be32));
}

std::optional<std::vector<RawBox>> SampleEntriesOf(const RawBox& stsd) {
  // Version, flags and the number of entries.
  constexpr std::size_t kFields = 8;
  if (stsd.data.size() < kFields) return std::nullopt;
  std::span<const unsigned char> in = std::span(stsd.data).subspan(kFields);
  std::vector<RawBox> entries;
  RawBox entry;
  while (entry.Take(in)) entries.push_back(std::move(entry));
  if (entries.size() != SampleEntryCount(stsd)) return std::nullopt;
  return entries;
}

unsigned int TrackKind(const RawBox& trak) {
  const RawBox* handler = trak.At({FourCc("mdia"), FourCc("hdlr")});
  return handler != nullptr ? HandlerKind(*handler) : 0;
}

unsigned int TrackSampleEntryType(const RawBox& trak) {
  const RawBox* table = SampleTable(trak);
  const RawBox* descriptions = table != nullptr ? table->Child(FourCc("stsd")) : nullptr;
  return descriptions != nullptr ? FirstSampleEntryType(*descriptions) : 0;
}

RawBox* SampleTable(RawBox& trak) {
  return trak.At({FourCc("mdia"), FourCc("minf"), FourCc("stbl")});
}

const RawBox* SampleTable(const RawBox& trak) {
  return trak.At({FourCc("mdia"), FourCc("minf"), FourCc("stbl")});
}

}  // namespace clipchain
