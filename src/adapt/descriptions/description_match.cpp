#include "adapt/descriptions/description_match.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <utility>

#include "adapt/boxes/bit_rates.h"
#include "adapt/boxes/track_headers.h"
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

// An entry of the first clip's form with what is true of the media of this one and of another.
void TakeOther(Bytes& entry, const Bytes& other) {
  for (const RateField& field : RateFieldsOf(entry)) {
    const std::uint64_t mine = RateAt(entry, field);
    const std::uint64_t theirs = RateAt(other, field);
    if (mine != theirs) SetRate(entry, field, RateOfBoth(field.kind, mine, theirs));
  }
}

// The first clip's entries by their bytes, and without what they declare about bit rates. Of those
// that are alike the first one counts.
class Entries {
 public:
  explicit Entries(const std::vector<Bytes>& entries) {
    for (std::size_t i = 0; i < entries.size(); ++i) {
      places_.try_emplace(entries[i], i);
      bare_.try_emplace(WithoutRateBoxes(entries[i]), i);
    }
  }

  std::optional<std::size_t> PlaceOf(const Bytes& entry) const {
    const auto same = places_.find(entry);
    if (same != places_.end()) return same->second;
    const auto alike = bare_.find(WithoutRateBoxes(entry));
    return alike != bare_.end() ? std::optional(alike->second) : std::nullopt;
  }

 private:
  std::map<Bytes, std::size_t> places_;
  std::map<Bytes, std::size_t> bare_;
};

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
  for (const RawBox& entry : *ours) entries.push_back(Alone(entry));
  const Entries known(entries);
  MatchedDescriptions matched;
  std::vector<Bytes> declared = entries;
  std::vector<bool> isDeclared(entries.size());
  for (const RawBox& entry : *theirs) {
    const Bytes alone = Alone(entry);
    const auto place = known.PlaceOf(alone);
    const auto number = static_cast<std::uint32_t>(matched.numbers.size() + 1);
    if (!place && used.count(number) != 0) return std::nullopt;
    matched.numbers.push_back(place ? static_cast<std::uint32_t>(*place + 1) : 0);
    if (!place) continue;
    const Bytes sameInForm = InFormOf(entries[*place], alone);
    // Of one clip several may say the same with other rates.
    if (isDeclared[*place])
      TakeOther(declared[*place], sameInForm);
    else
      declared[*place] = sameInForm;
    isDeclared[*place] = true;
  }
  constexpr std::size_t kBeforeEntries = 8;
  matched.stsd.assign(first.data.begin(),
                      first.data.begin() + static_cast<std::ptrdiff_t>(kBeforeEntries));
  for (const Bytes& entry : declared)
    matched.stsd.insert(matched.stsd.end(), entry.begin() + kBeforeEntries, entry.end());
  return matched;
}

}  // namespace clipchain
