#include "workflow/boxes/box_fields.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

#include "box/base_descriptor.h"
#include "box/sample_entries.h"

namespace clipchain {

namespace {

using Span = std::span<const unsigned char>;

enum class Form { kNumber, kFixed16, kText, kBytes };

struct Field {
  std::size_t offset;  // in the box
  std::size_t size;
  const char* name;
  Form form = Form::kNumber;
};

constexpr Field kSampleEntry[] = {{8, 6, "reserved", Form::kBytes},
                                  {14, 2, "data_reference_index"}};

// ISO/IEC 14496-12, clause 12.1.3.
constexpr Field kVisual[] = {{32, 2, "width"},
                             {34, 2, "height"},
                             {36, 4, "horizresolution", Form::kFixed16},
                             {40, 4, "vertresolution", Form::kFixed16},
                             {48, 2, "frame_count"},
                             {50, 32, "compressorname", Form::kText},
                             {82, 2, "depth"}};

// Clause 12.2.3 and the extension of version 1.
constexpr Field kAudio[] = {{16, 2, "version"},
                            {24, 2, "channelcount"},
                            {26, 2, "samplesize"},
                            {32, 4, "samplerate", Form::kFixed16},
                            {36, 4, "samples per packet"},
                            {40, 4, "bytes per packet"},
                            {44, 4, "bytes per frame"},
                            {48, 4, "bytes per sample"}};

constexpr Field kTimecode[] = {{20, 4, "flags"},
                               {24, 4, "time scale"},
                               {28, 4, "frame duration"},
                               {32, 1, "number of frames"}};

// ISO/IEC 14496-15, clause 5.3.3.
constexpr Field kAvcConfiguration[] = {
    {8, 1, "configurationVersion"},   {9, 1, "AVCProfileIndication"},
    {10, 1, "profile_compatibility"}, {11, 1, "AVCLevelIndication"},
    {12, 1, "lengthSizeMinusOne"},    {13, 1, "numOfSequenceParameterSets"}};

constexpr Field kBitRate[] = {{8, 4, "bufferSizeDB"}, {12, 4, "maxBitrate"}, {16, 4, "avgBitrate"}};
constexpr Field kAspect[] = {{8, 4, "hSpacing"}, {12, 4, "vSpacing"}};
constexpr Field kColour[] = {{8, 4, "colour_type", Form::kText},
                             {12, 2, "colour_primaries"},
                             {14, 2, "transfer_characteristics"},
                             {16, 2, "matrix_coefficients"},
                             {18, 1, "full_range_flag"}};
constexpr Field kEntryCount[] = {{8, 1, "version"}, {9, 3, "flags"}, {12, 4, "entry_count"}};

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

// ISO/IEC 14496-1, clauses 7.2.6.5 and 7.2.6.6: from the start of the descriptor's body.
constexpr Field kStream[] = {{0, 2, "ES_ID"}, {2, 1, "flags of the stream"}};
constexpr Field kDecoder[] = {{0, 1, "objectTypeIndication"},
                              {1, 1, "streamType"},
                              {2, 3, "bufferSizeDB"},
                              {5, 4, "maxBitrate"},
                              {9, 4, "avgBitrate"}};

// The descriptors of "esds" one behind the other: those that hold others stand in front of them, so
// that one pass from left to right meets all. Nothing if the byte lies in none.
std::optional<Field> DescriptorFieldAt(Span bytes, std::size_t at) {
  constexpr std::size_t kFirst = 12;
  for (std::size_t place = kFirst; place + 1 < bytes.size();) {
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
  constexpr std::size_t kSets = 14;
  if (bytes.size() < kSets) return {};
  std::size_t place = kSets;
  const char* kind = "sequence parameter set";
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
