#include "adapt/boxes/protection_boxes.h"

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <utility>

#include "adapt/boxes/box_header.h"
#include "adapt/boxes/fields.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

using QUIRVA::be16;
using QUIRVA::be32;
using QUIRVA::be64;

constexpr std::uint32_t kHasType = 1;
constexpr std::uint32_t kUsesSubsamples = 2;

// "saiz": of the first samples of the part; the others have nothing.
struct Sizes {
  std::uint8_t uniform = 0;
  std::uint32_t count = 0;
  std::span<const unsigned char> spelled{};

  std::uint8_t At(std::uint64_t sample) const {
    if (sample >= count) return 0;
    return uniform != 0 ? uniform : spelled[static_cast<std::size_t>(sample)];
  }
  std::uint64_t Sum(std::uint64_t from, std::uint64_t samples) const {
    const std::uint64_t end = std::min<std::uint64_t>(count, from + samples);
    if (from >= end) return 0;
    if (uniform != 0) return (end - from) * uniform;
    std::uint64_t sum = 0;
    for (std::uint64_t i = from; i < end; ++i) sum += spelled[static_cast<std::size_t>(i)];
    return sum;
  }
};

struct Boxes {
  const RawBox* sizes = nullptr;
  const RawBox* places = nullptr;
  const RawBox* bytes = nullptr;
  bool areTwo = false;

  void Take(const RawBox& parent) {
    for (const RawBox& box : parent.children) {
      const RawBox** found = box.type == FourCc("saiz")   ? &sizes
                             : box.type == FourCc("saio") ? &places
                             : box.type == FourCc("senc") ? &bytes
                                                          : nullptr;
      if (found == nullptr) continue;
      areTwo = areTwo || *found != nullptr;
      *found = &box;
    }
  }
};

Boxes BoxesOf(const ProtectedPart& part) {
  Boxes boxes;
  boxes.Take(part.parent);
  if (part.track != nullptr) boxes.Take(*part.track);
  return boxes;
}

// Both boxes of auxiliary information may say of what kind it is; else it is the scheme's.
Reason TakeKind(std::span<const unsigned char>& in, unsigned int& version, unsigned int scheme) {
  be32 versionAndFlags;
  be32 type;
  be32 parameter;
  if (!TakeField(in, versionAndFlags)) return "end too early";
  version = versionAndFlags >> 24;
  if ((versionAndFlags & kHasType) == 0) return std::nullopt;
  if (!TakeField(in, type) || !TakeField(in, parameter)) return "end too early";
  if (type == scheme && parameter == 0) return std::nullopt;
  return "are of the kind " + Quoted(type) + ", and the samples' protection is of the kind " +
         Quoted(scheme);
}

Reason TakeSizes(const RawBox& box, unsigned int scheme, std::uint64_t samples, Sizes& sizes) {
  std::span<const unsigned char> in = box.data;
  unsigned int version = 0;
  be32 count;
  if (Reason why = TakeKind(in, version, scheme)) return why;
  if (version != 0 || in.empty()) return "can't be read";
  sizes.uniform = in.front();
  in = in.subspan(1);
  if (!TakeField(in, count) || (sizes.uniform == 0 && count > in.size())) return "end too early";
  if (count > samples) return "speak of more samples than there are";
  sizes.count = count;
  if (sizes.uniform == 0) sizes.spelled = in.first(count);
  return std::nullopt;
}

Reason TakePlaces(const RawBox& box, unsigned int scheme, std::vector<std::uint64_t>& places) {
  std::span<const unsigned char> in = box.data;
  unsigned int version = 0;
  be32 count;
  if (Reason why = TakeKind(in, version, scheme)) return why;
  const auto plain = [](auto field) { return std::uint64_t{field}; };
  const bool isTaken = version <= 1 && TakeField(in, count) &&
                       (version == 1 ? TakeTable<be64>(in, count, places, plain)
                                     : TakeTable<be32>(in, count, places, plain));
  if (!isTaken) return "can't be read";
  return std::nullopt;
}

// The bytes that the places speak of.
Reason TakePlacedBytes(const ProtectedPart& part, const std::vector<std::uint64_t>& places,
                       const Sizes& sizes, const BytesAt& bytesAt, Bytes& bytes) {
  const bool isOne = places.size() == 1;
  if (!isOne && places.size() != part.groups.size())
    return "have other numbers of places than there are runs of samples";
  std::uint64_t sample = 0;
  for (std::size_t i = 0; i < places.size(); ++i) {
    const std::uint64_t samples = isOne ? part.samples : part.groups[i];
    const std::uint64_t size = sizes.Sum(sample, samples);
    sample += samples;
    if (size == 0) continue;
    const Bytes found = bytesAt ? bytesAt(part.base + places[i], size) : Bytes();
    if (found.size() != size) return "lie at places that the file does not have";
    bytes.insert(bytes.end(), found.begin(), found.end());
  }
  return std::nullopt;
}

// What stands in "senc", behind its fields.
Reason TakeOwnBytes(const RawBox& box, std::uint32_t& flags, std::uint32_t& count,
                    std::span<const unsigned char>& bytes) {
  bytes = box.data;
  be32 versionAndFlags;
  be32 samples;
  if (!TakeField(bytes, versionAndFlags) || !TakeField(bytes, samples)) return "end too early";
  flags = versionAndFlags;
  // Version 1 has several keys for a sample, other flags have other keys for all.
  if ((flags & ~kUsesSubsamples) != 0) return "are of a form that is not known";
  count = samples;
  return std::nullopt;
}

// How many bytes of "senc" each sample has, where no other box says.
Reason SpellSizes(std::span<const unsigned char> bytes, std::uint32_t flags, std::uint32_t count,
                  std::size_t vectorSize, Bytes& spelled) {
  constexpr std::size_t kPart = sizeof(be16) + sizeof(be32);
  if ((flags & kUsesSubsamples) == 0 && vectorSize == 0) return std::nullopt;
  for (std::uint32_t i = 0; i < count; ++i) {
    std::size_t size = vectorSize;
    if ((flags & kUsesSubsamples) != 0) {
      if (bytes.size() < vectorSize) return "end too early";
      auto in = bytes.subspan(vectorSize);
      be16 parts;
      if (!TakeField(in, parts)) return "end too early";
      size += sizeof parts + parts * kPart;
    }
    if (size > bytes.size()) return "end too early";
    if (size > 0xFF) return "are longer than a table of their sizes can say";
    spelled.push_back(static_cast<unsigned char>(size));
    bytes = bytes.subspan(size);
  }
  return std::nullopt;
}

// Readers that go by "senc" alone must find the same of each sample. Those in the clear have
// nothing in it, whether they are counted or not.
Reason CompareSizes(std::span<const unsigned char> own, std::uint32_t flags, std::uint32_t count,
                    std::size_t vectorSize, const Sizes& sizes) {
  Bytes told = sizes.uniform != 0 ? Bytes(sizes.count, sizes.uniform)
                                  : Bytes(sizes.spelled.begin(), sizes.spelled.end());
  told.erase(std::remove(told.begin(), told.end(), 0), told.end());
  if (told.size() > count) return "are told of fewer samples in \"senc\" than in \"saiz\"";
  Bytes spelled;
  if (Reason why =
          SpellSizes(own, flags, static_cast<std::uint32_t>(told.size()), vectorSize, spelled))
    return why;
  if (spelled != told) return "have other sizes in \"senc\" than \"saiz\" says";
  return std::nullopt;
}

// A sample in a fragment has as many bytes as its sizes say, wherever they stand; where two boxes
// hold them, both must hold the same.
Reason TakeBytes(const ProtectedPart& part, const ProtectionScheme& scheme, const Boxes& boxes,
                 const BytesAt& bytesAt, std::uint64_t most, Sizes& sizes, Bytes& spelled,
                 Bytes& bytes) {
  std::uint32_t flags = 0;
  std::uint32_t count = 0;
  std::span<const unsigned char> own;
  if (boxes.bytes != nullptr)
    if (Reason why = TakeOwnBytes(*boxes.bytes, flags, count, own)) return why;
  if (count > part.samples) return "speak of more samples than there are";
  if (boxes.sizes == nullptr) {
    if (boxes.bytes == nullptr || boxes.places != nullptr) return "lack \"saiz\"";
    if (!scheme.VectorSize()) return "lack \"saiz\"";
    if (Reason why = SpellSizes(own, flags, count, *scheme.VectorSize(), spelled)) return why;
    sizes = {0, static_cast<std::uint32_t>(spelled.size()), spelled};
  } else if (Reason why = TakeSizes(*boxes.sizes, scheme.type, part.samples, sizes)) {
    return why;
  }
  const std::uint64_t sum = sizes.Sum(0, part.samples);
  if (sum > most) return "are more than the file has bytes";
  if (boxes.bytes != nullptr && sum != own.size()) return "have other sizes than \"saiz\" says";
  if (boxes.bytes != nullptr && bytesAt && scheme.VectorSize())
    if (Reason why = CompareSizes(own, flags, count, *scheme.VectorSize(), sizes)) return why;
  if (sum == 0) return std::nullopt;
  if (boxes.places == nullptr) {
    if (boxes.bytes == nullptr) return "lack \"saio\"";
    bytes.assign(own.begin(), own.end());
    return std::nullopt;
  }
  std::vector<std::uint64_t> places;
  if (Reason why = TakePlaces(*boxes.places, scheme.type, places)) return why;
  if (Reason why = TakePlacedBytes(part, places, sizes, bytesAt, bytes)) return why;
  if (bytes.size() != sum) return "lie at places that the file does not have";
  if (boxes.bytes != nullptr && !std::equal(own.begin(), own.end(), bytes.begin(), bytes.end()))
    return "are others in \"senc\" than where \"saio\" says";
  return std::nullopt;
}

}  // namespace

bool IsUsersProtection(const RawBox& box) {
  constexpr std::array<unsigned char, 16> kUserType = {0xA2, 0x39, 0x4F, 0x52, 0x5A, 0x9B,
                                                       0x4F, 0x14, 0xA2, 0x44, 0x6C, 0x42,
                                                       0x7C, 0x64, 0x8D, 0xF4};
  return box.type == FourCc("uuid") && box.data.size() >= kUserType.size() &&
         std::equal(kUserType.begin(), kUserType.end(), box.data.begin());
}

bool IsProtectionTold(const ProtectedPart& part) {
  const Boxes boxes = BoxesOf(part);
  return boxes.sizes != nullptr || boxes.places != nullptr || boxes.bytes != nullptr;
}

Reason AppendProtection(const ProtectedPart& part, const ProtectionScheme& scheme,
                        const BytesAt& bytesAt, std::uint64_t most, SampleProtection& protection) {
  const Boxes boxes = BoxesOf(part);
  Sizes sizes;
  Bytes spelled;
  Bytes bytes;
  if (boxes.areTwo) return "are there twice";
  if (IsProtectionTold(part)) {
    if (scheme.type == 0) return "speak of samples that are not protected, or not in one way";
    if (Reason why = TakeBytes(part, scheme, boxes, bytesAt, most, sizes, spelled, bytes))
      return why;
  }
  // Samples of one size may be any number.
  if (sizes.uniform != 0) {
    protection.AddSizes(sizes.count, sizes.uniform);
  } else {
    for (std::uint64_t i = 0; i < sizes.count; ++i) protection.AddSizes(1, sizes.At(i));
  }
  protection.AddSizes(part.samples - sizes.count, 0);
  protection.AddBytes(bytes);
  return std::nullopt;
}

}  // namespace clipchain
