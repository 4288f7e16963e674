#include "adapt/sample_descriptions.h"

#include <algorithm>
#include <limits>
#include <set>
#include <string>
#include <utility>

#include "adapt/bit_rates.h"
#include "adapt/box_header.h"
#include "adapt/description_match.h"
#include "adapt/engine_movie.h"
#include "adapt/track_headers.h"
#include "adapt/track_tables.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

constexpr const char* kOtherKind = "leave it out, or merge it with clips of its own kind";

// A buffer size and two bit rates stand in one box.
constexpr std::size_t kFieldsTogether = 3;

const RawBox* DescriptionsOf(const RawBox& track) {
  const RawBox* table = SampleTable(track);
  return table != nullptr ? table->Child(FourCc("stsd")) : nullptr;
}

// The first byte that differs, by its place in the entry.
std::string DifferenceWords(const RawBox& first, const RawBox& second, const std::string& name) {
  const auto a = SampleEntriesOf(first);
  const auto b = SampleEntriesOf(second);
  if (!a || !b) return "a description is damaged";
  if (a->size() != b->size())
    return "it has " + std::to_string(b->size()) + " descriptions, and " +
           std::to_string(a->size()) + " in " + name;
  for (std::size_t i = 0; i < a->size(); ++i) {
    const Bytes& mine = (*b)[i].data;
    const Bytes& theirs = (*a)[i].data;
    if ((*a)[i].type != (*b)[i].type)
      return "it is " + Quoted((*b)[i].type) + ", and " + Quoted((*a)[i].type) + " in " + name;
    if (mine.size() != theirs.size())
      return Quoted((*b)[i].type) + " has " + std::to_string(mine.size()) + " bytes, and " +
             std::to_string(theirs.size()) + " in " + name;
    const auto [x, y] = std::mismatch(mine.begin(), mine.end(), theirs.begin());
    if (x != mine.end())
      return "byte " + std::to_string(x - mine.begin()) + " of " + Quoted((*b)[i].type) + " is " +
             std::to_string(*x) + ", and " + std::to_string(*y) + " in " + name;
  }
  return "they differ in form";
}

// Those that have samples.
std::set<std::uint32_t> UsedDescriptions(const RawBox& track) {
  const RawBox* box = SampleTable(track)->Child(FourCc("stsc"));
  const auto runs = box != nullptr ? ReadChunkRuns(*box) : std::nullopt;
  std::set<std::uint32_t> used;
  for (const ChunkRun& run : runs.value_or(ChunkRuns())) used.insert(run.description);
  return used;
}

bool AreInPlace(const std::vector<std::uint32_t>& numbers) {
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (numbers[i] != i + 1) return false;
  }
  return true;
}

void TakeMatched(RawBox& track, const MatchedDescriptions& matched) {
  const std::vector<std::uint32_t>& numbers = matched.numbers;
  SampleTable(track)->Child(FourCc("stsd"))->data = matched.stsd;
  RawBox* box = SampleTable(track)->Child(FourCc("stsc"));
  auto runs = box != nullptr ? ReadChunkRuns(*box) : std::nullopt;
  if (!runs) return;
  for (ChunkRun& run : *runs) {
    if (run.description <= numbers.size()) run.description = numbers[run.description - 1];
  }
  *box = ChunkRunsBox(*runs);
}

// Bits a second over all samples of a merged track; 0 where that can't be said.
unsigned int AverageRate(const RawBox& track) {
  const RawBox* table = SampleTable(track);
  const RawBox* sizes = table->Child(FourCc("stsz"));
  const RawBox* times = table->Child(FourCc("stts"));
  const RawBox* header = track.At({FourCc("mdia"), FourCc("mdhd")});
  if (sizes == nullptr || times == nullptr || header == nullptr) return 0;
  const auto read = ReadSizes(*sizes);
  const auto runs = ReadTimes(*times);
  const auto fields = ReadTimeHeader(*header);
  const auto duration = runs ? MediaDuration(*runs) : std::nullopt;
  if (!read || !duration || *duration == 0 || !fields) return 0;
  const long double seconds = static_cast<long double>(*duration) / fields->scale;
  const long double rate = static_cast<long double>(read->Sum()) * 8 / seconds;
  return rate < static_cast<long double>(std::numeric_limits<unsigned int>::max())
             ? static_cast<unsigned int>(rate + 0.5L)
             : std::numeric_limits<unsigned int>::max();
}

class SampleDescriptions final : public Adaptation {
 public:
  void Adapt(FitClips& clips, FitReport& report) override {
    const std::vector<const RawBox*> first = TracksOf(std::as_const(clips.front().movie));
    for (const RawBox* track : first) {
      const RawBox* descriptions = DescriptionsOf(*track);
      largest_.push_back(descriptions != nullptr ? descriptions->data : Bytes());
    }
    differing_.resize(first.size());
    for (std::size_t i = 1; i < clips.size(); ++i) {
      const std::vector<RawBox*> later = TracksOf(clips[i].movie);
      for (std::size_t k = 0; k < later.size() && k < first.size(); ++k)
        Compare(clips.front().Path(), *first[k], *later[k], i, k, report);
    }
  }

  void Complete(RawBox& movie) const override {
    const std::vector<RawBox*> tracks = TracksOf(movie);
    for (std::size_t k = 0; k < tracks.size() && k < differing_.size(); ++k) {
      if (!differing_[k].empty()) SetRates(*tracks[k], largest_[k], differing_[k]);
    }
  }

 private:
  void Compare(const std::string& firstPath, const RawBox& first, RawBox& second, std::size_t clip,
               std::size_t place, FitReport& report) {
    const RawBox* a = DescriptionsOf(first);
    const RawBox* b = DescriptionsOf(second);
    if (a == nullptr || b == nullptr || a->data == b->data) return;
    const unsigned int id = RawTrackId(second);
    const auto matched = MatchDescriptions(*a, *b, UsedDescriptions(second));
    if (!matched) {
      report
          .Refuse(FitProblemKind::kSampleDescription, clip, id,
                  "in its " + RawTrackWords(second) + " is encoded in another way than that of " +
                      firstPath + ": " + DifferenceWords(*a, *b, firstPath),
                  kOtherKind)
          .box = "moov/trak/mdia/minf/stbl/stsd";
      return;
    }
    const bool isInPlace = AreInPlace(matched->numbers);
    if (!isInPlace) TakeMatched(second, *matched);
    if (!isInPlace || matched->stsd == a->data)
      report.Note(AdaptationKind::kDescriptions, clip, id,
                  "has in its " + RawTrackWords(second) +
                      " sample descriptions in another order or number than the first clip");
    if (matched->stsd == a->data) return;
    TakeRates(a->data, matched->stsd, place);
    report.Note(AdaptationKind::kBitRates, clip, id,
                "declares in its " + RawTrackWords(second) +
                    " other bit rates or buffer sizes than the first clip");
  }

  void TakeRates(const Bytes& first, const Bytes& later, std::size_t place) {
    const std::vector<RateField> fields = RateFieldsOf(first);
    for (std::size_t i = 0; i < fields.size(); ++i) {
      const unsigned int rate = RateAt(later, fields[i]);
      if (rate != RateAt(first, fields[i])) differing_[place].insert(i / kFieldsTogether);
      SetRate(largest_[place], fields[i], std::max(RateAt(largest_[place], fields[i]), rate));
    }
  }

  // What all clips declare alike stays.
  static void SetRates(RawBox& track, const Bytes& largest,
                       const std::set<std::size_t>& differing) {
    RawBox* table = SampleTable(track);
    RawBox* descriptions = table != nullptr ? table->Child(FourCc("stsd")) : nullptr;
    if (descriptions == nullptr) return;
    const unsigned int average = AverageRate(track);
    const std::vector<RateField> fields = RateFieldsOf(descriptions->data);
    for (std::size_t i = 0; i < fields.size(); ++i) {
      if (differing.count(i / kFieldsTogether) == 0) continue;
      const RateField& field = fields[i];
      unsigned int value = RateAt(largest, field);
      // One that no clip knows stays unknown.
      const bool isAverage = field.kind == RateField::Kind::kAverage;
      // The largest of averages is none of all; buffers and peaks must suffice for each clip.
      if (isAverage && value != 0 && average != 0) value = average;
      SetRate(descriptions->data, field, value);
    }
  }

  // Descriptions of each track with the largest rates so far.
  std::vector<Bytes> largest_;
  // By track, of which boxes the fields are that differ, counted in their order.
  std::vector<std::set<std::size_t>> differing_;
};

}  // namespace

std::unique_ptr<Adaptation> MakeSampleDescriptions() {
  return std::make_unique<SampleDescriptions>();
}

}  // namespace clipchain
