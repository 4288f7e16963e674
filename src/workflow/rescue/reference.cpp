#include "workflow/rescue/reference.h"

#include <fmt/format.h>

#include <algorithm>

#include "adapt/boxes/fields.h"
#include "adapt/boxes/track_headers.h"
#include "foundation/big_endian.h"
#include "foundation/fourcc.h"
#include "workflow/boxes/read_box_header.h"
#include "workflow/system/files.h"

namespace clipchain::rescue {

namespace {

using QUIRVA::be32;

// A movie box is read whole; one larger than this is no camera's.
constexpr std::uint64_t kMostMovie = std::uint64_t{1} << 30;
// Boxes that a file has at its top level.
constexpr std::size_t kMostBoxes = 10000;

bool ReadBox(FileBytes& file, std::uint64_t position, std::uint64_t size, RawBox& box) {
  Bytes bytes(static_cast<std::size_t>(size));
  if (!file.Read(position, bytes.data(), bytes.size())) return false;
  std::span<const unsigned char> in = bytes;
  return box.Take(in);
}

}  // namespace

Bytes EntryBox(const Bytes& entry, unsigned int type, std::size_t lead) {
  if (entry.size() < lead) return {};
  std::span<const unsigned char> in(entry);
  in = in.subspan(lead);
  RawBox box;
  while (box.Take(in)) {
    if (box.type == type) return box.data;
  }
  return {};
}

std::uint32_t ReferenceTrack::UniformSize() const {
  // Some files spell out a table of sizes that are all the same.
  if (sizes.uniform != 0 || sizes.sizes.empty()) return sizes.uniform;
  const std::uint32_t first = sizes.sizes.front();
  const bool all = std::all_of(sizes.sizes.begin(), sizes.sizes.end(),
                               [=](std::uint32_t size) { return size == first; });
  return all ? first : 0;
}

Reason Reference::Load(const std::string& path) {
  path_ = path;
  if (const Reason why = WhyUnreadable(path)) return "can't be read: " + *why;
  file_ = std::make_unique<FileBytes>(path);
  if (file_->error() || !file_->IsFile()) return "can't be read";
  if (Reason why = ReadTopLevel()) return why;
  return ReadTracks();
}

Reason Reference::ReadTopLevel() {
  const std::uint64_t end = file_->Size();
  bool hasMovie = false;
  for (std::uint64_t at = 0; at + BoxHeader::kShort <= end && top_.size() < kMostBoxes;) {
    const auto header = ReadBoxHeader(*file_, at);
    if (!header) break;
    const std::uint64_t size = header->SizeWithin(end - at);
    if (hasMovie && header->type == FourCc("mdat") && size > end - at) {
      // A copy that was cut: what is there of its media teaches, too.
      top_.push_back({header->type, at, at + header->headerSize, end});
      break;
    }
    if (size < header->headerSize || size > end - at) break;
    top_.push_back({header->type, at, at + header->headerSize, at + size});
    // A list of brands of 4 bytes each: what is larger than this is none.
    if (header->type == FourCc("ftyp") && size <= 4096 && !ReadBox(*file_, at, size, fileType_))
      return "has a damaged file type";
    if (header->type == FourCc("moof")) return "is fragmented";
    if (header->type == FourCc("moov") && !hasMovie) {
      if (size > kMostMovie || !ReadBox(*file_, at, size, movie_)) return "has a damaged movie box";
      hasMovie = true;
    }
    at += size;
  }
  if (!hasMovie) return "has no whole movie box";
  return std::nullopt;
}

Reason Reference::ReadTracks() {
  const RawBox* header = movie_.Child(FourCc("mvhd"));
  const auto time = header != nullptr ? ReadTimeHeader(*header) : std::nullopt;
  if (!time || time->scale == 0) return "has no movie header";
  timeScale_ = time->scale;
  // Its tables don't tell of the samples in fragments, which are perhaps all.
  if (movie_.Child(FourCc("mvex")) != nullptr) return "is fragmented";
  for (std::size_t i = 0; i < movie_.children.size(); ++i) {
    if (movie_.children[i].type != FourCc("trak")) continue;
    ReferenceTrack track;
    track.trak = i;
    if (!ReadTrack(movie_.children[i], track)) return "has a damaged track";
    if (!PlaceChunks(*SampleTable(movie_.children[i]), track, tracks_.size()))
      return "has sample tables that contradict each other";
    chunks_.insert(chunks_.end(), track.chunks.begin(), track.chunks.end());
    tracks_.push_back(std::move(track));
  }
  // By their place in the file: in that order the media of the broken clip was written too.
  std::stable_sort(chunks_.begin(), chunks_.end(), [](const ChunkPlace& a, const ChunkPlace& b) {
    return a.position < b.position;
  });
  if (!PlaceMedia()) return "has no media that its tables describe";
  return std::nullopt;
}

bool Reference::ReadTrack(const RawBox& trak, ReferenceTrack& track) const {
  const RawBox* head = trak.Child(FourCc("tkhd"));
  const RawBox* media = trak.At({FourCc("mdia"), FourCc("mdhd")});
  const RawBox* table = SampleTable(trak);
  if (head == nullptr || media == nullptr || table == nullptr) return false;
  const auto id = ReadTrackHeader(*head);
  const auto time = ReadTimeHeader(*media);
  const RawBox* description = table->Child(FourCc("stsd"));
  const RawBox* sizes = table->Child(FourCc("stsz"));
  if (sizes == nullptr) sizes = table->Child(FourCc("stz2"));
  const RawBox* times = table->Child(FourCc("stts"));
  if (!id || !time || description == nullptr || sizes == nullptr || times == nullptr) return false;
  const auto sampleSizes = ReadSizes(*sizes);
  const auto timeRuns = ReadTimes(*times);
  if (!sampleSizes || !timeRuns || time->scale == 0) return false;
  track.id = id->id;
  track.timeScale = time->scale;
  track.kind = TrackKind(trak);
  track.entryType = FirstSampleEntryType(*description);
  track.descriptions = SampleEntryCount(*description);
  constexpr std::size_t kBeforeEntries = 8;
  if (description->data.size() > kBeforeEntries) {
    track.entry.assign(description->data.begin() + kBeforeEntries, description->data.end());
  }
  track.sizes = *sampleSizes;
  track.times = *timeRuns;
  // A damaged table of offsets, or of sync samples, makes the reference teach less, not nothing.
  if (const RawBox* offsets = table->Child(FourCc("ctts"))) {
    track.offsets = ReadOffsets(*offsets).value_or(OffsetRuns{});
  }
  const RawBox* sync = table->Child(FourCc("stss"));
  // No table says that all samples are sync samples, an empty one that none is (8.6.2.1).
  track.hasSyncTable = sync != nullptr;
  if (sync != nullptr) {
    track.syncSamples = ReadSampleNumbers(*sync).value_or(std::vector<std::uint32_t>{});
  }
  return true;
}

bool Reference::PlaceChunks(const RawBox& table, ReferenceTrack& track, std::size_t index) const {
  const RawBox* runsBox = table.Child(FourCc("stsc"));
  const RawBox* offsetsBox = table.Child(FourCc("stco"));
  if (offsetsBox == nullptr) offsetsBox = table.Child(FourCc("co64"));
  if (runsBox == nullptr || offsetsBox == nullptr) return false;
  const auto runs = ReadChunkRuns(*runsBox);
  const auto offsets = ReadChunkOffsets(*offsetsBox);
  if (!runs || !offsets || (runs->empty() && !offsets->empty())) return false;
  std::uint32_t sample = 0;
  std::size_t run = 0;
  for (std::size_t i = 0; i < offsets->size(); ++i) {
    while (run + 1 < runs->size() && (*runs)[run + 1].firstChunk <= i + 1) ++run;
    // Chunks may have room for more samples than there are.
    const std::uint32_t samples =
        std::min((*runs)[run].samplesPerChunk, track.sizes.count - sample);
    if (samples == 0) continue;
    track.chunks.push_back({(*offsets)[i], sample, samples, index});
    sample += samples;
  }
  return true;
}

std::uint64_t Reference::BytesOf(const ChunkPlace& chunk) const {
  const SampleSizes& sizes = tracks_[chunk.track].sizes;
  if (sizes.uniform != 0) return std::uint64_t{sizes.uniform} * chunk.samples;
  std::uint64_t bytes = 0;
  for (std::uint32_t i = 0; i < chunk.samples; ++i) bytes += sizes.sizes[chunk.firstSample + i];
  return bytes;
}

bool Reference::PlaceMedia() {
  if (chunks_.empty()) return false;
  for (const Box& box : top_) {
    const std::uint64_t first = chunks_.front().position;
    if (box.type != FourCc("mdat") || first < box.body || first >= box.end) continue;
    mediaBegin_ = box.body;
    mediaEnd_ = box.end;
    // What lies in other boxes, or behind the end, teaches nothing.
    std::erase_if(chunks_, [&](const ChunkPlace& chunk) {
      return chunk.position < mediaBegin_ || chunk.position > mediaEnd_ ||
             BytesOf(chunk) > mediaEnd_ - chunk.position;
    });
    return !chunks_.empty();
  }
  return false;
}

}  // namespace clipchain::rescue
