#include "workflow/evidence/chains.h"

#include <algorithm>
#include <map>
#include <numeric>
#include <optional>
#include <set>
#include <utility>

namespace clipchain {

namespace {

class Linking {
 public:
  explicit Linking(const std::vector<bool>& identified)
      : next_(identified.size()),
        isTaken_(identified.size()),
        isUnclearBehind_(identified.size()),
        isUnclearBefore_(identified.size()),
        root_(identified.size()),
        identified_(identified.size()) {
    std::iota(root_.begin(), root_.end(), std::size_t{0});
    for (std::size_t i = 0; i < identified.size(); ++i) identified_[i] = identified[i] ? 1 : 0;
  }

  // Links of equal strength.
  void Take(const std::vector<const UnitLink*>& links) {
    std::map<std::size_t, std::size_t> from;
    std::map<std::size_t, std::size_t> to;
    std::set<std::pair<std::size_t, std::size_t>> pairs;
    std::vector<const UnitLink*> open;
    for (const UnitLink* link : links) {
      if (!IsOpen(*link)) continue;
      open.push_back(link);
      ++from[link->before];
      ++to[link->behind];
      pairs.insert({link->before, link->behind});
    }
    std::vector<const UnitLink*> clear;
    for (const UnitLink* link : open) {
      // Two that fit equally well leave it open, and so do two that each would follow the other.
      const bool isClear = from[link->before] == 1 && to[link->behind] == 1 &&
                           pairs.count({link->behind, link->before}) == 0;
      if (isClear) {
        clear.push_back(link);
      } else {
        isUnclearBehind_[link->before] = true;
        isUnclearBefore_[link->behind] = true;
      }
    }
    for (const UnitLink* link : clear) Join(*link);
  }

  std::vector<Chain> Chains() const {
    std::vector<Chain> chains;
    for (std::size_t head = 0; head < next_.size(); ++head) {
      if (isTaken_[head] || !next_[head]) continue;
      Chain chain;
      chain.units.push_back(head);
      for (std::size_t at = head; next_[at]; at = next_[at]->behind) {
        chain.links.push_back(*next_[at]);
        chain.units.push_back(next_[at]->behind);
      }
      chain.isUnclear = isUnclearBefore_[head] || isUnclearBehind_[chain.units.back()];
      chains.push_back(std::move(chain));
    }
    return chains;
  }

 private:
  bool IsOpen(const UnitLink& link) const {
    return !next_[link.before] && !isTaken_[link.behind] && !isUnclearBehind_[link.before] &&
           !isUnclearBefore_[link.behind];
  }

  std::size_t RootOf(std::size_t unit) {
    while (root_[unit] != unit) unit = root_[unit] = root_[root_[unit]];
    return unit;
  }

  void Join(const UnitLink& link) {
    const std::size_t a = RootOf(link.before);
    const std::size_t b = RootOf(link.behind);
    // A ring has no beginning; and two recordings that identifiers tell apart are never made one.
    if (a == b || identified_[a] + identified_[b] > 1) {
      isUnclearBehind_[link.before] = isUnclearBefore_[link.behind] = true;
      return;
    }
    root_[b] = a;
    identified_[a] += identified_[b];
    next_[link.before] = link;
    isTaken_[link.behind] = true;
  }

  std::vector<std::optional<UnitLink>> next_;
  // By the one in front.
  std::vector<bool> isTaken_;
  std::vector<bool> isUnclearBehind_;
  std::vector<bool> isUnclearBefore_;
  // Of the chain, by halving paths.
  std::vector<std::size_t> root_;
  std::vector<std::size_t> identified_;
};

}  // namespace

Grade Chain::WeakestGrade() const {
  Grade grade = Grade::kCertain;
  for (const UnitLink& link : links) grade = std::min(grade, link.link.strength.grade);
  return grade;
}

std::vector<Chain> ChainsOf(const std::vector<bool>& identified, std::vector<UnitLink> links) {
  std::stable_sort(links.begin(), links.end(), [](const UnitLink& a, const UnitLink& b) {
    return a.link.strength > b.link.strength;
  });
  Linking linking(identified);
  for (std::size_t i = 0; i < links.size();) {
    std::vector<const UnitLink*> equal;
    const LinkStrength strength = links[i].link.strength;
    for (; i < links.size() && links[i].link.strength == strength; ++i) equal.push_back(&links[i]);
    linking.Take(equal);
  }
  return linking.Chains();
}

}  // namespace clipchain
