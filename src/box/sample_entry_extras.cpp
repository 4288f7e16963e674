#include "box/sample_entry_extras.h"

#include "foundation/pointer_list.h"

namespace MP4G {

_tagCLEAN_APERTURE _tagCLEAN_APERTURE::New() {
  _tagCLEAN_APERTURE record{};
  record.widthD = 1;
  record.heightD = 1;
  record.horizOffD = 1;
  record.vertOffD = 1;
  return record;
}

CViewEntry::CViewEntry() : _tagVIEW_ENTRY{}, record(this) {}

CViewEntry::~CViewEntry() = default;

void CViewEntry::Reset() {
  *record = {};
  refViewIds.clear();
}

HRESULT CViewEntry::SetData(const unsigned char*& in, unsigned int& rest) {
  RETURN_IF_NOT_OK(QUIRVA::Take(in, rest, *record));
  return QUIRVA::TakeArray<QUIRVA::be16>(in, rest, refViewIds, record->refViewCount & 0x3FFu);
}

HRESULT CViewEntry::GetDataSize(long long* total) const {
  RETURN_IF(total == nullptr, E_POINTER);
  *total = static_cast<long long>(sizeof *record + refViewIds.size() * sizeof(QUIRVA::be16));
  return S_OK;
}

HRESULT CViewEntry::GetData(unsigned char*& out, unsigned int& rest) const {
  RETURN_IF_NOT_OK(QUIRVA::Put(out, rest, *record));
  return QUIRVA::PutArray<QUIRVA::be16>(out, rest, refViewIds);
}

CViewIdentifierBox::~CViewIdentifierBox() { QUIRVA::DeletePointerList(entries, 0); }

void CViewIdentifierBox::Reset() {
  QUIRVA::DeletePointerList(entries, 0);
  CRecordBox::Reset();
}

HRESULT CViewIdentifierBox::SetDataImpl(const unsigned char*& in, unsigned int& rest) {
  RETURN_IF_NOT_OK(CRecordBox::SetDataImpl(in, rest));
  for (unsigned int views = record->numViews; views > 0; --views) {
    entries.push_back(nullptr);
    entries.back() = new CViewEntry;
    RETURN_IF_NOT_OK(entries.back()->SetData(in, rest));
  }
  return S_OK;
}

HRESULT CViewIdentifierBox::GetDataSizeImpl(long long* total) const {
  RETURN_IF_NOT_OK(CRecordBox::GetDataSizeImpl(total));
  for (const CViewEntry* entry : entries) {
    RETURN_IF(entry == nullptr, E_POINTER);
    long long entrySize = 0;
    RETURN_IF_NOT_OK(entry->GetDataSize(&entrySize));
    *total += entrySize;
  }
  return S_OK;
}

HRESULT CViewIdentifierBox::GetDataImpl(unsigned char*& out, unsigned int& rest) const {
  RETURN_IF_NOT_OK(CRecordBox::GetDataImpl(out, rest));
  for (const CViewEntry* entry : entries) {
    RETURN_IF(entry == nullptr, E_POINTER);
    RETURN_IF_NOT_OK(entry->GetData(out, rest));
  }
  return S_OK;
}

}  // namespace MP4G
