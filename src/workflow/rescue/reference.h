// Learns from an intact clip of the same camera: its movie box, and where each
// of its samples lies.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "adapt/boxes/raw_boxes.h"
#include "adapt/boxes/track_tables.h"
#include "adapt/reason.h"
#include "workflow/system/file_bytes.h"

namespace clipchain::rescue {

struct ChunkPlace {
  std::uint64_t position = 0;
  std::uint32_t firstSample = 0;
  std::uint32_t samples = 0;
  // Index.
  std::size_t track = 0;
};

struct ReferenceTrack {
  // Index among the children of the movie box.
  std::size_t trak = 0;
  std::uint32_t id = 0;
  // Of its handler: "vide", "soun", ….
  unsigned int kind = 0;
  // Of its sample description.
  unsigned int entryType = 0;
  std::uint32_t timeScale = 0;
  // The first sample entry, whole.
  Bytes entry;
  SampleSizes sizes;
  TimeRuns times;
  OffsetRuns offsets;
  bool hasSyncTable = false;
  std::vector<std::uint32_t> syncSamples;
  std::vector<ChunkPlace> chunks;
  unsigned int descriptions = 0;

  // The size that all samples have; 0 if they differ, or if there are none.
  std::uint32_t UniformSize() const;
};

class Reference {
 public:
  // Why the clip can't be one, as the rest of a sentence that begins with its
  // name.
  [[nodiscard]] Reason Load(const std::string& path);

  const std::string& path() const { return path_; }
  FileBytes& file() const { return *file_; }
  const RawBox& fileType() const { return fileType_; }
  const RawBox& movie() const { return movie_; }
  std::uint32_t timeScale() const { return timeScale_; }
  const std::vector<ReferenceTrack>& tracks() const { return tracks_; }
  // Of all tracks, in the order of the file.
  const std::vector<ChunkPlace>& chunks() const { return chunks_; }
  std::uint64_t BytesOf(const ChunkPlace& chunk) const;
  // What is inside the media box that holds the first chunk.
  std::uint64_t MediaBegin() const { return mediaBegin_; }
  std::uint64_t MediaEnd() const { return mediaEnd_; }

 private:
  [[nodiscard]] Reason ReadTopLevel();
  [[nodiscard]] Reason ReadTracks();
  bool ReadTrack(const RawBox& trak, ReferenceTrack& track) const;
  bool PlaceChunks(const RawBox& table, ReferenceTrack& track, std::size_t index) const;
  bool PlaceMedia();

  struct Box {
    unsigned int type;
    std::uint64_t position, body, end;
  };

  std::string path_;
  std::unique_ptr<FileBytes> file_;
  std::vector<Box> top_;
  RawBox fileType_;
  RawBox movie_;
  std::uint32_t timeScale_ = 0;
  std::vector<ReferenceTrack> tracks_;
  std::vector<ChunkPlace> chunks_;
  std::uint64_t mediaBegin_ = 0;
  std::uint64_t mediaEnd_ = 0;
};

// The record inside the first box of that type in a sample entry; empty without
// one. `lead` bytes of fields stand in front of the boxes.
Bytes EntryBox(const Bytes& entry, unsigned int type, std::size_t lead);

}  // namespace clipchain::rescue
