#include "adapt/description_match.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "adapt/bit_rates.h"
#include "adapt/engine_movie.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

// The body of a "stsd" with that one entry; the version is that of the first clip's.
Bytes Alone(const RawBox& entry) {
  Bytes bytes = {0, 0, 0, 0, 0, 0, 0, 1};
  entry.Write(bytes);
  return bytes;
}

// The first clip's entry with the rates that the later one declares in the same places.
Bytes InFormOf(const Bytes& first, const Bytes& later) {
  Bytes bytes = first;
  const std::vector<RateField> theirs = RateFieldsOf(later);
  std::set<std::size_t> taken;
  for (const RateField& field : RateFieldsOf(first)) {
    std::size_t i = 0;
    while (i < theirs.size() &&
           (taken.count(i) != 0 || theirs[i].box != field.box || theirs[i].kind != field.kind))
      ++i;
    SetRate(bytes, field, i < theirs.size() ? RateAt(later, theirs[i]) : 0);
    taken.insert(i);
  }
  return bytes;
}

// An entry of each, by its bytes, or else without what it declares about bit rates.
std::size_t PlaceOf(const std::vector<Bytes>& entries, const std::vector<Bytes>& bare,
                    const Bytes& entry) {
  const auto same = std::find(entries.begin(), entries.end(), entry);
  if (same != entries.end()) return static_cast<std::size_t>(same - entries.begin());
  const auto alike = std::find(bare.begin(), bare.end(), WithoutRateBoxes(entry));
  return static_cast<std::size_t>(alike - bare.begin());
}

}  // namespace

std::optional<MatchedDescriptions> MatchDescriptions(const RawBox& first, const RawBox& later,
                                                     const std::set<std::uint32_t>& used) {
  constexpr std::size_t kVersionAndFlags = 4;
  const auto ours = SampleEntriesOf(first);
  const auto theirs = SampleEntriesOf(later);
  if (!ours || !theirs ||
      !std::equal(first.data.begin(), first.data.begin() + kVersionAndFlags, later.data.begin()))
    return std::nullopt;
  std::vector<Bytes> entries;
  std::vector<Bytes> bare;
  for (const RawBox& entry : *ours) {
    entries.push_back(Alone(entry));
    bare.push_back(WithoutRateBoxes(entries.back()));
  }
  MatchedDescriptions matched;
  std::vector<Bytes> declared = entries;
  for (const RawBox& entry : *theirs) {
    const Bytes alone = Alone(entry);
    const std::size_t place = PlaceOf(entries, bare, alone);
    const bool isThere = place < entries.size();
    const auto number = static_cast<std::uint32_t>(matched.numbers.size() + 1);
    if (!isThere && used.count(number) != 0) return std::nullopt;
    matched.numbers.push_back(isThere ? static_cast<std::uint32_t>(place + 1) : 0);
    if (isThere) declared[place] = InFormOf(entries[place], alone);
  }
  constexpr std::size_t kBeforeEntries = 8;
  matched.stsd.assign(first.data.begin(),
                      first.data.begin() + static_cast<std::ptrdiff_t>(kBeforeEntries));
  for (const Bytes& entry : declared)
    matched.stsd.insert(matched.stsd.end(), entry.begin() + kBeforeEntries, entry.end());
  return matched;
}

}  // namespace clipchain
