#include "box/box_factory.h"

#include <algorithm>
#include <memory>
#include <span>

#include "box/data_boxes.h"
#include "box/sample_table_boxes.h"
#include "box/top_level_boxes.h"

namespace MP4G {

namespace {

struct Row {
  unsigned int type;
  CBox* (*make)();
};

template <class T>
CBox* Make() {
  return new T;
}

// Each table is sorted by type; a new box is one row.
constexpr Row kAvcTable[] = {
    {FourCc("avcC"), Make<CDataMemBox>},
    {FourCc("mvcC"), Make<CDataMemBox>},
};

constexpr Row kMp4Table[] = {
    {FourCc("esds"), Make<CDataMemBox>},
};

constexpr Row kIsomTable[] = {
    {FourCc("co64"), Make<CChunkLargeOffsetBox>},
    {FourCc("ctts"), Make<CCompositionOffsetBox>},
    {FourCc("free"), Make<CFreeBox>},
    {FourCc("ftyp"), Make<CFileTypeBox>},
    {FourCc("mdat"), Make<CMediaDataBox>},
    {FourCc("moov"), Make<CMovieBox>},
    {FourCc("sdtp"), Make<CSampleDependencyTypeBox>},
    {FourCc("stbl"), Make<CSampleTableBox>},
    {FourCc("stco"), Make<CChunkOffsetBox>},
    {FourCc("stsc"), Make<CSampleToChunkBox>},
    {FourCc("stss"), Make<CSyncSampleBox>},
    {FourCc("stsz"), Make<CSampleSizeBox>},
    {FourCc("stts"), Make<CTimeToSampleBox>},
    {FourCc("stz2"), Make<CCompactSampleSizeBox>},
};

constexpr Row kEtcTable[] = {
    {FourCc("clap"), Make<CDataMemBox>},
};

constexpr bool IsSorted(std::span<const Row> table) {
  return std::is_sorted(table.begin(), table.end(),
                        [](const Row& a, const Row& b) { return a.type <= b.type; });
}
static_assert(IsSorted(kAvcTable) && IsSorted(kMp4Table) && IsSorted(kIsomTable) &&
              IsSorted(kEtcTable));

HRESULT Finish(std::unique_ptr<CBox> box, unsigned int type, CBox** result) {
  RETURN_IF_NOT_OK(box->Init());
  box->SetClassType(type);
  *result = box.release();
  return S_OK;
}

HRESULT CreateFrom(std::span<const Row> table, unsigned int type, CBox** box) {
  RETURN_IF(box == nullptr, E_POINTER);
  const auto row = std::lower_bound(
      table.begin(), table.end(), type,
      [](const Row& candidate, unsigned int wanted) { return candidate.type < wanted; });
  if (row == table.end() || row->type != type) return S_FALSE;
  return Finish(std::unique_ptr<CBox>(row->make()), type, box);
}

}  // namespace

HRESULT CBoxFactory::CreateAvcBox(unsigned int type, CBox** box) {
  return CreateFrom(kAvcTable, type, box);
}
HRESULT CBoxFactory::CreateMp4Box(unsigned int type, CBox** box) {
  return CreateFrom(kMp4Table, type, box);
}
HRESULT CBoxFactory::CreateIsomBox(unsigned int type, CBox** box) {
  return CreateFrom(kIsomTable, type, box);
}
HRESULT CBoxFactory::CreateEtcBox(unsigned int type, CBox** box) {
  return CreateFrom(kEtcTable, type, box);
}

HRESULT CBoxFactory::CreateSupporedBox(unsigned int type, CBox** box) {
  HRESULT result = S_FALSE;
  for (const auto create : {CreateAvcBox, CreateMp4Box, CreateIsomBox, CreateEtcBox}) {
    result = create(type, box);
    if (result <= 0) break;
  }
  return result;
}

HRESULT CBoxFactory::CreateDataMemBox(unsigned int type, CBox** box) {
  RETURN_IF(box == nullptr, E_POINTER);
  const HRESULT known = CreateSupporedBox(type, box);
  return known == S_FALSE ? Finish(std::make_unique<CDataMemBox>(), type, box) : known;
}

HRESULT CBoxFactory::CreateBoxImpl(unsigned int type, CBox** box) {
  return CreateDataMemBox(type, box);
}

}  // namespace MP4G
