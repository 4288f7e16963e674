#include "workflow/keeping/card_order.h"

#include <cstring>
#include <numeric>

namespace clipchain {

bool CardOrder::Less::operator()(const _GUID& a, const _GUID& b) const {
  return std::memcmp(&a, &b, sizeof a) < 0;
}

CardOrder::CardOrder(const std::vector<CardFile>& files) : files_(files), parent_(files.size()) {
  std::iota(parent_.begin(), parent_.end(), std::size_t{0});
  const _GUID none{};
  std::map<_GUID, std::size_t, Less> first;
  const auto follow = [this](const _GUID& a, const _GUID& b) {
    next_[a].insert(b);
    previous_[b].insert(a);
  };
  for (std::size_t i = 0; i < files.size(); ++i) {
    const CardFile& file = files[i];
    // A clip without identifiers says nothing of its neighbours, whatever the other fields hold.
    if (file.id == none) continue;
    if (!(file.next == none)) follow(file.id, file.next);
    if (!(file.previous == none)) follow(file.previous, file.id);
    for (const _GUID& id : {file.id, file.previous, file.next}) {
      if (!(id == none)) Unite(first.emplace(id, i).first->second, i);
    }
  }
  RankRows();
}

// Each row is walked from its head, and given up at the first branch.
void CardOrder::RankRows() {
  std::size_t rows = 0;
  for (const auto& [head, behind] : next_) {
    if (previous_.contains(head)) continue;
    std::vector<_GUID> row{head};
    bool simple = true;
    for (auto next = next_.find(head); next != next_.end(); next = next_.find(row.back())) {
      simple = simple && next->second.size() == 1;
      // Where two clips claim one place the row says nothing; searching the graph answers for them,
      // at its price.
      if (!simple) break;
      row.push_back(*next->second.begin());
      simple = previous_.at(row.back()).size() == 1;
    }
    if (!simple) continue;
    for (std::size_t place = 0; place < row.size(); ++place) ranks_[row[place]] = {rows, place};
    ++rows;
  }
}

std::optional<CardOrder::Rank> CardOrder::RankOf(const _GUID& id) const {
  const auto found = ranks_.find(id);
  return found != ranks_.end() ? std::optional(found->second) : std::nullopt;
}

bool CardOrder::LeadsToAny(const _GUID& from, const Ids& targets) const {
  Ids seen{from};
  std::vector<_GUID> waiting{from};
  while (!waiting.empty()) {
    const auto found = next_.find(waiting.back());
    waiting.pop_back();
    if (found == next_.end()) continue;
    for (const _GUID& id : found->second) {
      if (targets.contains(id)) return true;
      if (seen.insert(id).second) waiting.push_back(id);
    }
  }
  return false;
}

bool CardOrder::Allows(const std::vector<std::size_t>& clips) const {
  // Place in each row so far.
  std::map<std::size_t, std::size_t> farthest;
  // Of those that stand in no simple row.
  Ids before;
  for (const std::size_t clip : clips) {
    const _GUID& id = files_[clip].id;
    // Nothing speaks against any place of it.
    if (id == _GUID{}) continue;
    if (const std::optional<Rank> rank = RankOf(id)) {
      std::size_t& place = farthest.try_emplace(rank->row, rank->place).first->second;
      if (rank->place < place) return false;
      place = rank->place;
    } else if (LeadsToAny(id, before)) {
      return false;
    } else {
      before.insert(id);
    }
  }
  return true;
}

void CardOrder::Unite(std::size_t a, std::size_t b) { parent_[Root(a)] = Root(b); }

std::size_t CardOrder::Root(std::size_t clip) {
  while (parent_[clip] != clip) clip = parent_[clip] = parent_[parent_[clip]];
  return clip;
}

std::size_t CardOrder::Recordings() {
  std::set<std::size_t> roots;
  for (std::size_t i = 0; i < files_.size(); ++i) {
    if (files_[i].isClip) roots.insert(Root(i));
  }
  return roots.size();
}

}  // namespace clipchain
