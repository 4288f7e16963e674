#include "reader/mp4_tree.h"

#include <algorithm>
#include <memory>

#include "box/box_factory.h"
#include "reader/box_reader.h"
#include "reader/time_scale.h"

namespace MP4G {

namespace {

constexpr unsigned int kMdat = FourCc("mdat");

auto FindFirst(const std::list<CMp4Tree::Record>& boxes, unsigned int type) {
  return std::find_if(boxes.begin(), boxes.end(),
                      [type](const CMp4Tree::Record& record) { return record.type == type; });
}

long long Plus(long long sum, const CBox* box) {
  return box != nullptr ? WrappingSum(sum, box->GetBoxSize()) : sum;
}

}  // namespace

CMp4Tree::~CMp4Tree() { ResetTree(); }

HRESULT CMp4Tree::Init() {
  ResetTree();
  return S_OK;
}

void CMp4Tree::Reset() { ResetTree(); }

void CMp4Tree::ResetTree() {
  for (const Record& record : boxes) delete record.box;
  boxes.clear();
}

HRESULT CMp4Tree::AddBoxData(const unsigned char* data, unsigned int size, long long position) {
  CBox peek;
  RETURN_IF_NOT_OK(peek.Set8Byte(data, size));
  const unsigned int type = peek.header->type;
  CBox* made = nullptr;
  RETURN_IF_NOT_OK(CBoxFactory::CreateBox<CBox>(type, &made));
  std::unique_ptr<CBox> owned(made);
  const auto before = std::find_if(boxes.rbegin(), boxes.rend(),
                                   [](const Record& record) { return record.box != nullptr; });
  if (before != boxes.rend()) made->ContinueExtraMemory(*before->box);
  boxes.push_back({type, made});
  owned.release();
  made->position = position;
  return made->SetData(data, size);
}

HRESULT CMp4Tree::AddBoxData(CBox* box) {
  RETURN_IF(box == nullptr, E_POINTER);
  CBoxReader reader(box);
  const unsigned char* data = nullptr;
  unsigned int size = 0;
  RETURN_IF_NOT_OK(reader.GetData(&data, &size));
  return AddBoxData(data, size, 0);
}

void CMp4Tree::AddBoxType(unsigned int type) { boxes.push_back({type, nullptr}); }

long long CMp4Tree::GetNoLargeBoxSizeSum() const {
  long long sum = 0;
  for (const Record& record : boxes) sum = Plus(sum, record.box);
  return sum;
}

HRESULT CMp4Tree::GetMdatBoxPos(long long* position) const { return GetBoxPos(kMdat, position, 0); }

HRESULT CMp4Tree::GetBoxPos(unsigned int type, long long* position, signed char includeSelf) const {
  RETURN_IF(position == nullptr, E_POINTER);
  long long sum = 0;
  for (const Record& record : boxes) {
    const bool found = record.type == type;
    if (!found || includeSelf == 1) sum = Plus(sum, record.box);
    if (found) break;
  }
  *position = sum;
  return S_OK;
}

CFileTypeBox* CMp4Tree::GetFileTypeBox() const {
  return dynamic_cast<CFileTypeBox*>(GetBox(FourCc("ftyp"), 0));
}

CMovieBox* CMp4Tree::GetMovieBox() const {
  return dynamic_cast<CMovieBox*>(GetBox(FourCc("moov"), 0));
}

CBox* CMp4Tree::GetBox(unsigned int type, unsigned int index) const {
  for (const Record& record : boxes) {
    if (record.type != type) continue;
    if (index == 0) return record.box;
    --index;
  }
  return nullptr;
}

HRESULT CMp4Tree::MoveMdatBoxToTail() {
  const auto mdat = FindFirst(boxes, kMdat);
  if (mdat != boxes.end()) boxes.splice(boxes.end(), boxes, mdat);
  return S_OK;
}

}  // namespace MP4G
