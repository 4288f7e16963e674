#include "adapt/tables/joined_tables.h"

#include <algorithm>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "adapt/boxes/box_header.h"
#include "adapt/boxes/composition_bounds.h"
#include "adapt/boxes/sample_groups.h"
#include "adapt/boxes/subsamples.h"
#include "adapt/boxes/table_builder.h"
#include "adapt/boxes/table_forms.h"
#include "adapt/boxes/track_headers.h"
#include "adapt/boxes/track_tables.h"
#include "adapt/boxes/tracks.h"
#include "adapt/clips/media_map.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

// Say something of each sample, or of pairs of samples, and are not joined.
constexpr unsigned int kDropped[] = {FourCc("padb"), FourCc("stdp"), FourCc("stsh")};
constexpr unsigned int kJoined[] = {FourCc("sgpd"), FourCc("sbgp"), FourCc("csgp"),
                                    FourCc("subs"), FourCc("stps"), FourCc("cslg")};

constexpr const char* kKeepClip = "keep the clip if you need what it says";

// What of one track of all clips goes into the result.
struct JoinedTrack {
  bool isJoined = false;
  // Where the engine only counts the samples.
  std::optional<SampleSizes> sizes;
  SampleGroups groups;
  Subsamples subsamples;
  bool hasPartialSync = false;
  std::vector<std::uint32_t> partialSync;
  CompositionBounds bounds;
  std::set<unsigned int> dropped;
};

template <std::size_t Count>
std::set<unsigned int> TypesIn(const RawBox& table, const unsigned int (&types)[Count]) {
  std::set<unsigned int> found;
  for (const RawBox& box : table.children) {
    if (std::find(std::begin(types), std::end(types), box.type) != std::end(types)) {
      found.insert(box.type);
    }
  }
  return found;
}

class JoinedTables final : public Adaptation {
 public:
  void Adapt(FitClips& clips, FitReport& report) override;
  void Complete(RawBox& movie) const override;

 private:
  void TakeSizesOf(const FitClips& clips, const std::vector<RawBox*>& tables, std::size_t place,
                   FitReport& report);
  void JoinTrack(FitClips& clips, std::size_t place, FitReport& report);
  static void AppendPartialSync(const RawBox& table, std::uint64_t before, std::uint32_t samples,
                                JoinedTrack& joined);
  static void TellDropped(const FitClips& clips, std::size_t place, const JoinedTrack& joined,
                          FitReport& report);
  static void AllowDropped(const JoinedTrack& joined, FitReport& report);

  std::vector<JoinedTrack> tracks_;
};

// The "stbl" of the track at that place; null without one.
RawBox* TableAt(FitClip& clip, std::size_t place) {
  const auto tracks = TracksOf(clip.movie);
  return place < tracks.size() ? SampleTable(*tracks[place]) : nullptr;
}

// A size for all of them could say that there is any number of samples. Samples may share bytes.
bool AreInMedia(const FitClips& clips, const std::vector<RawBox*>& tables) {
  constexpr std::uint64_t kTimesShared = 4;
  constexpr std::uint64_t kSpare = 1 << 20;
  for (std::size_t i = 0; i < clips.size(); ++i) {
    const RawBox* box = tables[i]->Child(FourCc("stsz"));
    const auto sizes = box != nullptr ? ReadSizes(*box) : std::nullopt;
    std::uint64_t media = kSpare;
    for (const MediaRange& range : clips[i].media) media += range.size * kTimesShared;
    if (sizes && sizes->Sum() > media) return false;
  }
  return true;
}

const RawBox* TrackAt(const FitClip& clip, std::size_t place) {
  return TracksOf(clip.movie)[place];
}

void JoinedTables::Adapt(FitClips& clips, FitReport& report) {
  const std::size_t count = TracksOf(clips.front().movie).size();
  tracks_.resize(count);
  for (std::size_t place = 0; place < count; ++place) {
    std::vector<RawBox*> tables;
    for (FitClip& clip : clips) tables.push_back(TableAt(clip, place));
    if (std::count(tables.begin(), tables.end(), nullptr) != 0) continue;
    if (clips.size() < 2) continue;
    // Nothing is made here in proportion to a number that no media backs.
    if (!AreInMedia(clips, tables)) continue;
    for (const FormChange& change : GiveOneForm(tables)) {
      const RawBox& track = *TrackAt(clips[change.table], place);
      report.Note(AdaptationKind::kTables, change.table, RawTrackId(track),
                  "has in its " + RawTrackWords(track) + ' ' + change.words);
    }
    TakeSizesOf(clips, tables, place, report);
    JoinTrack(clips, place, report);
  }
}

void JoinedTables::TakeSizesOf(const FitClips& clips, const std::vector<RawBox*>& tables,
                               std::size_t place, FitReport& report) {
  tracks_[place].sizes = TakeSizes(tables);
  if (!tracks_[place].sizes) return;
  const RawBox& track = *TrackAt(clips.front(), place);
  report.Note(AdaptationKind::kTables, 0, RawTrackId(track),
              "has in its " + RawTrackWords(track) +
                  " samples of one size, which others of another size follow");
}

void JoinedTables::JoinTrack(FitClips& clips, std::size_t place, FitReport& report) {
  JoinedTrack& joined = tracks_[place];
  std::uint64_t before = 0;
  for (std::size_t i = 0; i < clips.size(); ++i) {
    const RawBox& table = *TableAt(clips[i], place);
    const std::uint32_t samples = CountSamples(table).value_or(0);
    joined.groups.Append(table, samples);
    joined.subsamples.Append(table, samples);
    AppendPartialSync(table, before, samples, joined);
    joined.bounds.Append(table);
    joined.dropped.merge(TypesIn(table, kDropped));
    before += samples;
    const auto types = TypesIn(table, kJoined);
    if (types.empty()) continue;
    joined.isJoined = true;
    const RawBox& track = *TrackAt(clips[i], place);
    report.Note(AdaptationKind::kTables, i, RawTrackId(track),
                "has in its " + RawTrackWords(track) + ' ' + Quoted(types) +
                    ", joined with what the other clips have");
  }
  joined.isJoined = joined.isJoined || !joined.dropped.empty();
  TellDropped(clips, place, joined, report);
}

// A number beyond the clip's own samples would name one of the clip behind it.
void JoinedTables::AppendPartialSync(const RawBox& table, std::uint64_t before,
                                     std::uint32_t samples, JoinedTrack& joined) {
  const RawBox* box = table.Child(FourCc("stps"));
  if (box == nullptr) return;
  const auto numbers = ReadSampleNumbers(*box);
  if (!numbers ||
      (!numbers->empty() && (numbers->back() > samples || before + numbers->back() > 0xFFFFFFFF))) {
    joined.dropped.insert(box->type);
    return;
  }
  joined.hasPartialSync = true;
  for (const std::uint32_t number : *numbers) {
    joined.partialSync.push_back(static_cast<std::uint32_t>(before + number));
  }
}

void JoinedTables::TellDropped(const FitClips& clips, std::size_t place, const JoinedTrack& joined,
                               FitReport& report) {
  std::string text = Quoted(joined.dropped);
  for (const unsigned int type : joined.groups.LeftOut()) {
    text += (text.empty() ? "" : ", ") + ("groups of samples " + Quoted(type));
  }
  if (joined.subsamples.IsLeftOut()) text += (text.empty() ? "" : ", ") + Quoted(FourCc("subs"));
  if (text.empty()) return;
  AllowDropped(joined, report);
  const RawBox& track = *TrackAt(clips.front(), place);
  report.Note(AdaptationKind::kTables, 0, RawTrackId(track),
              "leaves out of its " + RawTrackWords(track) + ' ' + text);
  report.Refuse(FitProblemKind::kTableLost, 0, RawTrackId(track),
                "says in its " + RawTrackWords(track) + ", or a clip behind it says, " + text +
                    ", which a merge leaves out",
                kKeepClip);
}

void JoinedTables::AllowDropped(const JoinedTrack& joined, FitReport& report) {
  report.dropped.insert(joined.dropped.begin(), joined.dropped.end());
  if (!joined.groups.LeftOut().empty())
    report.dropped.insert({FourCc("csgp"), FourCc("sbgp"), FourCc("sgpd")});
  if (joined.subsamples.IsLeftOut()) report.dropped.insert(FourCc("subs"));
}

void JoinedTables::Complete(RawBox& movie) const {
  const auto tracks = TracksOf(movie);
  for (std::size_t place = 0; place < tracks.size() && place < tracks_.size(); ++place) {
    const JoinedTrack& joined = tracks_[place];
    RawBox* table = SampleTable(*tracks[place]);
    if (table != nullptr && joined.sizes) ReplaceChild(*table, SizesBox(*joined.sizes));
    if (!joined.isJoined || table == nullptr) continue;
    joined.groups.Write(*table);
    joined.subsamples.Write(*table);
    joined.bounds.Write(*table);
    // That of the first clip, whose numbers are a part of the joined ones.
    table->Remove(FourCc("stps"));
    if (joined.hasPartialSync && joined.dropped.count(FourCc("stps")) == 0) {
      table->children.push_back(SampleNumbersBox(FourCc("stps"), joined.partialSync));
    }
    for (const unsigned int type : joined.dropped) table->Remove(type);
  }
}

}  // namespace

std::unique_ptr<Adaptation> MakeJoinedTables() { return std::make_unique<JoinedTables>(); }

}  // namespace clipchain
