#include "workflow/clips/track_facts.h"

#include <fmt/format.h>

#include "box/sample_entries.h"
#include "reader/movie_reader.h"
#include "reader/track_reader.h"
#include "reader/typed_views.h"
#include "workflow/boxes/sample_layout.h"
#include "workflow/boxes/sample_tables.h"

namespace clipchain {

namespace {

// An edit that shows nothing, in either form of the table.
bool IsEmptyEdit(const MP4G::CEditListBox& box, const MP4G::_tagEDIT_LIST_ENTRY& edit) {
  const bool isWide = box.fullHeader->version == 1;
  return edit.mediaTime == -1 || (!isWide && edit.mediaTime == 0xFFFFFFFF);
}

Edits EditsOf(const MP4G::CEditListBox* box) {
  Edits edits;
  if (box == nullptr) return edits;
  for (const MP4G::_tagEDIT_LIST_ENTRY& entry : box->entries) {
    const std::uint32_t rate = std::uint32_t{entry.rateInteger} << 16 | entry.rateFraction;
    edits.push_back({entry.segmentDuration, IsEmptyEdit(*box, entry) ? -1 : entry.mediaTime, rate});
  }
  return edits;
}

OffsetRuns OffsetsOf(const MP4G::CCompositionOffsetBox* box) {
  OffsetRuns offsets;
  if (box == nullptr) return offsets;
  // Version 0 has no sign (ISO/IEC 14496-12, clause 8.6.1.3). What programs wrote below 0 all the
  // same is found out where times are reckoned.
  const bool isSigned = box->fullHeader->version == 1;
  for (const auto& entry : box->entries) {
    const std::uint32_t offset = entry.sampleOffset;
    offsets.push_back({entry.sampleCount, isSigned ? std::int64_t{static_cast<std::int32_t>(offset)}
                                                   : std::int64_t{offset}});
  }
  return offsets;
}

}  // namespace

TrackFacts FactsOf(MP4G::CTrackBox* track) {
  const MP4G::CTrackReader reader(track);
  TrackFacts facts;
  facts.id = reader.GetTrackID();
  facts.entryType = reader.GetSampleEntryType();
  if (reader.IsVideoTrack()) facts.kind = MediaKind::kPicture;
  if (reader.IsAudioTrack()) facts.kind = MediaKind::kSound;
  facts.timeScale = reader.GetTimeScale();
  facts.samples = SampleLayout(MP4G::CTrackBox_wr(track).SampleTableBox()).SampleCount();
  return facts;
}

std::optional<TrackTimes> TimesOf(MP4G::CTrackBox* track) {
  const TrackFacts facts = FactsOf(track);
  const MP4G::CTrackBox_wr view(track);
  const SampleTables tables(track);
  TrackSource source;
  source.id = facts.id;
  source.entryType = facts.entryType;
  source.kind = facts.kind;
  source.scale = facts.timeScale;
  source.movieScale = MP4G::CMovieReader(view.MovieBox()).GetTimeScale();
  if (tables.times != nullptr) {
    for (const auto& entry : tables.times->entries)
      source.times.push_back({entry.sampleCount, entry.sampleDelta});
  }
  source.offsets = OffsetsOf(tables.offsets);
  source.edits = EditsOf(view.EditListBox());
  return TimesOf(source);
}

std::string TrackWords(const TrackFacts& facts) {
  return facts.entryType != 0 ? fmt::format("track {} ({})", facts.id, FourCcText(facts.entryType))
                              : fmt::format("track {}", facts.id);
}

}  // namespace clipchain
