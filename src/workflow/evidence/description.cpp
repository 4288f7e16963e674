#include "workflow/evidence/description.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "adapt/boxes/bit_rates.h"
#include "adapt/boxes/track_headers.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

void AppendNumber(std::string& text, std::uint32_t number) {
  for (int shift = 24; shift >= 0; shift -= 8) text += static_cast<char>(number >> shift);
}

std::string TrackText(const RawBox& track) {
  std::string text;
  AppendNumber(text, TrackKind(track));
  const RawBox* header = track.At({FourCc("mdia"), FourCc("mdhd")});
  AppendNumber(text, header != nullptr ? ReadTimeHeader(*header).value_or(TimeHeader{}).scale : 0);
  const RawBox* table = SampleTable(track);
  const RawBox* entries = table != nullptr ? table->Child(FourCc("stsd")) : nullptr;
  // A camera declares the bit rates of each clip anew.
  const Bytes told = entries != nullptr ? WithoutBitRates(entries->data) : Bytes();
  AppendNumber(text, static_cast<std::uint32_t>(told.size()));
  text.append(told.begin(), told.end());
  return text;
}

}  // namespace

std::string DescriptionOf(const RawBox& movie) {
  std::string text;
  if (const RawBox* header = movie.Child(FourCc("mvhd")))
    AppendNumber(text, ReadTimeHeader(*header).value_or(TimeHeader{}).scale);
  std::vector<std::string> tracks;
  for (const RawBox& box : movie.children) {
    if (box.type == FourCc("trak")) tracks.push_back(TrackText(box));
  }
  // Their order tells nothing: some programs change it from clip to clip.
  std::sort(tracks.begin(), tracks.end());
  for (const std::string& track : tracks) text += track;
  return text;
}

}  // namespace clipchain
