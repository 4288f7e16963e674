#include "adapt/engine/engine_movie.h"

#include <algorithm>
#include <limits>
#include <set>
#include <utility>

#include "adapt/boxes/fields.h"
#include "adapt/boxes/track_headers.h"
#include "adapt/boxes/track_tables.h"
#include "adapt/boxes/tracks.h"
#include "adapt/descriptions/data_references.h"
#include "box/box_factory.h"
#include "box/sample_entries.h"
#include "clip/vendor_boxes.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

// Boxes of known classes that a merge needs, without edit lists, which are made behind it; any
// other known box is left out, whatever its class makes of it. What no class knows is kept as it
// is, wherever it stands.
constexpr unsigned int kRead[] = {
    FourCc("mvhd"), FourCc("trak"), FourCc("tkhd"), FourCc("mdia"), FourCc("mdhd"), FourCc("hdlr"),
    FourCc("minf"), FourCc("vmhd"), FourCc("smhd"), FourCc("hmhd"), FourCc("nmhd"), FourCc("dinf"),
    FourCc("dref"), FourCc("stbl"), FourCc("stsd"), FourCc("stts"), FourCc("ctts"), FourCc("stsz"),
    FourCc("stz2"), FourCc("stsc"), FourCc("stco"), FourCc("co64"), FourCc("stss"), FourCc("sdtp")};

// What the engine appends, in either form of the table.
constexpr unsigned int kJoined[] = {FourCc("stts"), FourCc("ctts"), FourCc("stsz"),
                                    FourCc("stz2"), FourCc("stsc"), FourCc("stco"),
                                    FourCc("co64"), FourCc("stss"), FourCc("sdtp")};

// What no engine needs to know: how they are joined is not its business.
constexpr unsigned int kOfSamples[] = {FourCc("cslg"), FourCc("csgp"), FourCc("saio"),
                                       FourCc("saiz"), FourCc("sbgp"), FourCc("senc"),
                                       FourCc("sgpd"), FourCc("stps"), FourCc("subs")};

template <std::size_t count>
bool IsAmong(const unsigned int (&types)[count], unsigned int type) {
  return std::find(std::begin(types), std::end(types), type) != std::end(types);
}

bool IsKnown(unsigned int type) {
  static const std::vector<unsigned int> kTypes = MP4G::CBoxFactory::KnownTypes();
  static const std::set<unsigned int> kKnown(kTypes.begin(), kTypes.end());
  return kKnown.count(type) != 0;
}

// How much of an entry the engine's class for that type reads without children; 0 for a known type
// that is no sample entry.
std::size_t FixedPart(unsigned int type) {
  switch (type) {
    case FourCc("avc1"):
    case FourCc("avcp"):
    case FourCc("mp4v"):
    case FourCc("jpeg"):
      return sizeof(MP4G::_tagSAMPLE_ENTRY) + sizeof(MP4G::_tagVISUAL_SAMPLE_ENTRY);
    case FourCc("mp4a"):
    case FourCc("sowt"):
    case FourCc("twos"):
      return sizeof(MP4G::_tagSAMPLE_ENTRY) + sizeof(MP4G::_tagAUDIO_SAMPLE_ENTRY);
    case FourCc("tmcd"):
      return sizeof(MP4G::_tagSAMPLE_ENTRY) + sizeof(MP4G::_tagTIMECODE_DESCRIPTION);
    default:
      return IsKnown(type) ? 0 : sizeof(MP4G::_tagSAMPLE_ENTRY);
  }
}

// Stands for an entry: its fixed fields, without the version that says that more of them follow.
RawBox StandIn(const RawBox& entry) {
  RawBox box = entry;
  std::size_t size = FixedPart(entry.type);
  if (size == 0) {
    box.type = FourCc("none");
    size = sizeof(MP4G::_tagSAMPLE_ENTRY);
  }
  box.large = false;
  box.data.resize(size);
  if (size == sizeof(MP4G::_tagSAMPLE_ENTRY) + sizeof(MP4G::_tagAUDIO_SAMPLE_ENTRY))
    std::fill_n(box.data.begin() + sizeof(MP4G::_tagSAMPLE_ENTRY), 2, 0);
  return box;
}

RawBox StandInDescriptions(const RawBox& stsd) {
  const auto entries = SampleEntriesOf(stsd);
  RawBox box(FourCc("stsd"), Bytes(4));
  PutField<QUIRVA::be32>(box.data, entries ? static_cast<std::uint32_t>(entries->size()) : 0);
  if (!entries) return box;
  for (const RawBox& entry : *entries) StandIn(entry).Write(box.data);
  return box;
}

RawBox MovedOffsets(const RawBox& offsets, const MediaMap& media) {
  auto numbers = ReadChunkOffsets(offsets);
  if (!numbers) return offsets;
  for (std::uint64_t& offset : *numbers) offset = media.At(offset).value_or(0);
  return ChunkOffsetsBox(*numbers);
}

RawBox Stripped(const RawBox& box) {
  RawBox result;
  result.type = box.type;
  result.data = IsRawContainer(box.type) ? Bytes() : box.data;
  for (const RawBox& child : box.children) {
    const bool isUnread = IsKnown(child.type) && !IsAmong(kRead, child.type);
    const bool isOfSamples = IsAmong(kOfSamples, child.type) &&
                             (box.type == FourCc("stbl") || box.type == FourCc("trak"));
    if (isUnread || isOfSamples) continue;
    result.children.push_back(IsKnown(child.type) ? Stripped(child) : child);
  }
  return result;
}

// The engine finds tracks by their identifiers, which must therefore differ.
std::vector<unsigned int> EngineIds(const RawBox& first) {
  std::vector<unsigned int> ids;
  for (const RawBox* track : TracksOf(first)) ids.push_back(RawTrackId(*track));
  const std::set<unsigned int> different(ids.begin(), ids.end());
  if (different.size() == ids.size() && different.count(0) == 0) return ids;
  for (std::size_t i = 0; i < ids.size(); ++i) ids[i] = static_cast<unsigned int>(i + 1);
  return ids;
}

// The engine's classes of sample entries depend on the kind of media, which it must know before it
// comes to them. Under this one an entry of a type that it does not know has no fields of its own.
RawBox StandInHandler() {
  constexpr std::size_t kReserved = 12;
  RawBox box(FourCc("hdlr"), Bytes(8));
  PutField<QUIRVA::be32>(box.data, FourCc("none"));
  // And an empty name.
  box.data.resize(box.data.size() + kReserved + 1);
  return box;
}

// These tables have none (8.6, 8.7); the version stays.
void ClearFlags(RawBox& box) {
  constexpr std::size_t kVersionAndFlags = 4;
  if (box.data.size() < kVersionAndFlags) return;
  std::fill(box.data.begin() + 1, box.data.begin() + kVersionAndFlags, 0);
}

void FitTrack(RawBox& track, unsigned int id, const RawBox* firstTable, const MediaMap* media) {
  if (RawBox* header = track.Child(FourCc("tkhd"))) {
    if (auto fields = ReadTrackHeader(*header)) {
      fields->id = id;
      static_cast<void>(WriteTrackHeader(*header, *fields));
    }
  }
  if (RawBox* parent = track.Child(FourCc("mdia")))
    parent->children.insert(parent->children.begin(), StandInHandler());
  NameOwnFileAlone(track);
  RawBox* table = SampleTable(track);
  if (table == nullptr) return;
  for (RawBox& box : table->children) {
    const bool isOffsets = box.type == FourCc("stco") || box.type == FourCc("co64");
    if (isOffsets && media != nullptr) box = MovedOffsets(box, *media);
    if (IsAmong(kJoined, box.type)) ClearFlags(box);
    const RawBox* firsts = firstTable != nullptr ? firstTable->Child(FourCc("stsd")) : nullptr;
    if (box.type == FourCc("stsd") && firsts != nullptr) {
      // Chunks of a clip whose descriptions do not fit may be of one that the first lacks.
      const bool hasMore = SampleEntryCount(box) > SampleEntryCount(*firsts);
      box = StandInDescriptions(hasMore ? box : *firsts);
    }
  }
}

// Fields before the end of a box that the engine writes back as long as it was read, or shorter.
void TakeFields(RawBox* target, const RawBox* source) {
  if (target == nullptr || source == nullptr || source->data.size() > target->data.size()) return;
  std::copy(source->data.begin(), source->data.end(), target->data.begin());
}

// Either form of a table says the same.
unsigned int RoleOf(unsigned int type) {
  if (type == FourCc("stz2")) return FourCc("stsz");
  return type == FourCc("co64") ? FourCc("stco") : type;
}

// Each joined table takes the place of the first clip's; one that the first has no more is gone.
void TakeTables(RawBox& target, RawBox& engines) {
  std::set<unsigned int> taken;
  for (RawBox& box : target.children) {
    if (!IsAmong(kJoined, box.type)) continue;
    const unsigned int role = RoleOf(box.type);
    const auto joined =
        std::find_if(engines.children.begin(), engines.children.end(), [=](const RawBox& other) {
          return IsAmong(kJoined, other.type) && RoleOf(other.type) == role;
        });
    const bool isFirst = taken.insert(role).second;
    box = isFirst && joined != engines.children.end() ? std::move(*joined) : RawBox();
  }
  std::erase_if(target.children, [](const RawBox& box) { return box.type == 0; });
}

bool IsCameras(const RawBox& box) {
  QUIRVA::WireGuid type;
  std::span<const unsigned char> bytes = box.data;
  return box.type == FourCc("uuid") && TakeField(bytes, type) &&
         QUIRVA::BigEndianToGuid(box.data.data(), sizeof type) == MP4G::VIREO_CLIP_UUID;
}

void TakeIdentifiers(RawBox& movie, RawBox& engines) {
  auto from = engines.children.begin();
  for (RawBox& box : movie.children) {
    if (!IsCameras(box)) continue;
    from = std::find_if(from, engines.children.end(), IsCameras);
    if (from == engines.children.end()) return;
    box = std::move(*from++);
  }
}

}  // namespace

RawBox EngineMovie(const RawBox& movie, const RawBox& first, const MediaMap* media) {
  RawBox result = Stripped(movie);
  const std::vector<unsigned int> ids = EngineIds(first);
  const std::vector<const RawBox*> firstTracks = TracksOf(first);
  const std::vector<RawBox*> tracks = TracksOf(result);
  for (std::size_t i = 0; i < tracks.size() && i < ids.size(); ++i)
    FitTrack(*tracks[i], ids[i], SampleTable(*firstTracks[i]), media);
  return result;
}

std::optional<RawBox> MergedMovie(const RawBox& first, RawBox engines) {
  RawBox movie = first;
  const std::vector<RawBox*> tracks = TracksOf(movie);
  const std::vector<RawBox*> merged = TracksOf(engines);
  if (tracks.size() != merged.size()) return std::nullopt;
  TakeFields(movie.Child(FourCc("mvhd")), engines.Child(FourCc("mvhd")));
  for (std::size_t i = 0; i < tracks.size(); ++i) {
    RawBox* table = SampleTable(*tracks[i]);
    RawBox* mergedTable = SampleTable(*merged[i]);
    if (table == nullptr || mergedTable == nullptr) return std::nullopt;
    TakeTables(*table, *mergedTable);
    TakeFields(tracks[i]->At({FourCc("mdia"), FourCc("mdhd")}),
               merged[i]->At({FourCc("mdia"), FourCc("mdhd")}));
  }
  TakeIdentifiers(movie, engines);
  return movie;
}

}  // namespace clipchain
