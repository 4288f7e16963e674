#include "box/sample_entries.h"

namespace MP4G {

_tagSAMPLE_ENTRY _tagSAMPLE_ENTRY::New() {
  _tagSAMPLE_ENTRY record{};
  record.dataReferenceIndex = 1;
  return record;
}

_tagVISUAL_SAMPLE_ENTRY _tagVISUAL_SAMPLE_ENTRY::New() {
  _tagVISUAL_SAMPLE_ENTRY record{};
  record.horizResolution = 0x00480000;
  record.vertResolution = 0x00480000;
  record.frameCount = 1;
  record.depth = 24;
  record.preDefined3 = 0xFFFF;
  return record;
}

CAudioSampleEntry::CAudioSampleEntry() : _tagSOUND_SAMPLE_DESCRIPTION_EX{}, extension(this) {}

void CAudioSampleEntry::Reset() {
  *extension = {};
  CRecordBox::Reset();
}

HRESULT CAudioSampleEntry::SetDataImpl(const unsigned char*& in, unsigned int& rest) {
  RETURN_IF_NOT_OK(CRecordBox::SetDataImpl(in, rest));
  return HasExtension() ? QUIRVA::Take(in, rest, *extension) : S_OK;
}

HRESULT CAudioSampleEntry::GetDataSizeImpl(long long* total) const {
  RETURN_IF_NOT_OK(CRecordBox::GetDataSizeImpl(total));
  if (HasExtension()) *total += sizeof *extension;
  return S_OK;
}

HRESULT CAudioSampleEntry::GetDataImpl(unsigned char*& out, unsigned int& rest) const {
  RETURN_IF_NOT_OK(CRecordBox::GetDataImpl(out, rest));
  return HasExtension() ? QUIRVA::Put(out, rest, *extension) : S_OK;
}

}  // namespace MP4G
