#include "workflow/evidence/description.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "adapt/track_headers.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

constexpr std::size_t kBitRateFields = 12;  // of "btrt": buffer, most, average

void AppendNumber(std::string& text, std::uint32_t number) {
  for (int shift = 24; shift >= 0; shift -= 8) text += static_cast<char>(number >> shift);
}

void Blank(std::string& bytes, std::size_t at, std::size_t count) {
  for (std::size_t i = at; i < std::min(at + count, bytes.size()); ++i) bytes[i] = 0;
}

// Moves behind the tag of a descriptor and its length, which has up to 4 bytes (ISO/IEC 14496-1,
// clause 8.3.3). False: another one stands there.
bool SkipDescriptorHeader(const std::string& bytes, std::size_t& at, char tag) {
  if (at >= bytes.size() || bytes[at] != tag) return false;
  ++at;
  for (int i = 0; i < 4 && at < bytes.size(); ++i) {
    if ((bytes[at++] & 0x80) == 0) return true;
  }
  return true;
}

// Of an elementary stream descriptor: the buffer's size and both bit rates.
void BlankStreamRates(std::string& bytes, std::size_t at) {
  constexpr char kStream = 3;
  constexpr char kDecoder = 4;
  constexpr std::size_t kVersion = 4;
  constexpr std::size_t kStreamFields = 3;
  constexpr std::size_t kTypes = 2;
  constexpr std::size_t kRates = 11;
  at += kVersion;
  if (!SkipDescriptorHeader(bytes, at, kStream)) return;
  at += kStreamFields;
  if (SkipDescriptorHeader(bytes, at, kDecoder)) Blank(bytes, at + kTypes, kRates);
}

// Sample entries keep such boxes behind fields of many lengths, so they are found by their types.
std::string WithoutBitRates(const Bytes& descriptions) {
  std::string bytes(descriptions.begin(), descriptions.end());
  const auto each = [&](std::string_view type, auto blank) {
    for (std::size_t at = bytes.find(type); at != std::string::npos; at = bytes.find(type, at + 4))
      blank(at + type.size());
  };
  each(std::string_view("\0\0\0\x14"
                        "btrt",
                        8),
       [&](std::size_t at) { Blank(bytes, at, kBitRateFields); });
  each("esds", [&](std::size_t at) { BlankStreamRates(bytes, at); });
  return bytes;
}

}  // namespace

std::string DescriptionOf(const RawBox& movie) {
  std::string text;
  if (const RawBox* header = movie.Child(FourCc("mvhd")))
    AppendNumber(text, ReadTimeHeader(*header).value_or(TimeHeader{}).scale);
  for (const RawBox& track : movie.children) {
    if (track.type != FourCc("trak")) continue;
    AppendNumber(text, TrackKind(track));
    const RawBox* header = track.At({FourCc("mdia"), FourCc("mdhd")});
    if (header != nullptr) AppendNumber(text, ReadTimeHeader(*header).value_or(TimeHeader{}).scale);
    const RawBox* table = SampleTable(track);
    const RawBox* entries = table != nullptr ? table->Child(FourCc("stsd")) : nullptr;
    if (entries == nullptr) continue;
    const std::string masked = WithoutBitRates(entries->data);
    AppendNumber(text, static_cast<std::uint32_t>(masked.size()));
    text += masked;
  }
  return text;
}

}  // namespace clipchain
