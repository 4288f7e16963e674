#include "adapt/tables/spare_entries.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "adapt/boxes/box_header.h"
#include "adapt/boxes/table_builder.h"
#include "adapt/boxes/table_forms.h"
#include "adapt/boxes/track_headers.h"
#include "adapt/boxes/track_tables.h"
#include "adapt/boxes/tracks.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

// Chunks that hold that many samples: the last one may have room for more.
struct Used {
  ChunkRuns runs;
  std::uint32_t chunks = 0;
};

Used UsedOf(const ChunkRuns& runs, std::uint32_t chunks, std::uint32_t samples) {
  Used used;
  for (std::size_t i = 0; i < runs.size() && samples > 0; ++i) {
    const ChunkRun& run = runs[i];
    const std::uint32_t end = i + 1 < runs.size() ? runs[i + 1].firstChunk - 1 : chunks;
    if (run.samplesPerChunk == 0) {
      used.runs.push_back(run);
      used.chunks = end;
      continue;
    }
    const std::uint32_t whole = std::min(end - run.firstChunk + 1, samples / run.samplesPerChunk);
    if (whole > 0) used.runs.push_back(run);
    used.chunks = run.firstChunk - 1 + whole;
    samples -= whole * run.samplesPerChunk;
    if (used.chunks == end || samples == 0) continue;
    used.runs.push_back({++used.chunks, samples, run.description});
    samples = 0;
  }
  return used;
}

// False where no chunk has room to spare, or the tables can't be read.
bool CutChunks(RawBox& table, std::uint32_t samples) {
  RawBox* runBox = table.Child(FourCc("stsc"));
  RawBox* offsetBox = table.Child(FourCc("stco"));
  if (offsetBox == nullptr) offsetBox = table.Child(FourCc("co64"));
  if (runBox == nullptr || offsetBox == nullptr) return false;
  const auto runs = ReadChunkRuns(*runBox);
  auto offsets = ReadChunkOffsets(*offsetBox);
  if (!runs || !offsets) return false;
  const auto chunks = static_cast<std::uint32_t>(offsets->size());
  const auto room = SampleCount(*runs, chunks);
  if (!room || *room <= samples) return false;
  const Used used = UsedOf(*runs, chunks, samples);
  offsets->resize(used.chunks);
  *runBox = ChunkRunsBox(used.runs);
  *offsetBox = ChunkOffsetsBox(*offsets);
  return true;
}

bool CutOffsets(RawBox& table, std::uint32_t samples) {
  RawBox* box = table.Child(FourCc("ctts"));
  auto runs = box != nullptr ? ReadOffsets(*box) : std::nullopt;
  if (!runs || SampleCount(*runs) <= samples) return false;
  OffsetRuns kept;
  for (const OffsetRun& run : *runs) {
    const std::uint32_t count = std::min(run.count, samples);
    if (count != 0) kept.push_back({count, run.offset});
    samples -= count;
  }
  auto cut = OffsetsBox(kept);
  if (!cut) return false;
  // The version says how offsets are signed, and stays what the other clips have.
  cut->data.front() = box->data.front();
  *box = std::move(*cut);
  return true;
}

// Boxes of which a track has one at most (ISO/IEC 14496-12, table 1), by what they stand in.
// Readers take the first or the last of two.
struct SingleBoxes {
  std::vector<unsigned int> path;
  // Those of one list are forms of one table.
  std::vector<std::vector<unsigned int>> types;
};

const std::vector<SingleBoxes>& BoxesOfOne() {
  static const std::vector<SingleBoxes> boxes = {
      {{}, {{FourCc("tkhd")}, {FourCc("edts")}, {FourCc("mdia")}}},
      {{FourCc("edts")}, {{FourCc("elst")}}},
      {{FourCc("mdia")}, {{FourCc("mdhd")}, {FourCc("hdlr")}, {FourCc("minf")}}},
      {{FourCc("mdia"), FourCc("minf")}, {{FourCc("stbl")}}},
      {{FourCc("mdia"), FourCc("minf"), FourCc("stbl")},
       {{FourCc("stsd")},
        {FourCc("stts")},
        {FourCc("ctts")},
        {FourCc("stss")},
        {FourCc("stsz"), FourCc("stz2")},
        {FourCc("stsc")},
        {FourCc("stco"), FourCc("co64")},
        {FourCc("cslg")},
        {FourCc("stps")},
        {FourCc("sdtp")}}}};
  return boxes;
}

// How a person is told of boxes of these types that are there at once; nothing of one alone.
std::optional<std::string> WordsOfTwo(const RawBox& parent,
                                      const std::vector<unsigned int>& types) {
  std::vector<unsigned int> found;
  for (const RawBox& child : parent.children) {
    if (std::find(types.begin(), types.end(), child.type) != types.end())
      found.push_back(child.type);
  }
  if (found.size() < 2) return std::nullopt;
  std::sort(found.begin(), found.end());
  const auto twice = std::adjacent_find(found.begin(), found.end());
  if (twice != found.end())
    return "two boxes " + Quoted(*twice) + ", of which programs read the first or the last";
  return "both " + Quoted(types.front()) + " and " + Quoted(types.back()) +
         ", of which programs read the one or the other";
}

std::optional<std::string> WordsOfTwo(const RawBox& track) {
  for (const SingleBoxes& single : BoxesOfOne()) {
    const RawBox* parent = &track;
    for (const unsigned int step : single.path)
      parent = parent != nullptr ? parent->Child(step) : nullptr;
    if (parent == nullptr) continue;
    for (const auto& types : single.types) {
      if (auto words = WordsOfTwo(*parent, types)) return words;
    }
  }
  return std::nullopt;
}

void Look(RawBox& track, std::size_t clip, FitReport& report) {
  if (const auto words = WordsOfTwo(track))
    report.Refuse(FitProblemKind::kTablesDisagree, clip, RawTrackId(track),
                  "has in its " + RawTrackWords(track) + ' ' + *words,
                  "copy the clip again, or repair it with a tool for it");
  RawBox* table = SampleTable(track);
  const auto samples = table != nullptr ? CountSamples(*table) : std::nullopt;
  if (!samples) return;
  const auto note = [&](const char* words) {
    report.Note(AdaptationKind::kTables, clip, RawTrackId(track),
                "has in its " + RawTrackWords(track) + ' ' + words);
  };
  if (CutChunks(*table, *samples))
    note("room in chunks for more samples than there are, passed over");
  if (CutOffsets(*table, *samples))
    note("composition offsets of more samples than there are, passed over");
}

}  // namespace

void AdaptSpareEntries(FitClip& clip, std::size_t index, FitReport& report) {
  for (RawBox* track : TracksOf(clip.movie)) Look(*track, index, report);
}

}  // namespace clipchain
