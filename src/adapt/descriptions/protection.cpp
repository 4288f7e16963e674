#include "adapt/descriptions/protection.h"

#include <algorithm>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "adapt/boxes/box_header.h"
#include "adapt/boxes/protection_boxes.h"
#include "adapt/boxes/sample_protection.h"
#include "adapt/boxes/table_forms.h"
#include "adapt/boxes/track_headers.h"
#include "adapt/boxes/track_tables.h"
#include "adapt/boxes/tracks.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

constexpr const char* kUnprotected = "merge clips without protection";

struct Chunks {
  ChunkRuns runs;
  std::uint64_t count = 0;

  std::uint64_t InRun(std::size_t run) const {
    const std::uint64_t end = run + 1 < runs.size() ? runs[run + 1].firstChunk : count + 1;
    const std::uint64_t first = runs[run].firstChunk;
    return std::min(end, count + 1) > first ? std::min(end, count + 1) - first : 0;
  }
};

Chunks ChunksOf(const RawBox& table) {
  const RawBox* runs = table.Child(FourCc("stsc"));
  const RawBox* offsets = table.Child(FourCc("stco"));
  if (offsets == nullptr) offsets = table.Child(FourCc("co64"));
  if (runs == nullptr || offsets == nullptr) return {};
  return {ReadChunkRuns(*runs).value_or(ChunkRuns()),
          ReadChunkOffsets(*offsets).value_or(std::vector<std::uint64_t>()).size()};
}

std::vector<std::uint32_t> SamplesByChunk(const RawBox& table) {
  const Chunks chunks = ChunksOf(table);
  std::vector<std::uint32_t> samples;
  for (std::size_t i = 0; i < chunks.runs.size(); ++i)
    samples.insert(samples.end(), static_cast<std::size_t>(chunks.InRun(i)),
                   chunks.runs[i].samplesPerChunk);
  return samples;
}

ProtectedPart PartOf(const RawBox& track) {
  const RawBox& table = *SampleTable(track);
  return {table, &track, CountSamples(table).value_or(0)};
}

std::set<unsigned int> TypesIn(const RawBox& track) {
  std::set<unsigned int> types;
  for (const RawBox* parent : {&track, SampleTable(track)}) {
    for (const unsigned int type : {FourCc("saiz"), FourCc("saio"), FourCc("senc")})
      if (parent->Child(type) != nullptr) types.insert(type);
  }
  return types;
}

// It is left in the first clip, and would speak of that one's samples alone.
bool IsToldByUser(const RawBox& track) {
  for (const RawBox* parent : {&track, SampleTable(track)}) {
    if (std::any_of(parent->children.begin(), parent->children.end(), IsUsersProtection))
      return true;
  }
  return false;
}

void TakeProtection(FitClip& clip, RawBox& track, std::size_t index, FitReport& report) {
  ProtectedPart part = PartOf(track);
  if (IsToldByUser(track)) {
    report.Refuse(FitProblemKind::kTablesDisagree, index, RawTrackId(track),
                  "has in its " + RawTrackWords(track) +
                      " samples that are protected by a box of a user's type",
                  kUnprotected);
    return;
  }
  if (!IsProtectionTold(part)) return;
  part.groups = SamplesByChunk(part.parent);
  const std::string boxes = "has in its " + RawTrackWords(track) + " boxes " +
                            Quoted(TypesIn(track)) + " of protected samples";
  SampleProtection protection;
  const Reason why = AppendProtection(
      part, ProtectionSchemeOf(track),
      [&clip](std::uint64_t position, std::uint64_t size) { return clip.Keep(position, size); },
      clip.Size(), protection);
  // A size is spelled out for each sample where they differ.
  if (clip.LacksMemory() || (protection.Sizes().size() > 1 && !clip.HasRoom(part.samples))) return;
  if (why) {
    report.Refuse(FitProblemKind::kTablesDisagree, index, RawTrackId(track),
                  boxes + " that " + *why, kUnprotected);
    return;
  }
  report.Note(AdaptationKind::kTables, index, RawTrackId(track),
              boxes + ", joined with what the other clips have");
  protection.Write(track, false);
}

class JoinedProtection final : public Adaptation {
 public:
  void Adapt(FitClips& clips, FitReport& report) override;
  void Complete(RawBox& movie) const override;

 private:
  std::optional<SampleProtection> Join(const FitClips& clips, std::size_t place,
                                       FitReport& report) const;
  static void JoinSystems(FitClips& clips, FitReport& report);

  // Nothing: what there is of the first clip stays.
  std::vector<std::optional<SampleProtection>> tracks_;
};

void JoinedProtection::Adapt(FitClips& clips, FitReport& report) {
  const std::size_t count = TracksOf(clips.front().movie).size();
  for (std::size_t place = 0; place < count; ++place) tracks_.push_back(Join(clips, place, report));
  JoinSystems(clips, report);
}

// Whether a sample has nothing that its description says is protected. Groups may say otherwise,
// and such samples are known by it where every protected one has a vector.
bool HasBareSamples(const RawBox& track, const ProtectionScheme& scheme,
                    const SampleProtection& protection) {
  if (scheme.hasGroups && scheme.VectorSize().value_or(0) > 0) return false;
  const Chunks chunks = ChunksOf(*SampleTable(track));
  auto sizes = protection.Sizes().begin();
  std::uint64_t used = 0;
  for (std::size_t i = 0; i < chunks.runs.size(); ++i) {
    const ChunkRun& run = chunks.runs[i];
    const bool isProtected = run.description == 0 || run.description > scheme.isProtected.size() ||
                             scheme.isProtected[run.description - 1];
    std::uint64_t left = chunks.InRun(i) * run.samplesPerChunk;
    while (left > 0 && sizes != protection.Sizes().end()) {
      if (sizes->size == 0 && isProtected) return true;
      const std::uint64_t taken = std::min(left, sizes->count - used);
      left -= taken;
      used += taken;
      if (used < sizes->count) continue;
      ++sizes;
      used = 0;
    }
  }
  return false;
}

std::optional<SampleProtection> JoinedProtection::Join(const FitClips& clips, std::size_t place,
                                                       FitReport& report) const {
  const auto trackOf = [&](std::size_t clip) { return TracksOf(clips[clip].movie)[place]; };
  const auto refuse = [&](std::size_t clip, const std::string& why) {
    report.Refuse(FitProblemKind::kTablesDisagree, clip, RawTrackId(*trackOf(clip)),
                  "has in its " + RawTrackWords(*trackOf(clip)) + " samples " + why, kUnprotected);
    return std::nullopt;
  };
  SampleProtection joined;
  ProtectionScheme together;
  std::vector<SampleProtection> parts(clips.size());
  for (std::size_t i = 0; i < clips.size(); ++i) {
    if (SampleTable(*trackOf(i)) == nullptr) return std::nullopt;
    const ProtectedPart part = PartOf(*trackOf(i));
    const ProtectionScheme scheme = ProtectionSchemeOf(*trackOf(i));
    // What could not be taken out of the clip is refused already.
    if (AppendProtection(part, scheme, {}, kAnyBytes, parts[i])) return std::nullopt;
    joined.Append(parts[i]);
    if (scheme.isProtected.empty()) continue;
    together.vectorSizes.insert(scheme.vectorSizes.begin(), scheme.vectorSizes.end());
    if (scheme.type == 0) continue;
    if (together.type != 0 && together.type != scheme.type)
      return refuse(i, "that are protected otherwise than those of the clips before");
    together.type = scheme.type;
  }
  if (!joined.IsAny()) return std::nullopt;
  for (std::size_t i = 0; i < clips.size(); ++i) {
    if (HasBareSamples(*trackOf(i), ProtectionSchemeOf(*trackOf(i)), parts[i]))
      return refuse(i, "that are protected, of which no box says how, beside others");
  }
  if (const Reason why = joined.Settle(together)) return refuse(0, *why);
  return joined;
}

// What the systems need that have the keys: it speaks of keys, and holds for all of the movie.
void JoinedProtection::JoinSystems(FitClips& clips, FitReport& report) {
  std::vector<RawBox>& boxes = clips.front().movie.children;
  std::set<Bytes> known;
  for (const RawBox& box : boxes)
    if (box.type == FourCc("pssh")) known.insert(box.data);
  for (std::size_t i = 1; i < clips.size(); ++i) {
    bool isAny = false;
    for (const RawBox& box : clips[i].movie.children) {
      if (box.type != FourCc("pssh") || !known.insert(box.data).second) continue;
      boxes.push_back(box);
      isAny = true;
    }
    if (isAny)
      report.Note(AdaptationKind::kTables, i, 0,
                  "has boxes \"pssh\" that clips before it lack, put beside theirs");
  }
}

void JoinedProtection::Complete(RawBox& movie) const {
  const auto tracks = TracksOf(movie);
  for (std::size_t place = 0; place < tracks.size() && place < tracks_.size(); ++place)
    if (tracks_[place]) tracks_[place]->Write(*tracks[place], true);
}

}  // namespace

void AdaptProtection(FitClip& clip, std::size_t index, FitReport& report) {
  for (RawBox* track : TracksOf(clip.movie)) {
    if (SampleTable(*track) != nullptr) TakeProtection(clip, *track, index, report);
  }
}

std::unique_ptr<Adaptation> MakeJoinedProtection() { return std::make_unique<JoinedProtection>(); }

}  // namespace clipchain
