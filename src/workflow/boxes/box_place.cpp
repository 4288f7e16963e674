#include "workflow/boxes/box_place.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <unordered_map>

namespace clipchain {

const BoxPlaces::Child& BoxPlaces::ChildOf(const MP4G::CBox& parent, const MP4G::CBox& box) {
  const auto [place, isNew] = children_.try_emplace(&parent);
  std::vector<Child>& all = place->second;
  const auto isBefore = [](const Child& a, const MP4G::CBox* b) {
    return std::less<const MP4G::CBox*>()(a.box, b);
  };
  if (isNew) {
    std::unordered_map<unsigned int, unsigned int> counts;
    // Whoever asks for one child asks for the others: to count anew for each takes time by the
    // square.
    long long behind = FirstEntryDistance(parent);
    for (const MP4G::CBox* child : parent.children) {
      if (child == nullptr) continue;
      const long long distance = ChildDistance(parent, *child, behind);
      all.push_back({child, distance, counts[child->header->type]++, false});
      behind = distance + child->GetBoxSize();
    }
    for (Child& child : all) child.hasTwin = counts[child.box->header->type] > 1;
    std::sort(all.begin(), all.end(),
              [&isBefore](const Child& a, const Child& b) { return isBefore(a, b.box); });
  }
  return *std::lower_bound(all.begin(), all.end(), &box, isBefore);
}

std::string BoxPlaces::PathOf(const MP4G::CBox& box) {
  std::vector<std::string> names;
  for (const MP4G::CBox* level = &box; level != nullptr; level = level->parent) {
    names.push_back(FourCcText(level->header->type));
    if (level->parent == nullptr) break;
    const Child& child = ChildOf(*level->parent, *level);
    if (child.hasTwin) names.back() += fmt::format("[{}]", child.index);
  }
  std::string path;
  for (auto name = names.rbegin(); name != names.rend(); ++name) {
    if (!path.empty()) path += '/';
    path += *name;
  }
  return path;
}

long long BoxPlaces::OffsetOf(const MP4G::CBox& box) {
  const MP4G::CBox* level = &box;
  long long distance = 0;
  for (; level->parent != nullptr; level = level->parent)
    distance += ChildOf(*level->parent, *level).distance;
  return level->position + distance;
}

std::string PathOf(const MP4G::CBox& box) { return BoxPlaces().PathOf(box); }

long long OffsetOf(const MP4G::CBox& box) { return BoxPlaces().OffsetOf(box); }

long long ChildDistance(const MP4G::CBox& parent, const MP4G::CBox& child, long long behind) {
  // A box that was read alone knows no place, and neither does an entry.
  return child.position > parent.position ? child.position - parent.position : behind;
}

}  // namespace clipchain
