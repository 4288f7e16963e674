#include "inputs.h"

#include <algorithm>

namespace fuzz {

using support::Bytes;

namespace {

constexpr std::size_t kMostInputs = 4;
constexpr std::uint32_t kMostCommonSizes = 1u << 20;

// Calls use(offset) for the size field of whatever looks like a box of that type.
template <class Use>
void ForEachBox(const Bytes& file, std::string_view type, Use use) {
  if (file.size() < 8) return;
  for (auto at = file.begin() + 4;; ++at) {
    at = std::search(at, file.end(), type.begin(), type.end());
    if (at == file.end()) return;
    use(static_cast<std::size_t>(at - file.begin()) - 4);
  }
}

}  // namespace

std::vector<Bytes> SplitInputs(const unsigned char* data, std::size_t size) {
  const Bytes all(data, data + size);
  std::vector<std::size_t> starts;
  ForEachBox(all, "ftyp", [&starts](std::size_t at) {
    if (starts.size() < kMostInputs) starts.push_back(at);
  });
  std::vector<Bytes> inputs;
  for (std::size_t i = 0; i < starts.size(); ++i)
    inputs.push_back(support::Slice(all, starts[i], i + 1 < starts.size() ? starts[i + 1] : size));
  return inputs;
}

Range MediaRange(const Bytes& file) {
  Range media{0, 0};
  std::size_t at = 0;
  while (file.size() - at >= 8) {
    std::uint64_t boxSize = support::ReadU32(file, at);
    std::size_t header = 8;
    if (boxSize == 1) {
      if (file.size() - at < 16) break;
      boxSize = support::ReadU64(file, at + 8);
      header = 16;
    }
    // In either field: to the end of the file.
    if (boxSize == 0) boxSize = file.size() - at;
    const std::size_t step =
        static_cast<std::size_t>(std::min<std::uint64_t>(boxSize, file.size() - at));
    if (step == 0) break;
    if (std::equal(file.begin() + static_cast<std::ptrdiff_t>(at + 4),
                   file.begin() + static_cast<std::ptrdiff_t>(at + 8), "mdat"))
      media = step > header ? Range{at + header, at + step} : Range{0, 0};
    at += step;
  }
  return media;
}

bool ClaimsManyCommonSizes(const Bytes& file) {
  bool many = false;
  ForEachBox(file, "stsz", [&](std::size_t at) {
    if (file.size() - at < 20) return;
    many |=
        support::ReadU32(file, at + 12) != 0 && support::ReadU32(file, at + 16) > kMostCommonSizes;
  });
  return many;
}

bool MayHaveSeveralMovies(const Bytes& file) {
  int movies = 0;
  ForEachBox(file, "moov", [&movies](std::size_t) { ++movies; });
  return movies > 1;
}

bool HasOddCompactSizes(const std::vector<Bytes>& files) {
  bool odd = false;
  for (const Bytes& file : files) {
    ForEachBox(file, "stz2", [&](std::size_t at) {
      if (file.size() - at < 16) return;
      const unsigned char width = file[at + 15];
      odd |= width != 4 && width != 8 && width != 16;
    });
  }
  return odd;
}

}  // namespace fuzz
