#include "workflow/checks/match_check.h"

#include <fmt/format.h>

#include <cstring>
#include <set>

#include "adapt/times/edit_lists.h"
#include "box/header_boxes.h"
#include "box/sample_table_boxes.h"
#include "merge/free_tracks.h"
#include "workflow/checks/lost_box_check.h"
#include "workflow/checks/track_check.h"
#include "workflow/clips/track_facts.h"
#include "workflow/findings/rewrap.h"

namespace clipchain {

namespace {

constexpr const char* kOtherRecording = "leave it out, or merge it with clips of its own kind";
constexpr const char* kRepair = "copy the clip again, or repair it with a tool for it";

void AddMissing(FileFindings& findings, const MP4G::CBox* parent, std::string text, bool alone,
                HRESULT result) {
  Finding& finding = findings.AddAt(Message::kHeaderMissing, std::move(text), kRepair, parent);
  finding.result = result;
  // Nothing is appended to a single clip: what is missing hurts players, not the merge.
  if (alone) finding.severity = Severity::kRisk;
}

// The engine finds tracks by their identifier where it moves their offsets.
void CheckIdentifiers(MP4G::CMovieBox* movie, FileFindings& findings) {
  std::set<unsigned int> seen;
  for (MP4G::CTrackBox* track : MP4G::CMovieBox_wr(movie).Tracks()) {
    const MP4G::CTrackHeaderBox* header = MP4G::CTrackBox_wr(track).TrackHeaderBox();
    if (header == nullptr || seen.insert(header->recordA->trackId).second) continue;
    const unsigned int id = header->recordA->trackId;
    findings
        .AddAt(Message::kTrackIdTwice,
               fmt::format("has two tracks with the identifier {}, and a merge would take one for "
                           "the other",
                           id),
               Rewrap("rewrap the clip"), track)
        .track = id;
  }
}

// The engine moves the offsets of the track that the identifier leads to, which is `moved`.
void CheckOffsets(MP4G::CTrackBox* track, const MP4G::CTrackBox* moved, FileFindings& findings) {
  const MP4G::CTrackBox_wr view(track);
  const MP4G::CSampleTableBox_wr table(view.SampleTableBox());
  const unsigned int id = MP4G::CTrackReader(track).GetTrackID();
  if (table.box == nullptr) {
    findings
        .AddAt(Message::kHeaderMissing,
               fmt::format("has no sample table \"stbl\" in its track {}", id), kRepair, track)
        .result = E_POINTER;
  } else if (table.ChunkOffsetBox() == nullptr && table.ChunkLargeOffsetBox() == nullptr) {
    Finding& finding = findings.AddAt(
        Message::kTableMissing,
        fmt::format("has neither chunk offsets \"stco\" nor \"co64\" in its track {}", id), kRepair,
        table.box);
    finding.result = E_BAD_DATA;
    // The engine moves another track's offsets in its place, and does not fail.
    if (moved != track) finding.severity = Severity::kRisk;
  }
}

// What a list hides, a merge shows again.
void CheckCuts(MP4G::CTrackBox* track, const MP4G::CEditListBox* edits, FileFindings& findings) {
  const auto times = TimesOf(track);
  if (!times || !IsCut(*times)) return;
  findings
      .AddAt(Message::kEditsCut, CutWords(*times),
             "cut it with a program that encodes what it cuts, or leave it out", edits)
      .track = times->id;
}

// Of a list of several edits a merge lengthens the first one alone and drops those of later clips.
void CheckEdits(MP4G::CTrackBox* track, FileFindings& findings) {
  const MP4G::CEditListBox* edits = MP4G::CTrackBox_wr(track).EditListBox();
  if (edits == nullptr) return;
  CheckCuts(track, edits, findings);
  if (edits->entries.size() < 2) return;
  const TrackFacts facts = FactsOf(track);
  findings
      .AddAt(Message::kSeveralEdits,
             fmt::format(
                 "has in its {} an edit list of {} entries, of which a merge keeps the first one "
                 "in step",
                 TrackWords(facts), edits->entries.size()),
             Rewrap("rewrap the clip without an edit list", kRewrapWithoutEditsCommand), edits)
      .track = facts.id;
}

void CheckMovieHeaders(const MP4G::CMovieHeaderBox* a, const std::string& firstName,
                       const MP4G::CMovieHeaderBox* b, FileFindings& findings) {
  if (a == nullptr || b == nullptr) return;
  if (a->recordA->timeScale != b->recordA->timeScale) {
    findings
        .AddAt(Message::kMovieTimeScale,
               fmt::format("counts {} units a second in its movie header, and {} counts {}",
                           std::uint32_t{b->recordA->timeScale}, firstName,
                           std::uint32_t{a->recordA->timeScale}),
               kOtherRecording, b)
        .result = MP4G_E_TIME_SCALE;
  }
  if (std::memcmp(a->recordB->matrix, b->recordB->matrix, sizeof a->recordB->matrix) != 0)
    findings.AddAt(Message::kShownOtherwise,
                   fmt::format("has another matrix in its movie header than {}: all of it is "
                               "turned or moved otherwise",
                               firstName),
                   "turn the clip first, or leave it out", b);
  if (a->recordB->rate != b->recordB->rate || a->recordB->volume != b->recordB->volume)
    findings.AddAt(
        Message::kShownOtherwise,
        fmt::format("is to be played at a rate of {} and a volume of {}, and continues {} with a "
                    "rate of {} and a volume of {}",
                    b->recordB->rate / 65536.0, b->recordB->volume / 256.0, firstName,
                    a->recordB->rate / 65536.0, a->recordB->volume / 256.0),
        "leave it out, or merge it with clips that are played alike", b);
}

}  // namespace

void CheckMergeable(MP4G::CMovieBox* movie, bool alone, FileFindings& findings) {
  const MP4G::CMovieBox_wr view(movie);
  if (view.MovieHeaderBox() == nullptr)
    AddMissing(findings, movie, "has no movie header \"mvhd\"", alone, E_BAD_DATA);
  const std::vector<MP4G::CTrackBox*> tracks = view.Tracks();
  if (tracks.empty())
    findings.AddAt(Message::kNoTracks, "has no track, so that nothing of it can be played",
                   "leave it out", movie);
  const std::vector<MP4G::CTrackBox*> moved = view.TracksByID();
  for (std::size_t i = 0; i < tracks.size(); ++i) {
    MP4G::CTrackBox* track = tracks[i];
    const MP4G::CTrackBox_wr trackView(track);
    // The offsets of a track without a header are not found, unless the identifier 0 leads to one.
    if (trackView.TrackHeaderBox() == nullptr)
      AddMissing(findings, track, "has a track without a track header \"tkhd\"",
                 alone && moved[i] != nullptr, E_BAD_DATA);
    if (trackView.MediaHeaderBox() == nullptr)
      AddMissing(findings, track, "has a track without a media header \"mdhd\"", alone, E_BAD_DATA);
    CheckOffsets(track, moved[i], findings);
    // Of a clip that is merged alone nothing is appended, and its lists stay as they are.
    if (!alone) CheckEdits(track, findings);
    const MP4G::CSampleTableBox_wr table(trackView.SampleTableBox());
    if (table.box != nullptr && table.SampleDescriptionBox() == nullptr)
      AddMissing(findings, table.box, "has a track without sample descriptions \"stsd\"", alone,
                 MP4G_E_SAMPLE_TABLE);
  }
  CheckIdentifiers(movie, findings);
}

std::vector<TrackPair> CheckMatch(MP4G::CMovieBox* first, const std::string& firstName,
                                  MP4G::CMovieBox* second, FileFindings& findings) {
  const MP4G::CMovieBox_wr firstView(first);
  const MP4G::CMovieBox_wr secondView(second);
  CheckMovieHeaders(firstView.MovieHeaderBox(), firstName, secondView.MovieHeaderBox(), findings);
  if (firstView.GetTrackNum() != secondView.GetTrackNum()) {
    findings
        .AddAt(Message::kTrackCount,
               fmt::format("has {} tracks, and {} has {}", secondView.GetTrackNum(), firstName,
                           firstView.GetTrackNum()),
               kOtherRecording, second)
        .result = MP4G_E_TRACK_COUNT;
  }

  std::vector<TrackPair> pairs;
  MP4G::FreeTracks freeTracks(second);
  for (MP4G::CTrackBox* track : firstView.Tracks()) {
    const TrackFacts facts = FactsOf(track);
    // As a merge chooses: the first track of that sample entry that no track before has taken.
    const auto partner = freeTracks.First(facts.entryType);
    // The other tracks are looked at all the same: one look is to tell all that is wrong.
    if (partner.track == nullptr) {
      findings
          .AddAt(Message::kTrackWithoutPartner,
                 fmt::format("has no track left that continues {} of {}", TrackWords(facts),
                             firstName),
                 kOtherRecording, second)
          .result = E_BAD_DATA;
      continue;
    }
    freeTracks.Use(partner.id);
    pairs.push_back({track, partner.track});
    CheckTrackPair(pairs.back(), firstName, findings);
  }
  CheckLostBoxes(first, second, pairs, firstName, findings);
  return pairs;
}

}  // namespace clipchain
