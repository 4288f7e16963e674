#include "workflow/keeping/media_chains.h"

#include <algorithm>
#include <optional>

#include "workflow/keeping/listed_bytes.h"

namespace clipchain {

namespace {

// Clips whose media begins and ends alike could be put together in more ways than anybody can try.
constexpr unsigned int kMostSteps = 100'000;
constexpr unsigned int kMostOffers = 32;

}  // namespace

void MediaChains::Add(std::size_t clip, FileBytes& file, const std::vector<Extent>& ranges) {
  ClipMedia media{clip, {}, 0, 0, 0};
  for (const Extent& range : ranges) {
    if (range.size == 0) continue;
    media.ranges.push_back(range);
    media.size += range.size;
  }
  if (media.ranges.empty()) return;
  const Extent& front = media.ranges.front();
  const Extent& back = media.ranges.back();
  const std::size_t length = ProbeLength(front.size);
  const std::optional<std::uint64_t> head = Probe(file, front.position, length);
  const std::size_t tail = ProbeLength(back.size);
  const std::optional<std::uint64_t> end = Probe(file, back.position + back.size - tail, tail);
  if (!head || !end) return;
  media.head = *head;
  media.tail = *end;
  byHead_[length].emplace(media.head, media_.size());
  media_.push_back(std::move(media));
}

MediaChains::Choice MediaChains::ChoiceAt(FileBytes& merged, unsigned long long at,
                                          unsigned long long end) const {
  Choice choice;
  for (const auto& [length, clips] : byHead_) {
    if (length > end - at) break;
    const std::optional<std::uint64_t> head = Probe(merged, at, length);
    if (!head) continue;
    const auto [begin, behind] = clips.equal_range(*head);
    for (auto next = begin; next != behind; ++next) {
      const ClipMedia& media = media_[next->second];
      if (media.size > end - at || used_.contains(media.clip)) continue;
      const std::size_t tail = ProbeLength(media.ranges.back().size);
      if (Probe(merged, at + media.size - tail, tail) == media.tail) choice.media.push_back(&media);
    }
  }
  std::sort(choice.media.begin(), choice.media.end(),
            [](const ClipMedia* a, const ClipMedia* b) { return a->clip < b->clip; });
  return choice;
}

bool MediaChains::Find(FileBytes& merged, const Extent& range,
                       const std::function<bool(const std::vector<std::size_t>&)>& accept) {
  used_.clear();
  beginning_.clear();
  if (range.size == 0) return false;
  unsigned int steps = 0;
  unsigned int offers = 0;
  const unsigned long long end = range.position + range.size;
  unsigned long long at = range.position;
  std::vector<std::size_t> row;
  std::vector<Choice> choices{ChoiceAt(merged, at, end)};
  while (!choices.empty()) {
    Choice& choice = choices.back();
    if (choice.tried > 0) {
      used_.erase(row.back());
      row.pop_back();
      at -= choice.media[choice.tried - 1]->size;
    }
    if (choice.tried == choice.media.size()) {
      choices.pop_back();
      continue;
    }
    if (++steps > kMostSteps) return false;
    const ClipMedia& next = *choice.media[choice.tried++];
    row.push_back(next.clip);
    used_.insert(next.clip);
    at += next.size;
    if (row.size() > beginning_.size()) beginning_ = row;
    if (at != end) {
      choices.push_back(ChoiceAt(merged, at, end));
    } else if (accept(row)) {
      return true;
    } else if (++offers == kMostOffers) {
      return false;
    }
  }
  return false;
}

}  // namespace clipchain
