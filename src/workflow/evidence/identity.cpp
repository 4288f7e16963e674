#include "workflow/evidence/identity.h"

#include <fmt/format.h>

#include <algorithm>

#include "workflow/evidence/clip_names.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

const PlaceFacts* PlaceOf(const FamilyCard& card, const std::string& place) {
  const auto found = card.places.find(place);
  return found != card.places.end() ? &found->second : nullptr;
}

// Whether a value tells one recording of the card from others: there are several, and at most one
// of the clips that have it is the last of a recording. A camera's own number is in all its clips.
bool TellsRecording(const PlaceFacts* place, const std::string& value) {
  if (place == nullptr || place->values.size() < 2) return false;
  const auto facts = place->values.find(value);
  return facts != place->values.end() && facts->second.ends <= 1;
}

bool IsNumbered(const PlaceFacts* place, const std::string& value) {
  if (place == nullptr) return false;
  const auto facts = place->values.find(value);
  // The last clip of a recording has none behind it.
  return facts != place->values.end() && facts->second.followed + 1 >= facts->second.clips.size();
}

// Whether the value is in that clip of the card, too.
bool Has(const ClipTraits& clip, const PlacedValue& value) {
  return std::any_of(clip.values.begin(), clip.values.end(), [&](const PlacedValue& own) {
    return own.place == value.place && own.value == value.value;
  });
}

// Calls for each place that both clips have.
template <typename Compare>
void ForEachPlace(const ClipTraits& first, const ClipTraits& second, Compare compare) {
  for (const PlacedValue& own : first.values) {
    const auto other = std::lower_bound(
        second.values.begin(), second.values.end(), own.place,
        [](const PlacedValue& value, const std::string& place) { return value.place < place; });
    if (other != second.values.end() && other->place == own.place) compare(own, *other);
  }
}

}  // namespace

void IndexValues(Family& family) {
  for (FamilyCard& card : family.cards) {
    for (const std::size_t i : card.clips) {
      for (const PlacedValue& value : family.Traits(i).values) {
        ValueFacts& facts = card.places[value.place].values[value.value];
        facts.clips.push_back(i);
        if (!family.clips[i].stops) ++facts.ends;
        const auto shares = [&](const NextClip& next) {
          return Has(family.Traits(next.clip), value);
        };
        const FamilyClip& clip = family.clips[i];
        // A number that another recording's clip has is not left out.
        const std::vector<NextClip>& next = clip.next.empty() ? clip.nextButOne : clip.next;
        if (std::any_of(next.begin(), next.end(), shares)) ++facts.followed;
      }
    }
  }
}

void NoteForms(Family& family, const std::vector<std::pair<std::size_t, std::size_t>>& linked) {
  for (const auto& [before, behind] : linked) {
    const std::size_t cards[] = {family.clips[before].card, family.clips[behind].card};
    ForEachPlace(family.Traits(before), family.Traits(behind),
                 [&](const PlacedValue& own, const PlacedValue& other) {
                   if (own.value != other.value) return;
                   for (const std::size_t card : cards) {
                     PlaceFacts& place = family.cards[card].places[own.place];
                     if (place.values.size() > 1) place.formsRecordings = true;
                   }
                 });
  }
}

IdentityVerdict JudgeIdentity(const Family& family, std::size_t before, std::size_t behind) {
  IdentityVerdict verdict;
  Evidence& evidence = verdict.evidence;
  const FamilyCard& firstCard = family.CardOf(before);
  const FamilyCard& secondCard = family.CardOf(behind);
  const std::string names[] = {PrintablePath(family.clips[before].name),
                               PrintablePath(family.clips[behind].name)};
  // Where somebody thought of the numbers, a clip may have been lost before.
  const bool isGiven = MayBeGiven(family.clips[before].name);
  std::string equal;
  std::string different;
  ForEachPlace(family.Traits(before), family.Traits(behind),
               [&](const PlacedValue& own, const PlacedValue& other) {
                 const PlaceFacts* places[] = {PlaceOf(firstCard, own.place),
                                               PlaceOf(secondCard, own.place)};
                 if (own.value == other.value) {
                   if (TellsRecording(places[0], own.value) || TellsRecording(places[1], own.value))
                     equal = own.place;
                   if (IsNumbered(places[0], own.value) && !isGiven) verdict.isNumbered = true;
                 } else if (places[0]->formsRecordings || places[1]->formsRecordings) {
                   different = own.place;
                 }
               });
  if (!different.empty()) {
    evidence.agrees = false;
    evidence.text = fmt::format("{} and {} differ in {}, which is equal in other recordings",
                                names[0], names[1], PrintablePath(different));
  } else if (!equal.empty()) {
    evidence.agrees = true;
    evidence.text = fmt::format("{} and {} have the same value in {}, other clips another one",
                                names[0], names[1], PrintablePath(equal));
  } else {
    evidence.text = "no value tells one recording from another";
  }
  return verdict;
}

bool IdentityGoesOn(const Family& family, std::size_t last,
                    const std::vector<std::size_t>& sortedChain) {
  const FamilyCard& card = family.CardOf(last);
  for (const PlacedValue& value : family.Traits(last).values) {
    const PlaceFacts* place = PlaceOf(card, value.place);
    if (place == nullptr || !place->formsRecordings || !TellsRecording(place, value.value))
      continue;
    for (const std::size_t clip : place->values.at(value.value).clips) {
      if (!std::binary_search(sortedChain.begin(), sortedChain.end(), clip)) return true;
    }
  }
  return false;
}

}  // namespace clipchain
