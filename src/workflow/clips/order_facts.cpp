#include "workflow/clips/order_facts.h"

#include <algorithm>

#include "box/sample_entries.h"
#include "reader/track_reader.h"
#include "reader/typed_views.h"
#include "workflow/boxes/sample_layout.h"
#include "workflow/clips/camera_notes.h"

namespace clipchain {

namespace {

// The top bit of the minutes says that the time lies below 0, where no recording begins.
constexpr std::uint32_t kSignBit = 0x00800000;

std::uint64_t FramesOf(std::uint64_t ticks, unsigned int trackScale,
                       const MP4G::_tagTIMECODE_DESCRIPTION& description) {
  const long double seconds = trackScale != 0 ? static_cast<long double>(ticks) / trackScale : 0;
  const std::uint32_t frame = description.frameDuration;
  if (frame == 0) return 0;
  // To the nearest frame: a duration is a number of the track's ticks, which need not divide one.
  return static_cast<std::uint64_t>(seconds * std::uint32_t{description.timeScale} / frame + 0.5L);
}

std::optional<ClipTimecode> TimecodeOf(const ClipFile& clip, MP4G::CTrackBox* track) {
  MP4G::CSampleTableBox* table = MP4G::CTrackBox_wr(track).SampleTableBox();
  const MP4G::CTimecodeSampleDescription* description =
      MP4G::CSampleTableBox_wr(table).TimecodeSampleDescription(0);
  SampleLayout layout(table);
  Chunk chunk{};
  QUIRVA::be32 sample{};
  // The first sample holds for the clip until another one follows: none is needed for its order.
  const bool hasSample = layout.Next(chunk) && chunk.samples != 0;
  if (description == nullptr || !hasSample || layout.SizeOf(0) < sizeof sample) return std::nullopt;
  const std::vector<unsigned char> bytes =
      clip.Read(static_cast<long long>(chunk.position), sizeof sample);
  if (bytes.size() < sizeof sample) return std::nullopt;
  std::copy(bytes.begin(), bytes.end(), sample.bytes);
  return ClipTimecode{
      sample & ~kSignBit,
      FramesOf(SumsOf(track).ticks, MP4G::CTrackReader(track).GetTimeScale(), *description->record),
      description->record->numberOfFrames};
}

}  // namespace

OrderFacts OrderFactsOf(const ClipFile& clip) {
  OrderFacts facts;
  facts.file = IdentityOf(clip.Path());
  MP4G::CMovieBox* movie = clip.Movie();
  const CameraNotes notes = ReadCameraNotes(movie);
  facts.date = notes.date;
  if (notes.hasIdentifiers) {
    facts.id = notes.id;
    facts.previous = notes.previous;
    facts.next = notes.next;
  }
  for (MP4G::CTrackBox* track : MP4G::CMovieBox_wr(movie).Tracks()) {
    if (MP4G::CTrackReader(track).GetSampleEntryType() != FourCc("tmcd")) continue;
    facts.timecode = TimecodeOf(clip, track);
    break;
  }
  return facts;
}

}  // namespace clipchain
