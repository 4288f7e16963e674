#include "workflow/clips/track_facts.h"

#include <fmt/format.h>

#include "box/sample_entries.h"
#include "reader/track_reader.h"
#include "reader/typed_views.h"
#include "workflow/boxes/sample_layout.h"

namespace clipchain {

namespace {

// An edit that shows nothing, in either form of the table.
bool IsEmptyEdit(const MP4G::CEditListBox& box, const MP4G::_tagEDIT_LIST_ENTRY& edit) {
  const bool isWide = box.fullHeader->version == 1;
  return edit.mediaTime == -1 || (!isWide && edit.mediaTime == 0xFFFFFFFF);
}

std::int64_t FirstMediaTime(const MP4G::CEditListBox* edits) {
  if (edits == nullptr) return 0;
  for (const MP4G::_tagEDIT_LIST_ENTRY& edit : edits->entries) {
    if (!IsEmptyEdit(*edits, edit)) return edit.mediaTime;
  }
  return 0;
}

}  // namespace

TrackFacts FactsOf(MP4G::CTrackBox* track) {
  const MP4G::CTrackReader reader(track);
  const MP4G::CTrackBox_wr view(track);
  const TrackSums sums = SumsOf(track);
  TrackFacts facts;
  facts.id = reader.GetTrackID();
  facts.entryType = reader.GetSampleEntryType();
  if (reader.IsVideoTrack()) facts.kind = MediaKind::kPicture;
  if (reader.IsAudioTrack()) facts.kind = MediaKind::kSound;
  facts.timeScale = reader.GetTimeScale();
  facts.samples = sums.samples;
  facts.sampleTime = sums.ticks;
  facts.firstMediaTime = FirstMediaTime(view.EditListBox());
  return facts;
}

std::string TrackWords(const TrackFacts& facts) {
  return facts.entryType != 0 ? fmt::format("track {} ({})", facts.id, FourCcText(facts.entryType))
                              : fmt::format("track {}", facts.id);
}

}  // namespace clipchain
