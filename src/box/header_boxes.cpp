#include "box/header_boxes.h"

namespace MP4G {

namespace {

template <class Record>
void SetUnityMatrix(Record& record) {
  record.SetMatrix(0x10000, 0, 0, 0, 0x10000, 0, 0, 0, 0x40000000);
}

void StoreMatrix(QUIRVA::be32 (&matrix)[9], const unsigned int (&values)[9]) {
  for (int i = 0; i < 9; ++i) matrix[i] = values[i];
}

std::uint32_t Low32(std::uint64_t value) { return static_cast<std::uint32_t>(value); }

}  // namespace

_tagMOVIE_HEADER_BOX_A_VER_0 _tagMOVIE_HEADER_BOX_A_VER_1::Narrow() const {
  _tagMOVIE_HEADER_BOX_A_VER_0 narrow;
  narrow.creationTime = Low32(creationTime);
  narrow.modificationTime = Low32(modificationTime);
  narrow.timeScale = timeScale;
  narrow.duration = Low32(duration);
  return narrow;
}

void _tagMOVIE_HEADER_BOX_A_VER_1::Widen(const _tagMOVIE_HEADER_BOX_A_VER_0& narrow) {
  creationTime = narrow.creationTime;
  modificationTime = narrow.modificationTime;
  timeScale = narrow.timeScale;
  duration = narrow.duration;
}

_tagTRACK_HEADER_BOX_A_VER_0 _tagTRACK_HEADER_BOX_A_VER_1::Narrow() const {
  _tagTRACK_HEADER_BOX_A_VER_0 narrow;
  narrow.creationTime = Low32(creationTime);
  narrow.modificationTime = Low32(modificationTime);
  narrow.trackId = trackId;
  narrow.reserved = 0;
  narrow.duration = Low32(duration);
  return narrow;
}

void _tagTRACK_HEADER_BOX_A_VER_1::Widen(const _tagTRACK_HEADER_BOX_A_VER_0& narrow) {
  creationTime = narrow.creationTime;
  modificationTime = narrow.modificationTime;
  trackId = narrow.trackId;
  duration = narrow.duration;
}

_tagMOVIE_HEADER_BOX_B _tagMOVIE_HEADER_BOX_B::New() {
  _tagMOVIE_HEADER_BOX_B record{};
  record.rate = 0x00010000;
  record.volume = 0x0100;
  SetUnityMatrix(record);
  return record;
}

void _tagMOVIE_HEADER_BOX_B::SetMatrix(unsigned int a, unsigned int b, unsigned int u,
                                       unsigned int c, unsigned int d, unsigned int v,
                                       unsigned int x, unsigned int y, unsigned int w) {
  StoreMatrix(matrix, {a, b, u, c, d, v, x, y, w});
}

_tagTRACK_HEADER_BOX_B _tagTRACK_HEADER_BOX_B::New() {
  _tagTRACK_HEADER_BOX_B record{};
  SetUnityMatrix(record);
  return record;
}

void _tagTRACK_HEADER_BOX_B::SetMatrix(unsigned int a, unsigned int b, unsigned int u,
                                       unsigned int c, unsigned int d, unsigned int v,
                                       unsigned int x, unsigned int y, unsigned int w) {
  StoreMatrix(matrix, {a, b, u, c, d, v, x, y, w});
}

template <class RecordA, class RecordB>
CTimesHeaderBox<RecordA, RecordB>::CTimesHeaderBox()
    : RecordA{}, RecordB(NewRecord<RecordB>()), recordA(this), recordB(this) {}

template <class RecordA, class RecordB>
void CTimesHeaderBox<RecordA, RecordB>::Reset() {
  *recordA = {};
  *recordB = NewRecord<RecordB>();
  CFullBox::Reset();
}

template <class RecordA, class RecordB>
HRESULT CTimesHeaderBox<RecordA, RecordB>::SetDataImpl(const unsigned char*& in,
                                                       unsigned int& rest) {
  RETURN_IF_NOT_OK(CFullBox::SetDataImpl(in, rest));
  if (fullHeader->version == 1) {
    RETURN_IF_NOT_OK(QUIRVA::Take(in, rest, *recordA));
  } else {
    typename RecordA::NarrowForm narrow;
    RETURN_IF_NOT_OK(QUIRVA::Take(in, rest, narrow));
    recordA->Widen(narrow);
  }
  return QUIRVA::Take(in, rest, *recordB);
}

template <class RecordA, class RecordB>
HRESULT CTimesHeaderBox<RecordA, RecordB>::GetDataSizeImpl(long long* total) const {
  RETURN_IF_NOT_OK(CFullBox::GetDataSizeImpl(total));
  const std::size_t times =
      fullHeader->version == 1 ? sizeof *recordA : sizeof(typename RecordA::NarrowForm);
  *total += static_cast<long long>(times + sizeof *recordB);
  return S_OK;
}

template <class RecordA, class RecordB>
HRESULT CTimesHeaderBox<RecordA, RecordB>::GetDataImpl(unsigned char*& out,
                                                       unsigned int& rest) const {
  RETURN_IF_NOT_OK(CFullBox::GetDataImpl(out, rest));
  RETURN_IF_NOT_OK(fullHeader->version == 1 ? QUIRVA::Put(out, rest, *recordA)
                                            : QUIRVA::Put(out, rest, recordA->Narrow()));
  return QUIRVA::Put(out, rest, *recordB);
}

template class CTimesHeaderBox<_tagMOVIE_HEADER_BOX_A_VER_1, _tagMOVIE_HEADER_BOX_B>;
template class CTimesHeaderBox<_tagTRACK_HEADER_BOX_A_VER_1, _tagTRACK_HEADER_BOX_B>;
template class CTimesHeaderBox<_tagMOVIE_HEADER_BOX_A_VER_1, _tagMEDIA_HEADER_BOX_B>;

CVideoMediaHeaderBox::CVideoMediaHeaderBox() { fullHeader->flags = 1; }

void CVideoMediaHeaderBox::Reset() {
  CRecordBox::Reset();
  fullHeader->flags = 1;
}

}  // namespace MP4G
