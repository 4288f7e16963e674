#include "workflow/evidence/copies.h"

#include <algorithm>
#include <optional>
#include <set>
#include <tuple>
#include <utility>

#include "workflow/clips/clip_file.h"
#include "workflow/evidence/clip_names.h"
#include "workflow/evidence/digest.h"
#include "workflow/system/part_name.h"

namespace clipchain {

namespace {

using Units = std::vector<std::size_t>;

const ClipTraits& ClipOf(const EvidenceUnit& unit) { return unit.ends.front(); }

// A few bytes of what a file begins with, and of what is between its ends.
struct MediaSample {
  // The bytes themselves would take more memory than all else that clips say.
  Digest digest{};
  // Between the ends is nothing but zeros, which no media is made of.
  bool isNothing = true;
};

// Nothing where a byte of it can't be read.
std::optional<MediaSample> SampleOf(const ClipTraits& clip) {
  constexpr unsigned int kSample = 4096;
  constexpr int kParts = 4;
  const ClipFile file(clip.path);
  MediaSample sample;
  std::vector<unsigned char> all;
  for (int part = 0; part < kParts; ++part) {
    const long long position = clip.size / kParts * part;
    const std::vector<unsigned char> bytes = file.Read(position, kSample);
    const long long wanted = std::min<long long>(kSample, clip.size - position);
    if (static_cast<long long>(bytes.size()) != wanted) return std::nullopt;
    all.insert(all.end(), bytes.begin(), bytes.end());
    if (part != 0 && std::any_of(bytes.begin(), bytes.end(), [](auto byte) { return byte != 0; }))
      sample.isNothing = false;
  }
  sample.digest = DigestOf(all);
  return sample;
}

// The name without its digits.
std::string LettersOf(const ClipTraits& clip) {
  std::string letters = NameOf(clip.path);
  std::erase_if(letters, [](char c) { return c >= '0' && c <= '9'; });
  return letters;
}

// Whether two of these lie in one folder under names that a camera gives one after another.
bool AreNumbered(const std::vector<EvidenceUnit>& units, const Units& equal) {
  std::map<std::pair<std::string, std::string>, std::string> series;
  std::map<std::pair<std::string, unsigned int>, unsigned int> chapters;
  for (const std::size_t i : equal) {
    const std::string& path = ClipOf(units[i]).path;
    const std::string name = NameOf(path);
    // The first chapter of a recording may have other letters than those behind it.
    if (const auto named = RecordingNameOf(name)) {
      const auto [first, isFirst] =
          chapters.try_emplace({FolderOf(path), named->recording}, named->chapter);
      if (!isFirst && first->second != named->chapter) return true;
    }
    const auto [other, isNew] =
        series.try_emplace({FolderOf(path), LettersOf(ClipOf(units[i]))}, name);
    if (!isNew && MayBeNumbered(other->second, name)) return true;
  }
  return false;
}

// Divides units with equal movie boxes and sizes into those that are copies.
std::vector<Units> Divided(const std::vector<EvidenceUnit>& units, Units equal) {
  if (equal.size() < 2) return {std::move(equal)};
  const bool areNumbered = AreNumbered(units, equal);
  std::map<std::pair<Digest, std::string>, Units> parts;
  std::vector<Units> divided;
  for (const std::size_t i : equal) {
    const std::optional<MediaSample> sample = SampleOf(ClipOf(units[i]));
    if (!sample) {
      // To call it a copy would leave it out of its recording for what nobody has seen.
      divided.push_back({i});
      continue;
    }
    std::string name = sample->isNothing && areNumbered ? NameOf(ClipOf(units[i]).path) : "";
    parts[{sample->digest, std::move(name)}].push_back(i);
  }
  for (auto& [key, copies] : parts) divided.push_back(std::move(copies));
  return divided;
}

// The folder of a clip; all folders that a camera numbered, beside each other, are one.
std::string PlaceOf(const ClipTraits& clip) {
  const std::string folder = FolderOf(clip.path);
  return FolderNumber(NameOf(folder)) != 0 ? FolderOf(folder) + "/000" : folder;
}

// How many clips of a description lie on a card, in a place, and there under names of a series.
class Places {
 public:
  explicit Places(const std::vector<EvidenceUnit>& units) : units_(units) {
    for (const EvidenceUnit& unit : units) {
      ++cards_[CardOf(unit)];
      ++places_[{CardOf(unit), PlaceOf(ClipOf(unit))}];
      ++series_[SeriesOf(unit)];
    }
  }

  std::size_t Best(const Units& copies) const {
    return *std::max_element(copies.begin(), copies.end(), [&](std::size_t a, std::size_t b) {
      return Rank(units_[a]) < Rank(units_[b]);
    });
  }

 private:
  using Card = std::pair<std::string, unsigned int>;

  static Card CardOf(const EvidenceUnit& unit) {
    return {ClipOf(unit).description, ClipOf(unit).volume};
  }
  using Series = std::tuple<Card, std::string, std::string>;
  static Series SeriesOf(const EvidenceUnit& unit) {
    return {CardOf(unit), PlaceOf(ClipOf(unit)), LettersOf(ClipOf(unit))};
  }
  std::tuple<std::size_t, std::size_t, std::size_t> Rank(const EvidenceUnit& unit) const {
    const Card card = CardOf(unit);
    return {cards_.at(card), places_.at({card, PlaceOf(ClipOf(unit))}), series_.at(SeriesOf(unit))};
  }

  const std::vector<EvidenceUnit>& units_;
  std::map<Card, std::size_t> cards_;
  std::map<std::pair<Card, std::string>, std::size_t> places_;
  std::map<Series, std::size_t> series_;
};

}  // namespace

Copies::Copies(const std::vector<EvidenceUnit>& units) : units_(units) {
  // The first timecode stands in the media.
  using Key = std::tuple<long long, std::uint64_t, std::uint64_t, std::int64_t>;
  std::map<Key, Units> equal;
  for (std::size_t i = 0; i < units.size(); ++i) {
    const ClipTraits& clip = ClipOf(units[i]);
    if (units[i].identified) {
      all_[i] = {i};
    } else {
      const std::int64_t code = clip.timecode ? clip.timecode->first : -1;
      equal[{clip.size, clip.movieDigest[0], clip.movieDigest[1], code}].push_back(i);
    }
  }
  const Places places(units);
  for (auto& [key, alike] : equal) {
    for (Units& copies : Divided(units, std::move(alike))) {
      const std::size_t best = places.Best(copies);
      all_[best] = std::move(copies);
    }
  }
}

const std::vector<std::size_t>& Copies::Of(std::size_t unit) const {
  static const Units kNone;
  const auto found = all_.find(unit);
  return found != all_.end() ? found->second : kNone;
}

std::vector<std::size_t> Copies::InOneFolder(std::vector<std::size_t> chain) const {
  std::map<std::string, std::size_t> folders;
  const auto folderOf = [&](std::size_t unit) { return FolderOf(ClipOf(units_[unit]).path); };
  for (const std::size_t unit : chain) {
    std::set<std::string> own;
    for (const std::size_t copy : Of(unit)) own.insert(folderOf(copy));
    for (const std::string& folder : own) ++folders[folder];
  }
  for (std::size_t& unit : chain) {
    // The one that stands for all of them is left only for a better folder.
    std::size_t best = unit;
    for (const std::size_t copy : Of(unit)) {
      if (folders[folderOf(copy)] > folders[folderOf(best)]) best = copy;
    }
    unit = best;
  }
  return chain;
}

}  // namespace clipchain
