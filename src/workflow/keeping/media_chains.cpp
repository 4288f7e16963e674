#include "workflow/keeping/media_chains.h"

#include <algorithm>
#include <optional>

#include "adapt/clips/media_map.h"
#include "workflow/keeping/listed_bytes.h"

namespace clipchain {

namespace {

// Clips whose media begins and ends alike could be put together in more ways than anybody can try.
constexpr unsigned int kMostSteps = 100'000;
constexpr unsigned int kMostOffers = 32;

}  // namespace

void MediaChains::Add(std::size_t clip, FileBytes& file, const std::vector<Extent>& ranges) {
  ClipMedia media{clip, {}, 0, 0};
  for (const Extent& range : ranges) {
    if (range.size != 0) media.ranges.push_back(range);
  }
  if (media.ranges.empty()) return;
  const Extent& front = media.ranges.front();
  const Extent& back = media.ranges.back();
  const std::size_t length = ProbeLength(front.size);
  const std::optional<std::uint64_t> head = Probe(file, front.position, length);
  const std::size_t tail = ProbeLength(back.size);
  const std::optional<std::uint64_t> end = Probe(file, back.position + back.size - tail, tail);
  // A clip that can't be read stands in no row, and is told to be unreadable where its bytes are
  // compared.
  if (!head || !end) return;
  media.head = *head;
  media.tail = *end;
  media_.push_back(std::move(media));
}

// Where the media ends that begins there: its ranges lie in the file as a merge's view of the clip
// has them.
unsigned long long MediaChains::EndOf(const ClipMedia& media, unsigned long long begin) const {
  std::vector<MediaRange> ranges;
  for (const Extent& range : media.ranges) ranges.push_back({range.position, range.size});
  return begin + MediaMap(ranges, 0, block_).Size();
}

MediaChains::Choice MediaChains::ChoiceAt(FileBytes& merged, unsigned long long at,
                                          const Likely& likely) const {
  Choice choice;
  for (const auto& [beginning, clips] : byHead_) {
    const auto& [length, place] = beginning;
    // Sorted by length: all that follow are longer.
    if (length > end_ - at) break;
    // With shared blocks media lies in the result as in its clip, modulo a block, behind a gap.
    const unsigned long long begin = block_ != 0 ? at + (place - at) % block_ : at;
    if (begin > end_ || length > end_ - begin) continue;
    const std::optional<std::uint64_t> head = Probe(merged, begin, length);
    if (!head) continue;
    const auto [first, behind] = clips.equal_range(*head);
    for (auto next = first; next != behind; ++next) {
      const ClipMedia& media = media_[next->second];
      const unsigned long long end = EndOf(media, begin);
      if (end > end_ || used_.contains(media.clip)) continue;
      const std::size_t tail = ProbeLength(media.ranges.back().size);
      if (Probe(merged, end - tail, tail) == media.tail) choice.offers.push_back({&media, end});
    }
  }
  // In the order of the cards, in which clips were mostly merged: the right row comes first.
  std::sort(choice.offers.begin(), choice.offers.end(),
            [](const Offer& a, const Offer& b) { return a.media->clip < b.media->clip; });
  // Of copies of a clip it may be the name that tells which one was merged.
  if (likely && choice.offers.size() > 1)
    std::stable_partition(choice.offers.begin(), choice.offers.end(), [&](const Offer& offer) {
      return likely(offer.media->clip, used_.size());
    });
  return choice;
}

bool MediaChains::Find(FileBytes& merged, const TopLevel& boxes, const Accept& accept,
                       const Likely& likely) {
  used_.clear();
  beginning_.clear();
  if (boxes.media.size == 0) return false;
  block_ = boxes.layout.block;
  end_ = boxes.media.position + boxes.media.size;
  byHead_.clear();
  for (std::size_t i = 0; i < media_.size(); ++i) {
    const Extent& front = media_[i].ranges.front();
    const unsigned long long place = block_ != 0 ? front.position % block_ : 0;
    byHead_[{ProbeLength(front.size), place}].emplace(media_[i].head, i);
  }
  unsigned int steps = 0;
  unsigned int offers = 0;
  std::vector<std::size_t> row;
  std::vector<Choice> choices{ChoiceAt(merged, boxes.media.position, likely)};
  while (!choices.empty()) {
    Choice& choice = choices.back();
    if (choice.tried > 0) {
      used_.erase(row.back());
      row.pop_back();
    }
    if (choice.tried == choice.offers.size()) {
      choices.pop_back();
      continue;
    }
    if (++steps > kMostSteps) return false;
    const Offer next = choice.offers[choice.tried++];
    row.push_back(next.media->clip);
    used_.insert(next.media->clip);
    // The longest row names most of the clips that a damaged result was made of.
    if (row.size() > beginning_.size()) beginning_ = row;
    if (next.end != end_) {
      choices.push_back(ChoiceAt(merged, next.end, likely));
    } else if (accept(row)) {
      return true;
    } else if (++offers == kMostOffers) {
      return false;
    }
  }
  return false;
}

}  // namespace clipchain
