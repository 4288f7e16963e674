#include "box/structural_boxes.h"

#include <algorithm>

#include "foundation/cursor.h"

namespace MP4G {

namespace {

// Both forms of the times of an edit; the rate follows in the same form for either.
struct WideEdit {
  QUIRVA::be64 segmentDuration;
  QUIRVA::be64 mediaTime;
};
struct NarrowEdit {
  QUIRVA::be32 segmentDuration;
  QUIRVA::be32 mediaTime;
};
struct EditRate {
  QUIRVA::be16 integer;
  QUIRVA::be16 fraction;
};
static_assert(sizeof(WideEdit) == 16 && sizeof(NarrowEdit) == 8 && sizeof(EditRate) == 4);

// The entry is appended when it is complete; the cursor moves over the times before the rate is
// looked for.
template <class Times>
HRESULT TakeEdits(const unsigned char*& in, unsigned int& rest, unsigned int count,
                  std::vector<_tagEDIT_LIST_ENTRY>& entries) {
  entries.reserve(entries.size() +
                  std::min<std::size_t>(count, rest / (sizeof(Times) + sizeof(EditRate))));
  for (unsigned int i = 0; i < count; ++i) {
    Times times;
    EditRate rate;
    RETURN_IF_NOT_OK(QUIRVA::Take(in, rest, times));
    RETURN_IF_NOT_OK(QUIRVA::Take(in, rest, rate));
    entries.push_back({times.segmentDuration, static_cast<std::int64_t>(times.mediaTime),
                       rate.integer, rate.fraction});
  }
  return S_OK;
}

template <class Times>
HRESULT PutEdits(unsigned char*& out, unsigned int& rest,
                 const std::vector<_tagEDIT_LIST_ENTRY>& entries) {
  using Number = decltype(Times::segmentDuration);
  for (const _tagEDIT_LIST_ENTRY& entry : entries) {
    Times times;
    EditRate rate;
    times.segmentDuration = static_cast<typename Number::Value>(entry.segmentDuration);
    times.mediaTime = static_cast<typename Number::Value>(entry.mediaTime);
    rate.integer = entry.rateInteger;
    rate.fraction = entry.rateFraction;
    RETURN_IF_NOT_OK(QUIRVA::Put(out, rest, times));
    RETURN_IF_NOT_OK(QUIRVA::Put(out, rest, rate));
  }
  return S_OK;
}

// Replaces `text` by the next `length` bytes, whatever they are.
HRESULT TakeText(const unsigned char*& in, unsigned int& rest, std::string& text,
                 unsigned int length) {
  RETURN_IF(rest < length, S_FALSE);
  text.resize(length);
  return QUIRVA::TakeBytes(in, rest, text.data(), length);
}

HRESULT PutText(unsigned char*& out, unsigned int& rest, const std::string& text) {
  return QUIRVA::PutBytes(out, rest, text.data(), text.size());
}

}  // namespace

HRESULT CMediaBox::SetDataImpl(const unsigned char*& in, unsigned int& rest) {
  search_ = {};
  isParsing_ = true;
  const struct EndOfParsing {
    ~EndOfParsing() { isParsing = false; }
    bool& isParsing;
  } endOfParsing{isParsing_};
  return CListBox::SetDataImpl(in, rest);
}

const CBox* CMediaBox::HandlerChild() const {
  if (!isParsing_) return GetChildBox(FourCc("hdlr"), 0);
  auto child = search_.began ? std::next(search_.last) : children.begin();
  for (; search_.found == nullptr && child != children.end(); ++child) {
    search_.last = child;
    search_.began = true;
    if (*child != nullptr && (*child)->GetClassType() == FourCc("hdlr")) search_.found = *child;
  }
  return search_.found;
}

void CTrackReferenceTypeBox::Reset() { trackId = 0; }

HRESULT CTrackReferenceTypeBox::SetDataImpl(const unsigned char*& in, unsigned int& rest) {
  RETURN_IF_NOT_OK(CBox::SetDataImpl(in, rest));
  constexpr unsigned int kLength = sizeof(QUIRVA::be32);
  RETURN_IF(rest < kLength, S_FALSE);
  const unsigned char* tail = in;
  unsigned int tailRest = rest;
  QUIRVA::be32 last;
  RETURN_IF_NOT_OK(QUIRVA::Skip(tail, tailRest, rest - kLength));
  RETURN_IF_NOT_OK(QUIRVA::Take(tail, tailRest, last));
  trackId = last;
  return QUIRVA::Skip(in, rest, kLength);
}

HRESULT CTrackReferenceTypeBox::GetDataSizeImpl(long long* total) const {
  RETURN_IF_NOT_OK(CBox::GetDataSizeImpl(total));
  *total += sizeof(QUIRVA::be32);
  return S_OK;
}

HRESULT CTrackReferenceTypeBox::GetDataImpl(unsigned char*& out, unsigned int& rest) const {
  RETURN_IF_NOT_OK(CBox::GetDataImpl(out, rest));
  return QUIRVA::PutNumber<QUIRVA::be32>(out, rest, trackId);
}

void CEditListBox::Reset() {
  entries.clear();
  CFullBox::Reset();
}

HRESULT CEditListBox::SetDataImpl(const unsigned char*& in, unsigned int& rest) {
  RETURN_IF_NOT_OK(CFullBox::SetDataImpl(in, rest));
  QUIRVA::be32 count;
  RETURN_IF_NOT_OK(QUIRVA::Take(in, rest, count));
  entryCount = count;
  return fullHeader->version == 1 ? TakeEdits<WideEdit>(in, rest, entryCount, entries)
                                  : TakeEdits<NarrowEdit>(in, rest, entryCount, entries);
}

HRESULT CEditListBox::FixParamImpl() {
  RETURN_IF_NOT_OK(CFullBox::FixParamImpl());
  entryCount = static_cast<unsigned int>(entries.size());
  return S_OK;
}

HRESULT CEditListBox::GetDataSizeImpl(long long* total) const {
  RETURN_IF_NOT_OK(CFullBox::GetDataSizeImpl(total));
  const std::size_t times = fullHeader->version == 1 ? sizeof(WideEdit) : sizeof(NarrowEdit);
  *total +=
      static_cast<long long>(sizeof(QUIRVA::be32) + entries.size() * (times + sizeof(EditRate)));
  return S_OK;
}

HRESULT CEditListBox::GetDataImpl(unsigned char*& out, unsigned int& rest) const {
  RETURN_IF_NOT_OK(CFullBox::GetDataImpl(out, rest));
  RETURN_IF_NOT_OK(QUIRVA::PutNumber<QUIRVA::be32>(out, rest, entryCount));
  return fullHeader->version == 1 ? PutEdits<WideEdit>(out, rest, entries)
                                  : PutEdits<NarrowEdit>(out, rest, entries);
}

CHandlerBox::CHandlerBox() : _tagHANDLER_BOX{}, record(this) {}

HRESULT CHandlerBox::Init() {
  Reset();
  RETURN_IF_NOT_OK(CFullBox::Init());
  name = "Qvr";
  return S_OK;
}

void CHandlerBox::Reset() {
  *record = {};
  CFullBox::Reset();
}

HRESULT CHandlerBox::SetDataImpl(const unsigned char*& in, unsigned int& rest) {
  const unsigned int restBefore = rest;
  RETURN_IF_NOT_OK(CFullBox::SetDataImpl(in, rest));
  RETURN_IF_NOT_OK(QUIRVA::Take(in, rest, *record));
  unsigned int length = 0;
  RETURN_IF_NOT_OK(CalcurateBoxRestSize(restBefore, rest, GetBoxSize(), &length));
  return TakeText(in, rest, name, length);
}

HRESULT CHandlerBox::GetDataSizeImpl(long long* total) const {
  RETURN_IF_NOT_OK(CFullBox::GetDataSizeImpl(total));
  *total += static_cast<long long>(sizeof *record + name.size());
  return S_OK;
}

HRESULT CHandlerBox::GetDataImpl(unsigned char*& out, unsigned int& rest) const {
  RETURN_IF_NOT_OK(CFullBox::GetDataImpl(out, rest));
  RETURN_IF(rest < sizeof *record + name.size(), S_FALSE);
  RETURN_IF_NOT_OK(QUIRVA::Put(out, rest, *record));
  return PutText(out, rest, name);
}

void CEntryListBox::Reset() {
  entryCount = 0;
  CFullBox::Reset();
}

HRESULT CEntryListBox::SetDataImpl(const unsigned char*& in, unsigned int& rest) {
  RETURN_IF_NOT_OK(CFullBox::SetDataImpl(in, rest));
  QUIRVA::be32 count;
  RETURN_IF_NOT_OK(QUIRVA::Take(in, rest, count));
  entryCount = count;
  return S_OK;
}

HRESULT CEntryListBox::FixParamImpl() {
  RETURN_IF_NOT_OK(CFullBox::FixParamImpl());
  entryCount = GetChildBoxNum(0);
  return S_OK;
}

HRESULT CEntryListBox::GetDataSizeImpl(long long* total) const {
  RETURN_IF_NOT_OK(CFullBox::GetDataSizeImpl(total));
  *total += sizeof(QUIRVA::be32);
  return GetChildrenDataSize(total);
}

HRESULT CEntryListBox::GetDataImpl(unsigned char*& out, unsigned int& rest) const {
  RETURN_IF_NOT_OK(CFullBox::GetDataImpl(out, rest));
  RETURN_IF_NOT_OK(QUIRVA::PutNumber<QUIRVA::be32>(out, rest, entryCount));
  return GetChildrenData(out, rest);
}

HRESULT CDataReferenceBox::SetDataImpl(const unsigned char*& in, unsigned int& rest) {
  const unsigned int restBefore = rest;
  RETURN_IF_NOT_OK(CEntryListBox::SetDataImpl(in, rest));
  return SetChildrenData(in, rest, restBefore - rest);
}

void CDataEntryUrlBox::Reset() {
  location.clear();
  CFullBox::Reset();
}

HRESULT CDataEntryUrlBox::SetDataImpl(const unsigned char*& in, unsigned int& rest) {
  const unsigned int restBefore = rest;
  RETURN_IF_NOT_OK(CFullBox::SetDataImpl(in, rest));
  unsigned int length = 0;
  RETURN_IF_NOT_OK(CalcurateBoxRestSize(restBefore, rest, GetBoxSize(), &length));
  return TakeText(in, rest, location, length);
}

HRESULT CDataEntryUrlBox::GetDataSizeImpl(long long* total) const {
  RETURN_IF_NOT_OK(CFullBox::GetDataSizeImpl(total));
  *total += static_cast<long long>(location.size());
  return S_OK;
}

HRESULT CDataEntryUrlBox::GetDataImpl(unsigned char*& out, unsigned int& rest) const {
  RETURN_IF_NOT_OK(CFullBox::GetDataImpl(out, rest));
  return PutText(out, rest, location);
}

void CDataEntryUrnBox::Reset() {
  name.clear();
  location.clear();
  CFullBox::Reset();
}

HRESULT CDataEntryUrnBox::SetDataImpl(const unsigned char*& in, unsigned int& rest) {
  const unsigned int restBefore = rest;
  RETURN_IF_NOT_OK(CFullBox::SetDataImpl(in, rest));
  unsigned int length = 0;
  RETURN_IF_NOT_OK(CalcurateBoxRestSize(restBefore, rest, GetBoxSize(), &length));
  RETURN_IF(rest < length, S_FALSE);
  // A few bytes of box can hold megabytes of name, over and over.
  RETURN_IF_NOT_OK(CountExtraMemory(rest, name.size()));
  const unsigned char* tail = in;
  unsigned int tailRest = rest;
  RETURN_IF_NOT_OK(TakeText(tail, tailRest, name, rest));
  return QUIRVA::Skip(in, rest, length);
}

HRESULT CDataEntryUrnBox::GetDataSizeImpl(long long* total) const {
  RETURN_IF_NOT_OK(CFullBox::GetDataSizeImpl(total));
  *total += static_cast<long long>(name.size() + location.size());
  return S_OK;
}

HRESULT CDataEntryUrnBox::GetDataImpl(unsigned char*& out, unsigned int& rest) const {
  RETURN_IF_NOT_OK(CFullBox::GetDataImpl(out, rest));
  RETURN_IF(rest < name.size() + location.size(), S_FALSE);
  RETURN_IF_NOT_OK(PutText(out, rest, name));
  return PutText(out, rest, location);
}

}  // namespace MP4G
