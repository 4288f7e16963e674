#include "workflow/checks/table_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "reader/track_reader.h"
#include "reader/typed_views.h"
#include "workflow/boxes/sample_layout.h"
#include "workflow/boxes/sample_tables.h"
#include "workflow/clips/track_facts.h"
#include "workflow/findings/rewrap.h"

namespace clipchain {

namespace {

constexpr const char* kCopyAgain = "copy the clip again from the card";
constexpr const char* kRewrapIt = "rewrap the clip";

// The checks of one track.
class TableCheck {
 public:
  TableCheck(const ClipFile& clip, MP4G::CTrackBox* track, FileFindings& findings)
      : clip_(clip),
        track_(track),
        tables_(track),
        sums_(SumsOf(track)),
        facts_(FactsOf(track)),
        findings_(findings) {}

  void Run() {
    // That it is missing is told where clips are matched.
    if (tables_.table == nullptr) return;
    CheckCounts();
    CheckSyncSamples();
    CheckChunkRuns();
    CheckCompactSizes();
    // Positions in another file say nothing about the media of this one.
    if (IsElsewhere()) return;
    CheckChunks();
  }

 private:
  void AddAt(Message message, std::string text, std::string remedy, const MP4G::CBox* box) {
    findings_.AddAt(message, "in its " + TrackWords(facts_) + " " + text, std::move(remedy), box)
        .track = facts_.id;
  }

  void Disagree(const MP4G::CBox* box, std::string text) {
    AddAt(Message::kTablesDisagree, std::move(text), Rewrap(kRewrapIt), box);
  }

  void CheckCounts() {
    const std::uint64_t samples = sums_.samples;
    if (sums_.timedSamples != samples)
      Disagree(
          tables_.times != nullptr ? static_cast<const MP4G::CBox*>(tables_.times) : tables_.table,
          fmt::format("has durations for {} samples and sizes for {}", sums_.timedSamples,
                      samples));
    if (tables_.offsets != nullptr && sums_.offsets != samples)
      Disagree(tables_.offsets,
               fmt::format("has composition offsets for {} samples and sizes for {}", sums_.offsets,
                           samples));
    if (tables_.dependencies != nullptr && sums_.dependencies != samples)
      Disagree(tables_.dependencies, fmt::format("has dependencies of {} samples and sizes of {}",
                                                 sums_.dependencies, samples));
  }

  // Their numbers ascend (ISO/IEC 14496-12, clause 8.6.2), by which players search them. The first
  // fault is told: one that was made on purpose may have millions.
  void CheckSyncSamples() {
    if (tables_.syncSamples == nullptr) return;
    std::uint64_t before = 0;
    for (const unsigned int number : tables_.syncSamples->entries) {
      if (number > before && number <= sums_.samples) {
        before = number;
        continue;
      }
      Disagree(
          tables_.syncSamples,
          number > sums_.samples
              ? fmt::format("names sample {} as a sync sample and has {} samples", number,
                            sums_.samples)
              : fmt::format("names sample {} as a sync sample behind sample {}", number, before));
      return;
    }
  }

  // Each run goes on to where the next one begins (ISO/IEC 14496-12, clause 8.7.4): numbers that do
  // not ascend from 1 leave chunks of which nobody knows how many samples they hold.
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
      if (number > sums_.chunks && sums_.samples != 0) {
        Disagree(tables_.chunkRuns, fmt::format("has a run that begins at chunk {} and {} chunks",
                                                number, sums_.chunks));
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
      // Descriptions count from 1 (ISO/IEC 14496-12, clause 8.7.4).
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
        fmt::format("has the sample sizes of its {} in {} bits (\"stz2\"){}", TrackWords(facts_),
                    bits,
                    bits == 16 ? ", which few programs read" : ", which a merge would garble"),
        Rewrap(kRewrapIt), tables_.compactSizes);
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
            Rewrap("put the media into the clip first"), reference);
      return true;
    }
    return false;
  }

  void CheckChunks() {
    SampleLayout layout(tables_.table);
    Chunk chunk{};
    // By chunks, in which samples lie without gaps: a recording of hours has millions of samples.
    while (layout.Next(chunk)) Look(chunk);
    const std::uint64_t room = tables_.RoomInChunks();
    if (room < sums_.samples) {
      AddAt(Message::kSamplesWithoutMedia,
            fmt::format("counts {} samples, and its {} chunks hold {}", sums_.samples, sums_.chunks,
                        room),
            kCopyAgain, tables_.SizeBox());
    } else if (room > sums_.samples) {
      Disagree(tables_.chunkRuns,
               fmt::format("has room for {} samples in its {} chunks and sizes for {}", room,
                           sums_.chunks, sums_.samples));
    }
    if (outside_.chunks != 0)
      AddAt(Message::kSamplesOutsideMedia, ChunkWords(outside_) + " outside of the media",
            kCopyAgain, tables_.OffsetBox());
    if (leftOut_.chunks != 0)
      AddAt(Message::kSamplesLeftOut,
            ChunkWords(leftOut_) + " in another media box than the last one, which alone is copied",
            Rewrap(kRewrapIt), tables_.OffsetBox());
  }

  struct Misplaced {
    std::uint64_t chunks = 0;
    Chunk first{};
  };

  static void Count(Misplaced& misplaced, const Chunk& chunk) {
    if (misplaced.chunks++ == 0) misplaced.first = chunk;
  }

  std::string ChunkWords(const Misplaced& misplaced) const {
    const Chunk& first = misplaced.first;
    // A position of 64 bits may be anything; the sum stays at the largest number.
    const std::uint64_t end =
        first.position +
        std::min<std::uint64_t>(first.bytes,
                                std::numeric_limits<std::uint64_t>::max() - first.position);
    return fmt::format(
        "has {} of {} chunks, the first of them at bytes {} to {} with the samples {} to {} of {},",
        misplaced.chunks, sums_.chunks, first.position, end, first.firstSample + 1,
        first.firstSample + first.samples, sums_.samples);
  }

  void Look(const Chunk& chunk) {
    // Where nothing lies can't be wrong.
    if (chunk.bytes == 0) return;
    const TopLevelBox* media = clip_.MediaAt(chunk.position);
    const bool isInside = media != nullptr &&
                          chunk.bytes <= static_cast<std::uint64_t>(media->End()) - chunk.position;
    if (!isInside) {
      Count(outside_, chunk);
    } else if (media->Body() != clip_.file.mdatPos) {
      Count(leftOut_, chunk);
    }
  }

  const ClipFile& clip_;
  MP4G::CTrackBox* track_;
  const SampleTables tables_;
  const TrackSums sums_;
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
