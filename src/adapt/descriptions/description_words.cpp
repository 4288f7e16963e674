#include "adapt/descriptions/description_words.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "adapt/boxes/bit_rates.h"
#include "adapt/boxes/box_header.h"
#include "adapt/boxes/track_headers.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

// A field by its place in bits, in the body of a box or in front of the boxes of an entry.
struct NamedField {
  unsigned int box;
  const char* name;
  std::size_t at;
  std::size_t bits;
};

constexpr NamedField kEntryFields[] = {
    {FourCc("vide"), "width", 192, 16},       {FourCc("vide"), "height", 208, 16},
    {FourCc("soun"), "version", 64, 16},      {FourCc("soun"), "number of channels", 128, 16},
    {FourCc("soun"), "sample size", 144, 16}, {FourCc("soun"), "sample rate", 192, 16},
};

constexpr NamedField kBoxFields[] = {
    {FourCc("avcC"), "profile", 8, 8},
    {FourCc("avcC"), "profile compatibility", 16, 8},
    {FourCc("avcC"), "level", 24, 8},
    {FourCc("colr"), "kind", 0, 32},
    {FourCc("colr"), "primaries", 32, 16},
    {FourCc("colr"), "transfer characteristics", 48, 16},
    {FourCc("colr"), "matrix", 64, 16},
    {FourCc("pasp"), "horizontal spacing", 0, 32},
    {FourCc("pasp"), "vertical spacing", 32, 32},
    {FourCc("fiel"), "number of fields", 0, 8},
    {FourCc("fiel"), "order of fields", 8, 8},
    {FourCc("dfLa"), "smallest block", 64, 16},
    {FourCc("dfLa"), "largest block", 80, 16},
    {FourCc("dfLa"), "sample rate", 144, 20},
    {FourCc("dfLa"), "number of channels less one", 164, 3},
    {FourCc("dfLa"), "sample size less one", 167, 5},
    {FourCc("dac3"), "sample rate code", 0, 2},
    {FourCc("dac3"), "bit stream identification", 2, 5},
    {FourCc("dac3"), "bit stream mode", 7, 3},
    {FourCc("dac3"), "audio coding mode", 10, 3},
    {FourCc("dac3"), "low frequency channel", 13, 1},
    {FourCc("dac3"), "bit rate code", 14, 5},
    {FourCc("alac"), "frame length", 32, 32},
    {FourCc("alac"), "sample size", 72, 8},
    {FourCc("alac"), "number of channels", 104, 8},
    {FourCc("alac"), "sample rate", 192, 32},
    {FourCc("dOps"), "number of channels", 8, 8},
    {FourCc("dOps"), "samples to skip", 16, 16},
    {FourCc("dOps"), "sample rate", 32, 32},
    {FourCc("dOps"), "gain", 64, 16},
};

struct BoxMeaning {
  unsigned int box;
  const char* text;
};

constexpr BoxMeaning kMeanings[] = {
    {FourCc("colr"), "what its colours are"},
    {FourCc("pasp"), "the shape of its pixels"},
    {FourCc("clap"), "which part is shown"},
    {FourCc("fiel"), "how its fields alternate"},
    {FourCc("mdcv"), "its mastering display"},
    {FourCc("clli"), "its light levels"},
    {FourCc("gama"), "its gamma"},
    {FourCc("chan"), "what its channels are"},
    {FourCc("chnl"), "what its channels are"},
    {FourCc("sinf"), "how it is protected"},
    {FourCc("dvcC"), "its layers"},
    {FourCc("dvvC"), "its layers"},
    {FourCc("wave"), "how it is compressed"},
};

std::optional<std::uint64_t> BitsAt(const Bytes& bytes, const NamedField& field) {
  if (field.at + field.bits > bytes.size() * 8) return std::nullopt;
  std::uint64_t value = 0;
  for (std::size_t i = field.at; i < field.at + field.bits; ++i)
    value = value << 1 | (bytes[i / 8] >> (7 - i % 8) & 1U);
  return value;
}

std::string ValueWords(const NamedField& field, std::uint64_t value) {
  return field.bits == 32 && field.box == FourCc("colr") ? Quoted(static_cast<unsigned int>(value))
                                                         : std::to_string(value);
}

// The first of the named fields that differs.
std::optional<std::string> FieldWords(std::span<const NamedField> fields, unsigned int box,
                                      const Bytes& mine, const Bytes& theirs,
                                      const std::string& owner, const std::string& name) {
  for (const NamedField& field : fields) {
    if (field.box != box) continue;
    const auto a = BitsAt(mine, field);
    const auto b = BitsAt(theirs, field);
    if (a && b && *a != *b)
      return "the " + std::string(field.name) + " of " + owner + " is " + ValueWords(field, *a) +
             ", and " + ValueWords(field, *b) + " in " + name;
  }
  return std::nullopt;
}

std::string ByteWords(const Bytes& mine, const Bytes& theirs, const std::string& owner,
                      const std::string& name) {
  if (mine.size() != theirs.size())
    return owner + " has " + std::to_string(mine.size()) + " bytes, and " +
           std::to_string(theirs.size()) + " in " + name;
  const auto [x, y] = std::mismatch(mine.begin(), mine.end(), theirs.begin());
  return "byte " + std::to_string(x - mine.begin()) + " of " + owner + " is " + std::to_string(*x) +
         ", and " + std::to_string(*y) + " in " + name;
}

// What follows the fields of an entry if it is boxes, zeros behind them aside.
std::optional<std::vector<RawBox>> BoxesBehind(const Bytes& entry, std::size_t fields) {
  if (entry.size() < fields) return std::nullopt;
  std::span<const unsigned char> rest = std::span(entry).subspan(fields);
  std::vector<RawBox> boxes;
  RawBox box;
  while (!rest.empty() && box.Take(rest)) boxes.push_back(std::exchange(box, {}));
  const bool isRestZero = std::all_of(rest.begin(), rest.end(), [](int b) { return b == 0; });
  if (boxes.empty() || !isRestZero) return std::nullopt;
  return boxes;
}

Bytes BodyOf(const RawBox& box) {
  Bytes bytes;
  for (const RawBox& child : box.children) child.Write(bytes);
  bytes.insert(bytes.end(), box.data.begin(), box.data.end());
  return bytes;
}

std::string BoxWords(const RawBox& box) {
  for (const BoxMeaning& meaning : kMeanings) {
    if (meaning.box == box.type) return "a box " + Quoted(box.type) + " (" + meaning.text + ")";
  }
  return "a box " + Quoted(box.type);
}

const RawBox* Find(const std::vector<RawBox>& boxes, unsigned int type) {
  const auto found = std::find_if(boxes.begin(), boxes.end(),
                                  [type](const RawBox& box) { return box.type == type; });
  return found != boxes.end() ? &*found : nullptr;
}

std::optional<std::string> BoxDifference(const std::vector<RawBox>& mine,
                                         const std::vector<RawBox>& theirs, unsigned int entry,
                                         const std::string& name) {
  for (const RawBox& box : mine) {
    if (Find(theirs, box.type) == nullptr)
      return Quoted(entry) + " has " + BoxWords(box) + ", which that of " + name + " has not";
  }
  for (const RawBox& box : theirs) {
    const RawBox* ours = Find(mine, box.type);
    if (ours == nullptr)
      return Quoted(entry) + " has no " + BoxWords(box).substr(2) + ", which that of " + name +
             " has";
    const Bytes a = BodyOf(*ours);
    const Bytes b = BodyOf(box);
    if (a == b) continue;
    const std::string owner = Quoted(box.type) + " in " + Quoted(entry);
    if (auto words = FieldWords(kBoxFields, box.type, a, b, owner, name)) return words;
    return ByteWords(a, b, owner, name);
  }
  return std::nullopt;
}

// Of pictures, of sound of versions 0, 1 and 2, and of others.
std::vector<std::size_t> FieldSizesOf(unsigned int kind) {
  if (kind == FourCc("vide")) return {78};
  if (kind == FourCc("soun")) return {28, 44, 64};
  return {8, 38};
}

std::string EntryDifference(const RawBox& mine, const RawBox& theirs, unsigned int kind,
                            const std::string& name) {
  if (mine.type != theirs.type)
    return "it is " + Quoted(mine.type) + ", and " + Quoted(theirs.type) + " in " + name;
  const std::string owner = Quoted(mine.type);
  if (auto words = FieldWords(kEntryFields, kind, mine.data, theirs.data, owner, name))
    return *words;
  for (const std::size_t fields : FieldSizesOf(kind)) {
    const auto ours = BoxesBehind(mine.data, fields);
    const auto first = BoxesBehind(theirs.data, fields);
    if (!ours || !first) continue;
    if (auto words = BoxDifference(*ours, *first, mine.type, name)) return *words;
  }
  return ByteWords(mine.data, theirs.data, owner, name);
}

std::optional<std::vector<RawBox>> EntriesWithoutRates(const RawBox& stsd) {
  return SampleEntriesOf(RawBox(stsd.type, WithoutRateBoxes(stsd.data)));
}

}  // namespace

std::string DescriptionDifference(const RawBox& first, const RawBox& later, unsigned int kind,
                                  const std::string& name) {
  const auto a = EntriesWithoutRates(first);
  const auto b = EntriesWithoutRates(later);
  if (!a || !b) return "a description is damaged";
  if (a->size() != b->size())
    return "it has " + std::to_string(b->size()) + " descriptions, and " +
           std::to_string(a->size()) + " in " + name;
  for (std::size_t i = 0; i < a->size(); ++i) {
    if ((*a)[i].type != (*b)[i].type || (*a)[i].data != (*b)[i].data)
      return EntryDifference((*b)[i], (*a)[i], kind, name);
  }
  return "they differ in form";
}

}  // namespace clipchain
