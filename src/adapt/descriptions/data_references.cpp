#include "adapt/descriptions/data_references.h"

#include <algorithm>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "adapt/boxes/fields.h"
#include "adapt/boxes/track_headers.h"
#include "adapt/boxes/track_tables.h"
#include "adapt/boxes/tracks.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

using QUIRVA::be16;
using QUIRVA::be32;

constexpr std::initializer_list<unsigned int> kPath = {FourCc("mdia"), FourCc("minf"),
                                                       FourCc("dinf"), FourCc("dref")};

// Of each reference whether it is to the file that it stands in.
using References = std::vector<bool>;

References ReferencesOf(const RawBox& track) {
  // The flag for media in the same file (8.7.2.1).
  constexpr std::uint32_t kOwnFile = 1;
  const RawBox* box = track.At(kPath);
  References references;
  if (box == nullptr) return references;
  std::span<const unsigned char> in = box->data;
  be32 version;
  be32 count;
  RawBox reference;
  if (!TakeField(in, version) || !TakeField(in, count)) return references;
  while (reference.Take(in)) {
    std::span<const unsigned char> body = reference.data;
    be32 flags;
    references.push_back(TakeField(body, flags) && (flags & kOwnFile) != 0);
  }
  return references;
}

// The references of the descriptions that have samples, counted from 1; 0 for one that has none.
std::set<std::uint32_t> UsedBy(const RawBox& track) {
  // Ahead of the reference in every sample entry (8.5.2.2).
  constexpr std::size_t kReserved = 6;
  std::set<std::uint32_t> used;
  const RawBox* table = SampleTable(track);
  const RawBox* stsd = table != nullptr ? table->Child(FourCc("stsd")) : nullptr;
  const RawBox* stsc = table != nullptr ? table->Child(FourCc("stsc")) : nullptr;
  const auto entries = stsd != nullptr ? SampleEntriesOf(*stsd) : std::nullopt;
  const auto runs = stsc != nullptr ? ReadChunkRuns(*stsc) : std::nullopt;
  // Of tables that can't be read nobody knows what they use: 0 is no reference, so that none is
  // dropped.
  if (!entries || !runs) return {0};
  for (const ChunkRun& run : *runs) {
    be16 reference;
    reference = 0;
    if (run.description <= entries->size()) {
      const Bytes& entry = (*entries)[run.description - 1].data;
      if (entry.size() > kReserved) {
        auto in = std::span(entry).subspan(kReserved);
        static_cast<void>(TakeField(in, reference));
      }
    }
    used.insert(reference);
  }
  return used;
}

bool AreOwn(const References& references, const std::set<std::uint32_t>& used) {
  return std::all_of(used.begin(), used.end(), [&](std::uint32_t number) {
    return number >= 1 && number <= references.size() && references[number - 1];
  });
}

bool NamesOthers(const References& references) {
  return std::find(references.begin(), references.end(), false) != references.end();
}

class DataReferences final : public Adaptation {
 public:
  void Adapt(FitClips& clips, FitReport& report) override {
    const std::vector<const RawBox*> first = TracksOf(std::as_const(clips.front().movie));
    for (std::size_t i = 0; i < clips.size(); ++i) {
      const std::vector<const RawBox*> tracks = TracksOf(std::as_const(clips[i].movie));
      for (std::size_t k = 0; k < tracks.size() && k < first.size(); ++k)
        Look(*first[k], *tracks[k], i, report);
    }
  }

 private:
  // Samples of another file are found by those who look for media.
  static void Look(const RawBox& first, const RawBox& track, std::size_t clip, FitReport& report) {
    const References own = ReferencesOf(track);
    const References kept = ReferencesOf(first);
    // Nearly all name their own file alone.
    if (!NamesOthers(own) && !NamesOthers(kept)) return;
    const auto used = UsedBy(track);
    if (!AreOwn(own, used)) return;
    const unsigned int id = RawTrackId(track);
    const std::string where = "in its " + RawTrackWords(track);
    if (!AreOwn(kept, used)) {
      report
          .Refuse(FitProblemKind::kTablesDisagree, clip, id,
                  "has " + where + " samples that the first clip says lie in another file",
                  "leave it out")
          .box = "moov/trak/mdia/minf/dinf/dref";
    } else if (NamesOthers(own)) {
      report.Note(AdaptationKind::kBoxes, clip, id,
                  "names " + where + " another file, in which no sample lies");
    }
  }
};

}  // namespace

std::unique_ptr<Adaptation> MakeDataReferences() { return std::make_unique<DataReferences>(); }

void NameOwnFileAlone(RawBox& track) {
  const References references = ReferencesOf(track);
  if (!NamesOthers(references) || !AreOwn(references, UsedBy(track))) return;
  RawBox own(FourCc("url "), {0, 0, 0, 1});
  Bytes body(4);
  PutField<be32>(body, static_cast<std::uint32_t>(references.size()));
  for (std::size_t i = 0; i < references.size(); ++i) own.Write(body);
  track.At(kPath)->data = std::move(body);
}

}  // namespace clipchain
