#include "box/box.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>
#include <vector>

#include "box/box_factory.h"
#include "foundation/cursor.h"

namespace MP4G {

namespace {

constexpr long long kLargest32BitSize = 0xFFFFFFFF;

bool HasUsertype(const _tagBOX_HEADER& header) { return header.type == FourCc("uuid"); }
bool HasLargeSize(const _tagBOX_HEADER& header) { return header.size == 1; }

}  // namespace

CBox::CBox() : _tagBOX_HEADER{}, header(this) {}

CBox::~CBox() { CBox::Reset(); }

HRESULT CBox::Init() {
  Reset();
  return S_OK;
}

void CBox::Reset() {
  // One level at a time: the children of a doomed box join the queue, so that a deep tree needs no
  // deep stack.
  std::list<CBox*> doomed;
  doomed.swap(children);
  while (!doomed.empty()) {
    CBox* box = doomed.front();
    doomed.pop_front();
    if (box == nullptr) continue;
    doomed.splice(doomed.begin(), box->children);
    delete box;
  }
  restSize = 0;
  position = 0;
  extraMemory_ = 0;
  *header = {};
  largeSize = {};
  std::memset(usertype, 0, sizeof usertype);
}

HRESULT CBox::SetDataImpl(const unsigned char*& in, unsigned int& rest) {
  RETURN_IF_NOT_OK(QUIRVA::Take(in, rest, *header));
  if (HasLargeSize(*header)) RETURN_IF_NOT_OK(QUIRVA::Take(in, rest, largeSize));
  if (HasUsertype(*header))
    RETURN_IF_NOT_OK(QUIRVA::TakeBytes(in, rest, usertype, sizeof usertype));
  return S_OK;
}

HRESULT CBox::FixParamImpl() { return S_OK; }

HRESULT CBox::GetDataSizeImpl(long long* total) const {
  RETURN_IF(total == nullptr, E_POINTER);
  *total = 8 + (HasLargeSize(*header) ? 8 : 0) + (HasUsertype(*header) ? 16 : 0);
  return S_OK;
}

HRESULT CBox::GetDataImpl(unsigned char*& out, unsigned int& rest) const {
  RETURN_IF_NOT_OK(QUIRVA::Put(out, rest, *header));
  if (HasLargeSize(*header)) RETURN_IF_NOT_OK(QUIRVA::Put(out, rest, largeSize));
  if (HasUsertype(*header))
    RETURN_IF_NOT_OK(QUIRVA::PutBytes(out, rest, usertype, sizeof usertype));
  return S_OK;
}

HRESULT CBox::SetData(const unsigned char*& in, unsigned int& rest) {
  const unsigned int restBefore = rest;
  RETURN_IF_NOT_OK(SetDataImpl(in, rest));
  const unsigned int consumed = restBefore - rest;
  const unsigned int declared = header->size;
  RETURN_IF(declared < consumed, E_BAD_DATA);
  const unsigned int left = declared - consumed;
  if (left == 0) return S_OK;
  RETURN_IF_NOT_OK(QUIRVA::Skip(in, rest, left));
  restSize = left;
  return S_OK;
}

HRESULT CBox::FixParam() {
  long long written = 0;
  return FixSubtree(&written);
}

// A parent asks for its children's sizes right after they were fixed. Their sum is kept for that
// moment, so that fixing a tree takes one visit to each box and not one for each of its ancestors.
HRESULT CBox::FixSubtree(long long* written) {
  RETURN_IF_NOT_OK(FixParamImpl());
  long long childrenSize = 0;
  for (CBox* child : children) {
    if (child == nullptr) continue;
    RETURN_IF_NOT_OK(EnterChild(child));
    long long childSize = 0;
    const HRESULT result = child->FixSubtree(&childSize);
    LeaveChild(child);
    RETURN_IF_NOT_OK(result);
    childrenSize += childSize;
  }
  long long total = 0;
  fixedChildrenSize_ = childrenSize;
  const HRESULT result = GetDataSizeImpl(&total);
  fixedChildrenSize_ = -1;
  RETURN_IF_NOT_OK(result);
  total += restSize;
  RETURN_IF(total > kLargest32BitSize, E_PENDING);

  // A new type and a lost large size change the length of the header after it was counted.
  const unsigned int headerBefore = GetBoxBaseSize();
  if (header->type == 0) header->type = classType;
  header->size = static_cast<unsigned int>(total);
  *written = total + GetBoxBaseSize() - headerBefore;
  return S_OK;
}

HRESULT CBox::EnterChild(const CBox* child) const {
  RETURN_IF(level_ >= kDeepestNesting, E_BAD_DATA);
  child->level_ = level_ + 1;
  return S_OK;
}

HRESULT CBox::CountExtraMemory(unsigned int bytes, std::size_t replaced) {
  CBox* root = this;
  while (root->parent != nullptr) root = root->parent;
  unsigned int& sum = root->extraMemory_;
  sum -= static_cast<unsigned int>(std::min<std::size_t>(sum, replaced));
  RETURN_IF(bytes > kMostExtraMemory - sum, E_OUTOFMEMORY);
  sum += bytes;
  return S_OK;
}

void CBox::ContinueExtraMemory(const CBox& before) { extraMemory_ = before.extraMemory_; }

HRESULT CBox::GetDataSize(long long* total) const {
  RETURN_IF(total == nullptr, E_POINTER);
  RETURN_IF_NOT_OK(GetDataSizeImpl(total));
  *total += restSize;
  return S_OK;
}

HRESULT CBox::GetData(unsigned char*& out, unsigned int& rest) const {
  const unsigned int restBefore = rest;
  RETURN_IF_NOT_OK(GetDataImpl(out, rest));
  RETURN_IF(header->size < restBefore - rest, E_BAD_DATA);
  return QUIRVA::PutZeros(out, rest, restSize);
}

HRESULT CBox::SetChildrenData(const unsigned char*& in, unsigned int& rest,
                              unsigned int headerSize) {
  const long long boxSize = GetBoxSize();
  RETURN_IF(boxSize < headerSize, E_BAD_DATA);
  RETURN_IF(boxSize > kLargest32BitSize, E_PENDING);
  unsigned int left = static_cast<unsigned int>(boxSize - headerSize);
  // Unsigned, because a source may claim any position.
  unsigned long long childPosition = static_cast<unsigned long long>(position) + headerSize;
  while (left >= 8) {
    RETURN_IF(rest < sizeof(_tagBOX_HEADER), S_FALSE);
    _tagBOX_HEADER peek;
    std::memcpy(&peek, in, sizeof peek);
    CBox* child = nullptr;
    RETURN_IF_NOT_OK(CBoxFactory::CreateBox<CBox>(peek.type, &child));
    // In the tree before it is parsed: some parsers look upward.
    AddChildBox(child);
    child->position = static_cast<long long>(childPosition);
    RETURN_IF_NOT_OK(EnterChild(child));
    const unsigned int restBefore = rest;
    const HRESULT result = child->SetData(in, rest);
    LeaveChild(child);
    RETURN_IF_NOT_OK(result);
    const unsigned int consumed = restBefore - rest;
    childPosition += consumed;
    left -= std::min(left, consumed);
  }
  return S_OK;
}

HRESULT CBox::GetChildrenDataSize(long long* total) const {
  RETURN_IF(total == nullptr, E_POINTER);
  if (fixedChildrenSize_ >= 0) {
    *total += fixedChildrenSize_;
    return S_OK;
  }
  for (const CBox* child : children) {
    if (child == nullptr) continue;
    RETURN_IF_NOT_OK(EnterChild(child));
    long long childSize = 0;
    const HRESULT result = child->GetDataSize(&childSize);
    LeaveChild(child);
    RETURN_IF_NOT_OK(result);
    *total += childSize;
  }
  return S_OK;
}

HRESULT CBox::GetChildrenData(unsigned char*& out, unsigned int& rest) const {
  for (const CBox* child : children) {
    if (child == nullptr) continue;
    RETURN_IF_NOT_OK(EnterChild(child));
    const HRESULT result = child->GetData(out, rest);
    LeaveChild(child);
    RETURN_IF_NOT_OK(result);
  }
  return S_OK;
}

void CBox::SetClassType(unsigned int code) { classType = code; }

unsigned int CBox::GetClassType() const { return classType; }

HRESULT CBox::Set8Byte(const unsigned char* bytes, unsigned int count) {
  return QUIRVA::Take(bytes, count, *header);
}

HRESULT CBox::Set16Byte(const unsigned char* bytes, unsigned int count) {
  RETURN_IF_NOT_OK(QUIRVA::Take(bytes, count, *header));
  return HasLargeSize(*header) ? QUIRVA::Take(bytes, count, largeSize) : S_OK;
}

long long CBox::GetBoxSize() const {
  return HasLargeSize(*header) ? static_cast<long long>(static_cast<std::uint64_t>(largeSize))
                               : static_cast<long long>(header->size);
}

void CBox::SetBoxSize(long long bytes) {
  if (bytes > kLargest32BitSize) {
    header->size = 1;
    largeSize = static_cast<std::uint64_t>(bytes);
  } else {
    header->size = static_cast<std::uint32_t>(bytes);
  }
}

unsigned int CBox::GetBoxBaseSize() const {
  long long total = 0;
  return CBox::GetDataSizeImpl(&total) == S_OK ? static_cast<unsigned int>(total) : 0;
}

HRESULT CBox::GetBoxBaseData(unsigned char*& out, unsigned int& rest) const {
  static_cast<void>(CBox::GetDataImpl(out, rest));
  return S_OK;
}

_GUID CBox::GetUsertype() const { return QUIRVA::BigEndianToGuid(usertype, sizeof usertype); }

void CBox::AddChildBox(CBox* child) {
  if (child == nullptr) return;
  std::unique_ptr<CBox> owned(child);
  children.push_back(child);
  owned.release();
  child->parent = this;
}

HRESULT CBox::AddChildBox(unsigned int code) {
  CBox* child = nullptr;
  RETURN_IF_NOT_OK(CBoxFactory::CreateBox<CBox>(code, &child));
  AddChildBox(child);
  return S_OK;
}

std::list<CBox*>::iterator CBox::InsertChildBox(std::list<CBox*>::iterator where, CBox* child) {
  if (child == nullptr) return children.end();
  std::unique_ptr<CBox> owned(child);
  const auto place = children.insert(where, child);
  owned.release();
  return place;
}

std::list<CBox*>::iterator CBox::RemoveChildBox(CBox* child) {
  if (child == nullptr) return children.end();
  const auto found = std::find(children.begin(), children.end(), child);
  return found != children.end() ? children.erase(found) : found;
}

std::list<CBox*>::iterator CBox::DeleteChildBox(CBox* child) {
  if (child == nullptr) return children.end();
  const auto found = std::find(children.begin(), children.end(), child);
  if (found == children.end()) return found;
  const auto behind = children.erase(found);
  delete child;
  return behind;
}

CBox* CBox::GetChildBox(unsigned int code, unsigned int index) const {
  for (CBox* child : children) {
    if (child == nullptr || (code != 0 && child->GetClassType() != code)) continue;
    if (index == 0) return child;
    --index;
  }
  return nullptr;
}

unsigned int CBox::GetChildBoxNum(unsigned int code) const {
  if (code == 0) return static_cast<unsigned int>(children.size());
  return static_cast<unsigned int>(std::count_if(
      children.begin(), children.end(),
      [code](const CBox* child) { return child != nullptr && child->GetClassType() == code; }));
}

CBox* CBox::GetAncestor(unsigned int code) const {
  CBox* ancestor = parent;
  while (ancestor != nullptr && ancestor->GetClassType() != code) ancestor = ancestor->parent;
  return ancestor;
}

unsigned int CBox::GetDepth() const {
  unsigned int depth = 0;
  for (const CBox* ancestor = parent; ancestor != nullptr; ancestor = ancestor->parent) ++depth;
  return depth;
}

bool CBox::IsSameBox(const CBox* other) const {
  if (other == nullptr) return false;
  const long long blockSize = GetBoxSize();
  if (blockSize != other->GetBoxSize() || blockSize <= 0 || blockSize > kLargest32BitSize)
    return false;
  const auto serialise = [blockSize](const CBox& box, std::vector<unsigned char>& block) {
    block.assign(static_cast<std::size_t>(blockSize), 0);
    unsigned char* out = block.data();
    unsigned int rest = static_cast<unsigned int>(blockSize);
    return box.GetData(out, rest);
  };
  std::vector<unsigned char> mine;
  std::vector<unsigned char> theirs;
  return serialise(*this, mine) == S_OK && serialise(*other, theirs) == S_OK && mine == theirs;
}

HRESULT CBox::CalcurateBoxRestSize(unsigned int restBefore, unsigned int restNow, long long boxSize,
                                   unsigned int* result) {
  RETURN_IF(result == nullptr, E_POINTER);
  RETURN_IF(restBefore < restNow, E_UNEXPECTED);
  const unsigned int consumed = restBefore - restNow;
  RETURN_IF(consumed > boxSize, E_BAD_DATA);
  RETURN_IF(boxSize > kLargest32BitSize || boxSize == 0, E_PENDING);
  *result = static_cast<unsigned int>(boxSize - consumed);
  return S_OK;
}

unsigned int CBox::CalcurateBoxBaseSize(long long dataSize) {
  CBox box;
  box.SetBoxSize(static_cast<long long>(static_cast<unsigned long long>(dataSize) + 8));
  return box.GetBoxBaseSize();
}

bool CBox::IsTopLevelBox(unsigned int code) {
  static constexpr unsigned int kTypes[] = {FourCc("free"), FourCc("ftyp"), FourCc("mdat"),
                                            FourCc("meta"), FourCc("mfra"), FourCc("moof"),
                                            FourCc("moov"), FourCc("pdin"), FourCc("skip")};
  return std::find(std::begin(kTypes), std::end(kTypes), code) != std::end(kTypes);
}

CFullBox::CFullBox() : _tagFULL_BOX{}, fullHeader(this) {}

void CFullBox::Reset() {
  *fullHeader = {};
  CBox::Reset();
}

HRESULT CFullBox::SetDataImpl(const unsigned char*& in, unsigned int& rest) {
  RETURN_IF_NOT_OK(CBox::SetDataImpl(in, rest));
  return QUIRVA::Take(in, rest, *fullHeader);
}

HRESULT CFullBox::GetDataSizeImpl(long long* total) const {
  RETURN_IF_NOT_OK(CBox::GetDataSizeImpl(total));
  *total += sizeof(_tagFULL_BOX);
  return S_OK;
}

HRESULT CFullBox::GetDataImpl(unsigned char*& out, unsigned int& rest) const {
  RETURN_IF_NOT_OK(CBox::GetDataImpl(out, rest));
  return QUIRVA::Put(out, rest, *fullHeader);
}

HRESULT CListBox::SetDataImpl(const unsigned char*& in, unsigned int& rest) {
  const unsigned int restBefore = rest;
  RETURN_IF_NOT_OK(CBox::SetDataImpl(in, rest));
  return SetChildrenData(in, rest, restBefore - rest);
}

HRESULT CListBox::GetDataSizeImpl(long long* total) const {
  RETURN_IF_NOT_OK(CBox::GetDataSizeImpl(total));
  return GetChildrenDataSize(total);
}

HRESULT CListBox::GetDataImpl(unsigned char*& out, unsigned int& rest) const {
  RETURN_IF_NOT_OK(CBox::GetDataImpl(out, rest));
  return GetChildrenData(out, rest);
}

}  // namespace MP4G
