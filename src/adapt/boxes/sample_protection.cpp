#include "adapt/boxes/sample_protection.h"

#include <algorithm>
#include <set>
#include <span>
#include <utility>

#include "adapt/boxes/fields.h"
#include "adapt/boxes/sample_groups.h"
#include "adapt/boxes/track_headers.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

using QUIRVA::be16;
using QUIRVA::be32;
using QUIRVA::be64;

// Where one byte is to be spelled out for each sample.
constexpr std::uint64_t kMostSamples = 1ULL << 26;

constexpr std::uint32_t kUsesSubsamples = 2;

// "tenc": version and flags, a reserved byte, the pattern, whether samples are protected, the size
// of their vectors, the key's identifier. An entry of "seig" has the same without the first four.
constexpr std::size_t kVersionAndFlags = 4;
constexpr std::size_t kIsProtected = 6;
constexpr std::size_t kVectorSize = 7;
constexpr std::size_t kDescriptionsBytes = 24;
constexpr std::size_t kGroupsBytes = 20;

// What stands ahead of the boxes of an entry that is protected; of sound there are forms of
// QuickTime too. Empty: not known.
std::vector<std::size_t> FieldsOf(const RawBox& entry) {
  constexpr std::size_t kVideo = 78;
  constexpr std::size_t kAudio = 28;
  constexpr std::size_t kVersion = 8;
  if (entry.type == FourCc("encv")) return {kVideo};
  if (entry.type != FourCc("enca") || entry.data.size() < kAudio) return {};
  if (entry.data[kVersion + 1] == 1) return {kAudio + 16, kAudio};
  if (entry.data[kVersion + 1] == 2) return {kAudio + 36};
  return {kAudio};
}

std::optional<RawBox> BoxIn(std::span<const unsigned char> bytes, unsigned int type) {
  RawBox box;
  while (box.Take(bytes)) {
    if (box.type == type) return box;
  }
  return std::nullopt;
}

struct EntryProtection {
  unsigned int scheme = 0;
  bool isProtected = false;
  std::optional<unsigned int> vectorSize;
};

std::optional<EntryProtection> ProtectionIn(const RawBox& sinf) {
  const auto scheme = BoxIn(sinf.data, FourCc("schm"));
  const auto information = BoxIn(sinf.data, FourCc("schi"));
  const auto keys = information ? BoxIn(information->data, FourCc("tenc")) : std::nullopt;
  if (!scheme || !keys || keys->data.size() < kDescriptionsBytes) return std::nullopt;
  std::span<const unsigned char> in = scheme->data;
  be32 versionAndFlags;
  be32 type;
  if (!TakeField(in, versionAndFlags) || !TakeField(in, type)) return std::nullopt;
  return EntryProtection{type, keys->data[kIsProtected] != 0, keys->data[kVectorSize]};
}

// An entry whose protection can't be read is taken for protected in an unknown way.
EntryProtection ProtectionOf(const RawBox& entry) {
  for (const std::size_t fields : FieldsOf(entry)) {
    if (fields > entry.data.size()) continue;
    const auto sinf = BoxIn(std::span(entry.data).subspan(fields), FourCc("sinf"));
    const auto protection = sinf ? ProtectionIn(*sinf) : std::nullopt;
    if (protection) return *protection;
  }
  constexpr unsigned int kEncrypted = FourCc("enc ") >> 8;
  return {0, entry.type >> 8 == kEncrypted || entry.type == FourCc("resv"), std::nullopt};
}

// Whether a sample's bytes are a vector and a list of parts (7.2.3), and nothing else.
bool HasParts(std::span<const unsigned char> sample, std::size_t vectorSize) {
  constexpr std::size_t kPart = sizeof(be16) + sizeof(be32);
  if (sample.size() < vectorSize) return false;
  sample = sample.subspan(vectorSize);
  be16 parts;
  return TakeField(sample, parts) && sample.size() == parts * kPart;
}

}  // namespace

std::optional<unsigned int> ProtectionScheme::VectorSize() const {
  return vectorSizes.size() == 1 ? *vectorSizes.begin() : std::nullopt;
}

void ProtectionScheme::AddGroups(const RawBox& parent) {
  for (const RawBox& box : parent.children) {
    unsigned int kind = 0;
    if (box.type != FourCc("sgpd")) continue;
    const auto groups = ReadGroupDescriptions(box, kind);
    if (kind != FourCc("seig")) continue;
    hasGroups = true;
    if (!groups || !groups->entries) {
      vectorSizes.insert(std::nullopt);
      continue;
    }
    for (const Bytes& entry : *groups->entries) {
      if (entry.size() < kGroupsBytes) {
        vectorSizes.insert(std::nullopt);
      } else if (entry[kIsProtected - kVersionAndFlags] != 0) {
        vectorSizes.insert(entry[kVectorSize - kVersionAndFlags]);
      }
    }
  }
}

ProtectionScheme ProtectionSchemeOf(const RawBox& track) {
  ProtectionScheme scheme;
  const RawBox* table = SampleTable(track);
  const RawBox* descriptions = table != nullptr ? table->Child(FourCc("stsd")) : nullptr;
  const auto entries = descriptions != nullptr ? SampleEntriesOf(*descriptions) : std::nullopt;
  if (!entries) return scheme;
  std::set<unsigned int> types;
  for (const RawBox& entry : *entries) {
    const EntryProtection protection = ProtectionOf(entry);
    scheme.isProtected.push_back(protection.isProtected);
    if (!protection.isProtected) continue;
    types.insert(protection.scheme);
    scheme.vectorSizes.insert(protection.vectorSize);
  }
  scheme.AddGroups(*table);
  if (types.size() == 1) scheme.type = *types.begin();
  return scheme;
}

void SampleProtection::AddSizes(std::uint64_t count, std::uint8_t size) {
  if (count == 0) return;
  samples_ += count;
  if (!sizes_.empty() && sizes_.back().size == size) {
    sizes_.back().count += count;
  } else {
    sizes_.push_back({count, size});
  }
}

void SampleProtection::Append(const SampleProtection& behind) {
  for (const Run& run : behind.sizes_) AddSizes(run.count, run.size);
  AddBytes(behind.bytes_);
}

// Samples that are not protected have no bytes in it.
Reason SampleProtection::Settle(const ProtectionScheme& scheme) {
  if (!IsAny()) return std::nullopt;
  if (scheme.type == 0 || !scheme.VectorSize())
    return "that are protected in several ways, or in one that is not known";
  if (samples_ > 0xFFFFFFFF || (sizes_.size() > 1 && samples_ > kMostSamples))
    return "that are more than a table of their protection holds";
  const std::size_t vectorSize = *scheme.VectorSize();
  hasSubsamples_ = bytes_.size() != 0 && std::any_of(sizes_.begin(), sizes_.end(), [=](Run run) {
                     return run.size > vectorSize;
                   });
  std::span<const unsigned char> rest = bytes_;
  for (const Run& run : sizes_) {
    for (std::uint64_t i = 0; run.size != 0 && i < run.count; ++i) {
      const auto sample = rest.first(run.size);
      rest = rest.subspan(run.size);
      const bool isWhole = hasSubsamples_ ? HasParts(sample, vectorSize) : run.size == vectorSize;
      if (!isWhole) return "that are protected in parts beside others that are not";
    }
  }
  return std::nullopt;
}

RawBox SampleProtection::SizesBox() const {
  RawBox box(FourCc("saiz"), Bytes(4));
  const bool isUniform = sizes_.size() == 1;
  box.data.push_back(isUniform ? sizes_.front().size : 0);
  PutField<be32>(box.data, static_cast<std::uint32_t>(samples_));
  if (isUniform) return box;
  for (const Run& run : sizes_)
    box.data.insert(box.data.end(), static_cast<std::size_t>(run.count), run.size);
  return box;
}

void SampleProtection::Write(RawBox& track, bool withPlace) const {
  RawBox* table = SampleTable(track);
  if (table == nullptr) return;
  for (const unsigned int type : {FourCc("saiz"), FourCc("saio"), FourCc("senc")}) {
    table->Remove(type);
    track.Remove(type);
  }
  if (!IsAny()) return;
  table->children.push_back(SizesBox());
  if (withPlace) {
    // One offset, of 64 bits: it must not become larger where the movie box is behind much media.
    RawBox& place = table->children.emplace_back(FourCc("saio"), Bytes());
    PutField<be32>(place.data, 1U << 24);
    PutField<be32>(place.data, 1);
    PutField<be64>(place.data, 0);
  }
  RawBox& box = track.children.emplace_back(FourCc("senc"), Bytes());
  PutField<be32>(box.data, hasSubsamples_ ? kUsesSubsamples : 0);
  PutField<be32>(box.data, static_cast<std::uint32_t>(samples_));
  box.data.insert(box.data.end(), bytes_.begin(), bytes_.end());
}

}  // namespace clipchain
