#include "box/base_descriptor.h"

#include <algorithm>
#include <bit>
#include <memory>
#include <vector>

#include "box/box.h"
#include "box/box_factory.h"
#include "foundation/cursor.h"

namespace MP4G {

namespace {

constexpr long long kLargestPayload = 0xFFFFFFFF;
constexpr unsigned char kMoreLengthBytes = 0x80;

// Calls `enter` on each descriptor before its children and `leave` behind them. No recursion: the
// tree may hang below boxes that are nested deep themselves.
template <class Descriptor, class Enter, class Leave>
HRESULT Walk(Descriptor& root, Enter enter, Leave leave) {
  struct Step {
    Descriptor* descriptor;
    std::multimap<unsigned char, CBaseDescriptor*>::const_iterator next;
  };
  std::vector<Step> path;
  RETURN_IF_NOT_OK(enter(root));
  path.push_back({&root, root.children.begin()});
  while (!path.empty()) {
    Step& step = path.back();
    if (step.next == step.descriptor->children.end()) {
      RETURN_IF_NOT_OK(leave(*step.descriptor));
      path.pop_back();
      continue;
    }
    CBaseDescriptor* child = step.next->second;
    ++step.next;
    RETURN_IF(child == nullptr, E_POINTER);
    RETURN_IF(path.size() > kDeepestNesting, E_BAD_DATA);
    RETURN_IF_NOT_OK(enter(*child));
    path.push_back({child, child->children.begin()});
  }
  return S_OK;
}

HRESULT Pass(const CBaseDescriptor&) { return S_OK; }

}  // namespace

CBaseDescriptor::~CBaseDescriptor() { CBaseDescriptor::Reset(); }

HRESULT CBaseDescriptor::Init() {
  Reset();
  return S_OK;
}

void CBaseDescriptor::Reset() {
  // The children of a doomed descriptor join the queue, so that a deep tree needs no deep stack.
  std::multimap<unsigned char, CBaseDescriptor*> doomed;
  doomed.swap(children);
  while (!doomed.empty()) {
    CBaseDescriptor* descriptor = doomed.begin()->second;
    doomed.erase(doomed.begin());
    if (descriptor == nullptr) continue;
    doomed.merge(descriptor->children);
    delete descriptor;
  }
  tag = 0;
  payloadSize = 0;
  lengthFieldSize = 1;
}

HRESULT CBaseDescriptor::CreateChildDescriptor(unsigned char childTag, CBaseDescriptor** child) {
  return CBoxFactory::CreateDescriptor(childTag, child);
}

HRESULT CBaseDescriptor::SetDataImpl(const unsigned char*& in, unsigned int& rest) {
  RETURN_IF_NOT_OK(QUIRVA::Take(in, rest, tag));
  unsigned char byte = 0;
  RETURN_IF_NOT_OK(QUIRVA::Take(in, rest, byte));
  unsigned int size = byte & 0x7Fu;
  // The standard's limit of four bytes is not enforced; a longer number keeps its low 32 bits.
  for (lengthFieldSize = 1; (byte & kMoreLengthBytes) != 0; ++lengthFieldSize) {
    RETURN_IF_NOT_OK(QUIRVA::Take(in, rest, byte));
    size = size << 7 | (byte & 0x7Fu);
  }
  payloadSize = size;
  return S_OK;
}

HRESULT CBaseDescriptor::FixParamImpl() { return S_OK; }

HRESULT CBaseDescriptor::GetDataSizeImpl(long long* total) const {
  RETURN_IF(total == nullptr, E_POINTER);
  *total = static_cast<long long>(lengthFieldSize) + 1;
  return S_OK;
}

HRESULT CBaseDescriptor::GetDataImpl(unsigned char*& out, unsigned int& rest) const {
  RETURN_IF_NOT_OK(QUIRVA::Put(out, rest, tag));
  for (unsigned int behind = lengthFieldSize; behind > 0;) {
    --behind;
    // A width from the file may ask for shifts beyond the number; they are taken modulo 32.
    unsigned char byte = payloadSize >> (7 * behind % 32) & 0x7F;
    if (behind != 0) byte |= kMoreLengthBytes;
    RETURN_IF_NOT_OK(QUIRVA::Put(out, rest, byte));
  }
  return S_OK;
}

// Reads the descriptor without its children; `*left` gets the bytes of payload that are theirs.
HRESULT CBaseDescriptor::SetOwnData(const unsigned char*& in, unsigned int& rest, long long* left) {
  Reset();
  const long long restBefore = rest;
  RETURN_IF_NOT_OK(SetDataImpl(in, rest));
  const long long headerSize = static_cast<long long>(lengthFieldSize) + 1;
  const long long body = std::max(restBefore - rest - headerSize, 0LL);
  *left = payloadSize - body;
  return S_OK;
}

// In the tree before it is read, under the tag that it was made with.
HRESULT CBaseDescriptor::AppendChild(unsigned char childTag, CBaseDescriptor** child) {
  CBaseDescriptor* made = nullptr;
  const HRESULT result = CreateChildDescriptor(childTag, &made);
  std::unique_ptr<CBaseDescriptor> owned(made);
  RETURN_IF_NOT_OK(result);
  RETURN_IF(made == nullptr, E_POINTER);
  AddChildDescriptor(owned.release());
  *child = made;
  return S_OK;
}

HRESULT CBaseDescriptor::SetData(const unsigned char*& in, unsigned int& rest) {
  // From the root down, the descriptors whose children are being read.
  struct Open {
    CBaseDescriptor* descriptor;
    long long left;           // bytes of payload behind what has been read of it
    unsigned int restBefore;  // where it began
  };
  std::vector<Open> open;
  Open current{this, 0, rest};
  RETURN_IF_NOT_OK(SetOwnData(in, rest, &current.left));
  while (true) {
    if (current.left > 0) open.push_back(current);
    if (open.empty()) return S_OK;
    if (current.left <= 0) {
      // A descriptor is complete, and with it each one around it that ends here.
      RETURN_IF(rest > current.restBefore, E_UNEXPECTED);
      open.back().left -= current.restBefore - rest;
      if (open.back().left <= 0) {
        current = open.back();
        open.pop_back();
        continue;
      }
    }
    RETURN_IF(rest == 0, S_FALSE);
    current.restBefore = rest;
    RETURN_IF_NOT_OK(open.back().descriptor->AppendChild(*in, &current.descriptor));
    RETURN_IF(open.size() > kDeepestNesting, E_BAD_DATA);
    RETURN_IF_NOT_OK(current.descriptor->SetOwnData(in, rest, &current.left));
  }
}

HRESULT CBaseDescriptor::RemoveUnknownChildren() {
  for (auto child = children.begin(); child != children.end();) {
    RETURN_IF(child->second == nullptr, E_POINTER);
    const unsigned char childTag = child->second->tag;
    if (childTag >= kEsDescriptorTag && childTag <= kSlConfigDescriptorTag) {
      ++child;
    } else {
      delete child->second;
      child = children.erase(child);
    }
  }
  return S_OK;
}

// Sets the length of a descriptor whose children have `childrenSize` bytes; `*total` gets its whole
// size.
HRESULT CBaseDescriptor::FixLength(long long childrenSize, long long* total) {
  RETURN_IF_NOT_OK(GetDataSizeImpl(total));
  const long long headerSize = static_cast<long long>(lengthFieldSize) + 1;
  const long long payload = std::max(*total + childrenSize - headerSize, 0LL);
  RETURN_IF(payload > kLargestPayload, E_BAD_DATA);
  payloadSize = static_cast<unsigned int>(payload);
  const auto groups = static_cast<unsigned int>(std::bit_width(payloadSize) + 6) / 7;
  lengthFieldSize = std::max(lengthFieldSize, groups);
  RETURN_IF_NOT_OK(GetDataSizeImpl(total));
  *total += childrenSize;
  return S_OK;
}

HRESULT CBaseDescriptor::FixParam() {
  // The sums that are under way, from the root down: each descriptor is measured once, and not once
  // for each of its ancestors.
  std::vector<long long> childrenSizes;
  const auto enter = [&](CBaseDescriptor& descriptor) -> HRESULT {
    RETURN_IF_NOT_OK(descriptor.FixParamImpl());
    RETURN_IF_NOT_OK(descriptor.RemoveUnknownChildren());
    childrenSizes.push_back(0);
    return S_OK;
  };
  const auto leave = [&](CBaseDescriptor& descriptor) -> HRESULT {
    long long total = 0;
    RETURN_IF_NOT_OK(descriptor.FixLength(childrenSizes.back(), &total));
    childrenSizes.pop_back();
    if (!childrenSizes.empty()) childrenSizes.back() += total;
    return S_OK;
  };
  return Walk(*this, enter, leave);
}

HRESULT CBaseDescriptor::GetDataSize(long long* total) const {
  RETURN_IF(total == nullptr, E_POINTER);
  *total = 0;
  const auto add = [total](const CBaseDescriptor& descriptor) -> HRESULT {
    long long size = 0;
    RETURN_IF_NOT_OK(descriptor.GetDataSizeImpl(&size));
    *total += size;
    return S_OK;
  };
  return Walk(*this, add, Pass);
}

HRESULT CBaseDescriptor::GetData(unsigned char*& out, unsigned int& rest) const {
  const auto put = [&](const CBaseDescriptor& descriptor) {
    return descriptor.GetDataImpl(out, rest);
  };
  return Walk(*this, put, Pass);
}

void CBaseDescriptor::AddChildDescriptor(CBaseDescriptor* child) {
  if (child == nullptr) return;
  std::unique_ptr<CBaseDescriptor> owned(child);
  children.emplace(child->tag, child);
  owned.release();
}

HRESULT CBaseDescriptor::AddChildDescriptor(unsigned char childTag) {
  CBaseDescriptor* child = nullptr;
  RETURN_IF_NOT_OK(CBoxFactory::CreateDescriptor(childTag, &child));
  AddChildDescriptor(child);
  return S_OK;
}

CBaseDescriptor* CBaseDescriptor::GetChildDescriptor(unsigned char childTag) const {
  const auto first = children.lower_bound(childTag);
  return first != children.end() && first->first == childTag ? first->second : nullptr;
}

HRESULT CBaseDescriptor::SetLengthFieldSize(unsigned int bytes) {
  const auto set = [bytes](CBaseDescriptor& descriptor) {
    descriptor.lengthFieldSize = bytes;
    return S_OK;
  };
  return Walk(*this, Pass, set);
}

}  // namespace MP4G
