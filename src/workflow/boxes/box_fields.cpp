#include "workflow/boxes/box_fields.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <optional>

#include "box/avc_configuration.h"
#include "box/base_descriptor.h"
#include "box/descriptors.h"
#include "box/sample_entries.h"
#include "box/sample_entry_extras.h"

namespace clipchain {

namespace {

using Span = std::span<const unsigned char>;

enum class Form { kNumber, kFixed16, kText, kBytes };

struct Field {
  // In the box.
  std::size_t offset;
  std::size_t size;
  const char* name;
  Form form = Form::kNumber;
};

// A member of a record that stands behind `start` bytes of its box.
#define MEMBER(start, Record, member) (start) + offsetof(Record, member), sizeof(Record::member)

constexpr std::size_t kHeader = sizeof(MP4G::_tagBOX_HEADER);
constexpr std::size_t kFullHeader = kHeader + sizeof(MP4G::_tagFULL_BOX);
constexpr std::size_t kEntry = kHeader + sizeof(MP4G::_tagSAMPLE_ENTRY);
constexpr std::size_t kExtension = kEntry + sizeof(MP4G::_tagAUDIO_SAMPLE_ENTRY);

using Entry = MP4G::_tagSAMPLE_ENTRY;
constexpr Field kSampleEntry[] = {
    {MEMBER(kHeader, Entry, reserved), "reserved", Form::kBytes},
    {MEMBER(kHeader, Entry, dataReferenceIndex), "data_reference_index"}};

using Visual = MP4G::_tagVISUAL_SAMPLE_ENTRY;
constexpr Field kVisual[] = {
    {MEMBER(kEntry, Visual, width), "width"},
    {MEMBER(kEntry, Visual, height), "height"},
    {MEMBER(kEntry, Visual, horizResolution), "horizresolution", Form::kFixed16},
    {MEMBER(kEntry, Visual, vertResolution), "vertresolution", Form::kFixed16},
    {MEMBER(kEntry, Visual, frameCount), "frame_count"},
    {MEMBER(kEntry, Visual, compressorName), "compressorname", Form::kText},
    {MEMBER(kEntry, Visual, depth), "depth"}};

using Audio = MP4G::_tagAUDIO_SAMPLE_ENTRY;
using AudioExtension = MP4G::_tagSOUND_SAMPLE_DESCRIPTION_EX;
constexpr Field kAudio[] = {
    {MEMBER(kEntry, Audio, entryVersion), "version"},
    {MEMBER(kEntry, Audio, channelCount), "channelcount"},
    {MEMBER(kEntry, Audio, sampleSize), "samplesize"},
    {MEMBER(kEntry, Audio, sampleRate), "samplerate", Form::kFixed16},
    {MEMBER(kExtension, AudioExtension, samplesPerPacket), "samples per packet"},
    {MEMBER(kExtension, AudioExtension, bytesPerPacket), "bytes per packet"},
    {MEMBER(kExtension, AudioExtension, bytesPerFrame), "bytes per frame"},
    {MEMBER(kExtension, AudioExtension, bytesPerSample), "bytes per sample"}};

using Timecode = MP4G::_tagTIMECODE_DESCRIPTION;
constexpr Field kTimecode[] = {{MEMBER(kEntry, Timecode, flags), "flags"},
                               {MEMBER(kEntry, Timecode, timeScale), "time scale"},
                               {MEMBER(kEntry, Timecode, frameDuration), "frame duration"},
                               {MEMBER(kEntry, Timecode, numberOfFrames), "number of frames"}};

using Avc = MP4G::_tagAVC_DECODER_CONFIGURATION_RECORD;
constexpr Field kAvcConfiguration[] = {
    {MEMBER(kHeader, Avc, configurationVersion), "configurationVersion"},
    {MEMBER(kHeader, Avc, profileIndication), "AVCProfileIndication"},
    {MEMBER(kHeader, Avc, profileCompatibility), "profile_compatibility"},
    {MEMBER(kHeader, Avc, levelIndication), "AVCLevelIndication"},
    {MEMBER(kHeader, Avc, lengthSize), "lengthSizeMinusOne"},
    {MEMBER(kHeader, Avc, spsCount), "numOfSequenceParameterSets"}};

using BitRate = MP4G::_tagMPEG4_BIT_RATE_BOX;
constexpr Field kBitRate[] = {{MEMBER(kHeader, BitRate, bufferSizeDB), "bufferSizeDB"},
                              {MEMBER(kHeader, BitRate, maxBitrate), "maxBitrate"},
                              {MEMBER(kHeader, BitRate, avgBitrate), "avgBitrate"}};

using Aspect = MP4G::_tagASPECT_RATIO;
constexpr Field kAspect[] = {{MEMBER(kHeader, Aspect, hSpacing), "hSpacing"},
                             {MEMBER(kHeader, Aspect, vSpacing), "vSpacing"}};

// ISO/IEC 14496-12, clause 12.1.5; the engine has no class for this box.
struct Colour {
  QUIRVA::be32 type;
  QUIRVA::be16 primaries;
  QUIRVA::be16 transfer;
  QUIRVA::be16 matrix;
  unsigned char fullRange;
};
static_assert(sizeof(Colour) == 11);
constexpr Field kColour[] = {{MEMBER(kHeader, Colour, type), "colour_type", Form::kText},
                             {MEMBER(kHeader, Colour, primaries), "colour_primaries"},
                             {MEMBER(kHeader, Colour, transfer), "transfer_characteristics"},
                             {MEMBER(kHeader, Colour, matrix), "matrix_coefficients"},
                             {MEMBER(kHeader, Colour, fullRange), "full_range_flag"}};

constexpr Field kEntryCount[] = {{MEMBER(kHeader, MP4G::_tagFULL_BOX, version), "version"},
                                 {MEMBER(kHeader, MP4G::_tagFULL_BOX, flags), "flags"},
                                 {kFullHeader, sizeof(QUIRVA::be32), "entry_count"}};

// Longer values are cut.
constexpr std::size_t kShownBytes = 32;

std::string ValueOf(Span bytes, const Field& field) {
  if (field.offset >= bytes.size()) return "nothing";
  const Span value = bytes.subspan(field.offset, std::min(field.size, bytes.size() - field.offset));
  if (field.form == Form::kText) {
    std::string text;
    for (const unsigned char c : value) {
      if (c >= 0x20 && c < 0x7F) text += static_cast<char>(c);
    }
    return '"' + text + '"';
  }
  if (field.form == Form::kBytes || value.size() > 4) {
    std::string digits;
    for (const unsigned char c : value.first(std::min(value.size(), kShownBytes)))
      digits += fmt::format("{:02X}", c);
    return value.size() > kShownBytes ? digits + "..." : digits;
  }
  unsigned int number = 0;
  for (const unsigned char c : value) number = number << 8 | c;
  if (field.form == Form::kFixed16) return fmt::format("{}", number / 65536.0);
  return fmt::format("{}", number);
}

// The tables that apply to the box, the more general one first.
void TablesOf(unsigned int type, const MP4G::CBox& box, std::span<const Field> (&tables)[2]) {
  switch (type) {
    case FourCc("avcC"):
      tables[0] = kAvcConfiguration;
      return;
    case FourCc("btrt"):
      tables[0] = kBitRate;
      return;
    case FourCc("pasp"):
      tables[0] = kAspect;
      return;
    case FourCc("colr"):
      tables[0] = kColour;
      return;
    case FourCc("stsd"):
      tables[0] = kEntryCount;
      return;
    default:
      break;
  }
  if (dynamic_cast<const MP4G::CSampleEntry*>(&box) == nullptr) return;
  tables[0] = kSampleEntry;
  if (dynamic_cast<const MP4G::CVisualSampleEntry*>(&box) != nullptr) tables[1] = kVisual;
  if (dynamic_cast<const MP4G::CAudioSampleEntry*>(&box) != nullptr) tables[1] = kAudio;
  if (dynamic_cast<const MP4G::CTimecodeSampleDescription*>(&box) != nullptr) tables[1] = kTimecode;
}

// From the start of the descriptor's body.
using Stream = MP4G::_tagES_DESCRIPTOR;
constexpr Field kStream[] = {{MEMBER(0, Stream, esId), "ES_ID"},
                             {MEMBER(0, Stream, flags), "flags of the stream"}};
using Decoder = MP4G::_tagDECODER_CONFIG_DESCRIPTOR;
constexpr Field kDecoder[] = {{MEMBER(0, Decoder, objectTypeIndication), "objectTypeIndication"},
                              {MEMBER(0, Decoder, streamType), "streamType"},
                              {MEMBER(0, Decoder, bufferSizeDB), "bufferSizeDB"},
                              {MEMBER(0, Decoder, maxBitrate), "maxBitrate"},
                              {MEMBER(0, Decoder, avgBitrate), "avgBitrate"}};

#undef MEMBER

// The descriptors of "esds" one behind the other: those that hold others stand in front of them, so
// that one pass from left to right meets all. Nothing if the byte lies in none.
std::optional<Field> DescriptorFieldAt(Span bytes, std::size_t at) {
  for (std::size_t place = kFullHeader; place + 1 < bytes.size();) {
    const unsigned char tag = bytes[place];
    std::size_t body = place + 1;
    std::size_t length = 0;
    // Seven bits a byte, as long as the top bit is set.
    do length = length << 7 | (bytes[body] & 127u);
    while ((bytes[body++] & 128u) != 0 && body < bytes.size() && body < place + 5);
    if (at < body) return Field{place, body - place, "header of a descriptor", Form::kBytes};
    std::span<const Field> fields;
    if (tag == MP4G::kEsDescriptorTag) fields = kStream;
    if (tag == MP4G::kDecoderConfigDescriptorTag) fields = kDecoder;
    for (const Field& field : fields) {
      if (at >= body + field.offset && at < body + field.offset + field.size)
        return Field{body + field.offset, field.size, field.name};
    }
    if (fields.empty()) {
      const bool isConfig = tag == MP4G::kDecoderSpecificInfoTag;
      if (at < body + length)
        return Field{body, length, isConfig ? "DecoderSpecificInfo" : "body of a descriptor",
                     Form::kBytes};
      place = body + length;
    } else {
      place = body + fields.back().offset + fields.back().size;
    }
  }
  return std::nullopt;
}

// Behind the fixed part of "avcC" stand parameter sets, each behind its length.
std::string ParameterSetAt(Span bytes, std::size_t at) {
  constexpr std::size_t kSets = kHeader + sizeof(Avc);
  if (bytes.size() < kSets) return {};
  std::size_t place = kSets;
  const char* kind = "sequence parameter set";
  // The upper three bits are reserved.
  unsigned int count = bytes[kSets - 1] & 31u;
  for (int pass = 0; pass < 2; ++pass) {
    for (unsigned int i = 0; i < count; ++i) {
      if (place + 2 > bytes.size()) return {};
      const std::size_t length = static_cast<std::size_t>(bytes[place]) << 8 | bytes[place + 1];
      if (at < place + 2 + length) return fmt::format("{} {}", kind, i + 1);
      place += 2 + length;
    }
    if (place >= bytes.size() || pass == 1) return {};
    if (at == place) return "numOfPictureParameterSets";
    count = bytes[place++];
    kind = "picture parameter set";
  }
  return {};
}

}  // namespace

BoxField FieldAt(const MP4G::CBox& box, Span first, Span second, std::size_t at) {
  const unsigned int type = box.header->type;
  std::span<const Field> tables[2];
  TablesOf(type, box, tables);
  for (const std::span<const Field>& table : tables) {
    for (const Field& field : table) {
      if (at < field.offset || at >= field.offset + field.size) continue;
      return {field.name, ValueOf(first, field), ValueOf(second, field)};
    }
  }
  if (type == FourCc("esds")) {
    if (const auto field = DescriptorFieldAt(first, at))
      return {field->name, ValueOf(first, *field), ValueOf(second, *field)};
  }
  const Field rest{at, 8, "", Form::kBytes};
  std::string name = type == FourCc("avcC") ? ParameterSetAt(first, at) : std::string();
  name = name.empty() ? fmt::format("byte {}", at) : fmt::format("{}, byte {}", name, at);
  return {name, ValueOf(first, rest), ValueOf(second, rest)};
}

}  // namespace clipchain
