#include "workflow/table_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "reader/track_reader.h"
#include "reader/typed_views.h"
#include "workflow/sample_tables.h"
#include "workflow/track_facts.h"

namespace clipchain {

namespace {

constexpr const char* kCopyAgain = "copy the clip again from the card";
constexpr const char* kRewrap =
    "rewrap the clip (ffmpeg -i IN -c copy OUT.mp4), and keep the original";

// The checks of one track.
class TableCheck {
 public:
  TableCheck(const ClipFile& clip, MP4G::CTrackBox* track, FileFindings& findings)
      : clip_(clip), track_(track), tables_(track), facts_(FactsOf(track)), findings_(findings) {}

  void Run() {
    if (tables_.table == nullptr) return;
    CheckCounts();
    CheckSyncSamples();
    CheckChunkRuns();
    CheckCompactSizes();
    if (IsElsewhere()) return;
    CheckChunks();
  }

 private:
  void AddAt(Message message, std::string text, std::string remedy, const MP4G::CBox* box) {
    findings_.AddAt(message, TrackWords(facts_) + ": " + text, std::move(remedy), box).track =
        facts_.id;
  }

  void Disagree(const MP4G::CBox* box, std::string text) {
    AddAt(Message::kTablesDisagree, std::move(text), kRewrap, box);
  }

  void CheckCounts() {
    const std::uint64_t samples = tables_.Samples();
    if (tables_.SamplesWithDuration() != samples)
      Disagree(
          tables_.times != nullptr ? static_cast<const MP4G::CBox*>(tables_.times) : tables_.table,
          fmt::format("has durations for {} samples and sizes for {}",
                      tables_.SamplesWithDuration(), samples));
    if (tables_.offsets != nullptr && tables_.SamplesWithOffset() != samples)
      Disagree(tables_.offsets,
               fmt::format("has composition offsets for {} samples and sizes for {}",
                           tables_.SamplesWithOffset(), samples));
    if (tables_.dependencies != nullptr && tables_.dependencies->entries.size() != samples)
      Disagree(tables_.dependencies, fmt::format("has dependencies of {} samples and sizes of {}",
                                                 tables_.dependencies->entries.size(), samples));
  }

  void CheckSyncSamples() {
    if (tables_.syncSamples == nullptr) return;
    std::uint64_t before = 0;
    for (const unsigned int number : tables_.syncSamples->entries) {
      if (number > before && number <= tables_.Samples()) {
        before = number;
        continue;
      }
      Disagree(
          tables_.syncSamples,
          number > tables_.Samples()
              ? fmt::format("names sample {} as a sync sample and has {} samples", number,
                            tables_.Samples())
              : fmt::format("names sample {} as a sync sample behind sample {}", number, before));
      return;
    }
  }

  void CheckChunkRuns() {
    if (tables_.chunkRuns == nullptr) return;
    const auto& entries = tables_.chunkRuns->entries;
    std::uint64_t before = 0;
    for (const auto& entry : entries) {
      const std::uint64_t number = entry.firstChunk;
      const bool isFirst = before == 0;
      if (number <= before || (isFirst && number != 1)) {
        Disagree(tables_.chunkRuns,
                 fmt::format("has a run of chunks that begins at chunk {} behind chunk {}", number,
                             before));
        return;
      }
      if (number > tables_.Chunks() && tables_.Samples() != 0) {
        Disagree(tables_.chunkRuns, fmt::format("has a run that begins at chunk {} and {} chunks",
                                                number, tables_.Chunks()));
        return;
      }
      before = number;
    }
    CheckDescriptionNumbers();
  }

  void CheckDescriptionNumbers() {
    if (tables_.descriptions == nullptr) return;
    const std::uint64_t there = tables_.descriptions->children.size();
    for (const auto& entry : tables_.chunkRuns->entries) {
      const std::uint64_t number = entry.sampleDescriptionIndex;
      if (number >= 1 && number <= there) continue;
      Disagree(
          tables_.chunkRuns,
          fmt::format("has chunks of sample description {} and {} descriptions", number, there));
      return;
    }
  }

  // Sizes of 4 bits come out as others, and sizes of 8 bits are written as if they had 16.
  void CheckCompactSizes() {
    if (tables_.compactSizes == nullptr) return;
    const unsigned int bits = tables_.compactSizes->record->fieldSize;
    Finding& finding = findings_.AddAt(
        Message::kCompactSizes,
        fmt::format("{}: has its sample sizes in {} bits (\"stz2\"){}", TrackWords(facts_), bits,
                    bits == 16 ? ", which few programs read" : ", which a merge would garble"),
        kRewrap, tables_.compactSizes);
    finding.track = facts_.id;
    finding.severity = bits == 16 ? Severity::kWarning : Severity::kRisk;
  }

  // Whether the samples lie in another file than this one.
  bool IsElsewhere() {
    const MP4G::CDataReferenceBox* references = MP4G::CTrackBox_wr(track_).DataReferenceBox();
    if (references == nullptr) return false;
    for (const MP4G::CBox* reference : references->children) {
      const auto* full = dynamic_cast<const MP4G::CFullBox*>(reference);
      constexpr unsigned int kSameFile = 1;
      if (full == nullptr || (full->fullHeader->flags & kSameFile) != 0) continue;
      AddAt(Message::kMediaElsewhere,
            "keeps samples in another file, which a merge does not look at",
            "put the media into the clip first (ffmpeg -i IN -c copy OUT.mp4)", reference);
      return true;
    }
    return false;
  }

  void CheckChunks() {
    const std::uint64_t held = tables_.ForEachChunk([this](const ChunkExtent& e) { Look(e); });
    const MP4G::CBox* sizes = tables_.sizes != nullptr
                                  ? static_cast<const MP4G::CBox*>(tables_.sizes)
                                  : tables_.compactSizes;
    if (held < tables_.Samples()) {
      AddAt(Message::kSamplesWithoutMedia,
            fmt::format("counts {} samples, and its {} chunks hold {}", tables_.Samples(),
                        tables_.Chunks(), held),
            kCopyAgain, sizes);
    } else if (held > tables_.Samples()) {
      Disagree(tables_.chunkRuns,
               fmt::format("has room for {} samples in its {} chunks and sizes for {}", held,
                           tables_.Chunks(), tables_.Samples()));
    }
    const MP4G::CBox* offsets = tables_.chunks != nullptr
                                    ? static_cast<const MP4G::CBox*>(tables_.chunks)
                                    : tables_.largeChunks;
    if (outside_.chunks != 0)
      AddAt(Message::kSamplesOutsideMedia, ChunkWords(outside_) + ", outside of the media",
            kCopyAgain, offsets);
    if (leftOut_.chunks != 0)
      AddAt(
          Message::kSamplesLeftOut,
          ChunkWords(leftOut_) + ", in a media box that a merge leaves out: it copies the last one",
          kRewrap, offsets);
  }

  struct Misplaced {
    std::uint64_t chunks = 0;
    ChunkExtent first{};
  };

  static void Count(Misplaced& misplaced, const ChunkExtent& extent) {
    if (misplaced.chunks++ == 0) misplaced.first = extent;
  }

  std::string ChunkWords(const Misplaced& misplaced) const {
    const ChunkExtent& first = misplaced.first;
    return fmt::format(
        "{} of its {} chunks lie at bytes like {} to {} (samples {} to {} of {})", misplaced.chunks,
        tables_.Chunks(), first.offset,
        first.offset +
            std::min(first.bytes, std::numeric_limits<std::uint64_t>::max() - first.offset),
        first.firstSample + 1, first.firstSample + first.samples, tables_.Samples());
  }

  void Look(const ChunkExtent& extent) {
    if (extent.bytes == 0) return;
    const TopLevelBox* media = clip_.MediaAt(extent.offset);
    const bool isInside = media != nullptr &&
                          extent.bytes <= static_cast<std::uint64_t>(media->End()) - extent.offset;
    if (!isInside) {
      Count(outside_, extent);
    } else if (media->Body() != clip_.file.mdatPos) {
      Count(leftOut_, extent);
    }
  }

  const ClipFile& clip_;
  MP4G::CTrackBox* track_;
  const SampleTables tables_;
  const TrackFacts facts_;
  FileFindings& findings_;
  Misplaced outside_;
  Misplaced leftOut_;
};

}  // namespace

void CheckTables(const ClipFile& clip, MP4G::CTrackBox* track, FileFindings& findings) {
  TableCheck(clip, track, findings).Run();
}

}  // namespace clipchain
