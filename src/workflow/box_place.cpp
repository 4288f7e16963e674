#include "workflow/box_place.h"

#include <fmt/format.h>

#include <vector>

namespace clipchain {

namespace {

std::string NameAmongSiblings(const MP4G::CBox& box) {
  const unsigned int type = box.header->type;
  std::string name = FourCcText(type);
  if (box.parent == nullptr) return name;
  unsigned int index = 0;
  unsigned int count = 0;
  for (const MP4G::CBox* sibling : box.parent->children) {
    if (sibling == &box) index = count;
    if (sibling != nullptr && sibling->header->type == type) ++count;
  }
  return count > 1 ? fmt::format("{}[{}]", name, index) : name;
}

}  // namespace

std::string PathOf(const MP4G::CBox& box) {
  std::vector<std::string> names;
  for (const MP4G::CBox* level = &box; level != nullptr; level = level->parent)
    names.push_back(NameAmongSiblings(*level));
  std::string path;
  for (auto name = names.rbegin(); name != names.rend(); ++name) {
    if (!path.empty()) path += '/';
    path += *name;
  }
  return path;
}

long long ChildDistance(const MP4G::CBox& parent, const MP4G::CBox& child, long long behind) {
  return child.position > parent.position ? child.position - parent.position : behind;
}

long long OffsetOf(const MP4G::CBox& box) {
  if (box.parent == nullptr) return box.position;
  const MP4G::CBox& parent = *box.parent;
  long long behind = FirstEntryDistance(parent);
  for (const MP4G::CBox* sibling : parent.children) {
    if (sibling == nullptr) continue;
    const long long distance = ChildDistance(parent, *sibling, behind);
    if (sibling == &box) return OffsetOf(parent) + distance;
    behind = distance + sibling->GetBoxSize();
  }
  return -1;
}

}  // namespace clipchain
