#include "box/sample_table_boxes.h"

#include <algorithm>
#include <functional>

#include "box/box_factory.h"
#include "foundation/cursor.h"

namespace MP4G {

HRESULT CSampleDescriptionBox::SetDataImpl(const unsigned char*& in, unsigned int& rest) {
  const unsigned int restBefore = rest;
  RETURN_IF_NOT_OK(CEntryListBox::SetDataImpl(in, rest));
  const long long boxSize = GetBoxSize();
  const unsigned int consumed = restBefore - rest;
  RETURN_IF(boxSize < consumed, E_BAD_DATA);
  RETURN_IF(boxSize > 0xFFFFFFFF, E_PENDING);
  const auto* media = dynamic_cast<CMediaBox*>(GetAncestor(FourCc("mdia")));
  RETURN_IF(media == nullptr, E_BAD_DATA);
  const auto* handler = dynamic_cast<const CHandlerBox*>(media->HandlerChild());
  RETURN_IF(handler == nullptr, E_BAD_DATA);

  unsigned int left = static_cast<unsigned int>(boxSize) - consumed;
  while (left >= sizeof(_tagBOX_HEADER)) {
    const unsigned int restBeforeEntry = rest;
    RETURN_IF_NOT_OK(AddEntry(handler->record->handlerType, in, rest));
    left -= std::min(left, restBeforeEntry - rest);
  }
  return S_OK;
}

HRESULT CSampleDescriptionBox::AddEntry(unsigned int handlerType, const unsigned char*& in,
                                        unsigned int& rest) {
  CBox peek;
  RETURN_IF_NOT_OK(peek.Set8Byte(in, rest));
  CBox* entry = nullptr;
  RETURN_IF_NOT_OK(CBoxFactory::CreateSampleEntry<CBox>(peek.header->type, handlerType, &entry));
  AddChildBox(entry);
  RETURN_IF_NOT_OK(EnterChild(entry));
  RETURN_IF_NOT_OK(entry->Init());
  const HRESULT result = entry->SetData(in, rest);
  LeaveChild(entry);
  return result;
}

template <class Wire, class Value, bool kParsingReplaces>
void CEntryTableBox<Wire, Value, kParsingReplaces>::Reset() {
  entryCount = 0;
  entries.clear();
  CFullBox::Reset();
}

template <class Wire, class Value, bool kParsingReplaces>
HRESULT CEntryTableBox<Wire, Value, kParsingReplaces>::SetDataImpl(const unsigned char*& in,
                                                                   unsigned int& rest) {
  RETURN_IF_NOT_OK(CFullBox::SetDataImpl(in, rest));
  QUIRVA::be32 count;
  RETURN_IF_NOT_OK(QUIRVA::Take(in, rest, count));
  entryCount = count;
  if (kParsingReplaces) entries.clear();
  return QUIRVA::TakeArray<Wire>(in, rest, entries, entryCount);
}

template <class Wire, class Value, bool kParsingReplaces>
HRESULT CEntryTableBox<Wire, Value, kParsingReplaces>::FixParamImpl() {
  entryCount = static_cast<unsigned int>(entries.size());
  return S_OK;
}

template <class Wire, class Value, bool kParsingReplaces>
HRESULT CEntryTableBox<Wire, Value, kParsingReplaces>::GetDataSizeImpl(long long* total) const {
  RETURN_IF_NOT_OK(CFullBox::GetDataSizeImpl(total));
  *total += static_cast<long long>(sizeof(QUIRVA::be32) + sizeof(Wire) * entries.size());
  return S_OK;
}

template <class Wire, class Value, bool kParsingReplaces>
HRESULT CEntryTableBox<Wire, Value, kParsingReplaces>::GetDataImpl(unsigned char*& out,
                                                                   unsigned int& rest) const {
  RETURN_IF_NOT_OK(CFullBox::GetDataImpl(out, rest));
  RETURN_IF_NOT_OK(QUIRVA::PutNumber<QUIRVA::be32>(out, rest, entryCount));
  return QUIRVA::PutArray<Wire>(out, rest, entries);
}

template class CEntryTableBox<_tagDECODING_TIME_TO_SAMPLE>;
template class CEntryTableBox<_tagCOMPOSITION_TIME_TO_SAMPLE>;
template class CEntryTableBox<_tagSAMPLE_TO_CHUNK>;
template class CEntryTableBox<QUIRVA::be32, unsigned int>;
template class CEntryTableBox<QUIRVA::be64, unsigned long long>;
template class CEntryTableBox<QUIRVA::be32, unsigned int, true>;

void CSampleSizeBox::Reset() {
  entries.clear();
  CRecordBox::Reset();
}

HRESULT CSampleSizeBox::SetDataImpl(const unsigned char*& in, unsigned int& rest) {
  RETURN_IF_NOT_OK(CRecordBox::SetDataImpl(in, rest));
  if (record->sampleSize != 0) return S_OK;
  return QUIRVA::TakeArray<QUIRVA::be32>(in, rest, entries, record->sampleCount);
}

HRESULT CSampleSizeBox::FixParamImpl() {
  if (record->sampleSize != 0) return S_OK;
  if (!entries.empty() && AllEqual()) record->sampleSize = entries.front();
  record->sampleCount = static_cast<unsigned int>(entries.size());
  return S_OK;
}

// A merge appends to the table again and again: neighbours that differed once mostly still do.
bool CSampleSizeBox::AllEqual() {
  const std::size_t count = entries.size();
  if (differing_ + 1 < count && entries[differing_] != entries[differing_ + 1]) return false;
  const auto pair = std::adjacent_find(entries.begin(), entries.end(), std::not_equal_to<>());
  differing_ = static_cast<std::size_t>(pair - entries.begin());
  return pair == entries.end();
}

HRESULT CSampleSizeBox::GetDataSizeImpl(long long* total) const {
  RETURN_IF_NOT_OK(CRecordBox::GetDataSizeImpl(total));
  if (record->sampleSize == 0)
    *total += static_cast<long long>(sizeof(QUIRVA::be32) * entries.size());
  return S_OK;
}

HRESULT CSampleSizeBox::GetDataImpl(unsigned char*& out, unsigned int& rest) const {
  RETURN_IF_NOT_OK(CRecordBox::GetDataImpl(out, rest));
  return record->sampleSize == 0 ? QUIRVA::PutArray<QUIRVA::be32>(out, rest, entries) : S_OK;
}

HRESULT CCompactSampleSizeBox::SetDataImpl(const unsigned char*& in, unsigned int& rest) {
  RETURN_IF_NOT_OK(CRecordBox::SetDataImpl(in, rest));
  if (record->sampleCount == 0) return S_OK;
  switch (record->fieldSize) {
    case 16:
      return QUIRVA::TakeArray<QUIRVA::be16>(in, rest, entries, record->sampleCount);
    case 8:
      return QUIRVA::TakeArray<unsigned char>(in, rest, entries, record->sampleCount);
    case 4:
      return TakeHalfBytes(in, rest);
    default:
      return E_BAD_DATA;
  }
}

HRESULT CCompactSampleSizeBox::TakeHalfBytes(const unsigned char*& in, unsigned int& rest) {
  QUIRVA::Table<unsigned char> packed;
  const HRESULT result = QUIRVA::TakeArray<unsigned char>(in, rest, packed, record->sampleCount);
  entries.reserve(entries.size() + 2 * packed.size());
  for (const unsigned char byte : packed) {
    entries.push_back(15);
    entries.push_back(byte | 15);
  }
  return result;
}

HRESULT CCompactSampleSizeBox::FixParamImpl() {
  record->sampleCount = static_cast<unsigned int>(entries.size());
  return S_OK;
}

HRESULT CCompactSampleSizeBox::GetDataSizeImpl(long long* total) const {
  RETURN_IF_NOT_OK(CRecordBox::GetDataSizeImpl(total));
  *total += static_cast<long long>(sizeof(QUIRVA::be16) * entries.size());
  return S_OK;
}

HRESULT CCompactSampleSizeBox::GetDataImpl(unsigned char*& out, unsigned int& rest) const {
  RETURN_IF_NOT_OK(CRecordBox::GetDataImpl(out, rest));
  return QUIRVA::PutArray<QUIRVA::be16>(out, rest, entries);
}

void CSampleDependencyTypeBox::Reset() {
  entries.clear();
  CFullBox::Reset();
}

HRESULT CSampleDependencyTypeBox::SetDataImpl(const unsigned char*& in, unsigned int& rest) {
  const unsigned int restBefore = rest;
  RETURN_IF_NOT_OK(CFullBox::SetDataImpl(in, rest));
  RETURN_IF(parent == nullptr, E_BAD_DATA);
  const unsigned int declared = header->size;
  const unsigned int count = declared - std::min(declared, restBefore - rest);
  return QUIRVA::TakeArray<_tagSAMPLE_DEPENDENCY_TYPE>(in, rest, entries, count);
}

HRESULT CSampleDependencyTypeBox::GetDataSizeImpl(long long* total) const {
  RETURN_IF_NOT_OK(CFullBox::GetDataSizeImpl(total));
  *total += static_cast<long long>(entries.size());
  return S_OK;
}

HRESULT CSampleDependencyTypeBox::GetDataImpl(unsigned char*& out, unsigned int& rest) const {
  RETURN_IF_NOT_OK(CFullBox::GetDataImpl(out, rest));
  return QUIRVA::PutArray<_tagSAMPLE_DEPENDENCY_TYPE>(out, rest, entries);
}

}  // namespace MP4G
