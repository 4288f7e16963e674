#include "box/box_factory.h"

#include <algorithm>
#include <memory>
#include <span>

#include "box/avc_configuration.h"
#include "box/data_boxes.h"
#include "box/es_descriptor_box.h"
#include "box/fragment_boxes.h"
#include "box/header_boxes.h"
#include "box/sample_entries.h"
#include "box/sample_entry_extras.h"
#include "box/sample_table_boxes.h"
#include "box/structural_boxes.h"
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
    {FourCc("avc1"), Make<CAvcSampleEntry>},          {FourCc("avcC"), Make<CAvcConfigurationBox>},
    {FourCc("avcp"), Make<CAvcParameterSampleEntry>}, {FourCc("btrt"), Make<CMpeg4BitRateBox>},
    {FourCc("mvcC"), Make<CMvcConfigurationBox>},     {FourCc("vwid"), Make<CViewIdentifierBox>},
};

constexpr Row kMp4Table[] = {
    {FourCc("esds"), Make<CESDBox>},
    {FourCc("mp4a"), Make<CMp4AudioSampleEntry>},
    {FourCc("mp4v"), Make<CMp4VisualSampleEntry>},
};

constexpr Row kIsomTable[] = {
    {FourCc("co64"), Make<CChunkLargeOffsetBox>},
    {FourCc("ctts"), Make<CCompositionOffsetBox>},
    {FourCc("dinf"), Make<CDataInformationBox>},
    {FourCc("dref"), Make<CDataReferenceBox>},
    {FourCc("edts"), Make<CEditBox>},
    {FourCc("elst"), Make<CEditListBox>},
    {FourCc("free"), Make<CFreeBox>},
    {FourCc("ftyp"), Make<CFileTypeBox>},
    {FourCc("hdlr"), Make<CHandlerBox>},
    {FourCc("hmhd"), Make<CHintMediaHeaderBox>},
    {FourCc("jpeg"), Make<CVisualSampleEntry>},
    {FourCc("mdat"), Make<CMediaDataBox>},
    {FourCc("mdhd"), Make<CMediaHeaderBox>},
    {FourCc("mdia"), Make<CMediaBox>},
    {FourCc("mehd"), Make<CMovieExtendsHeaderBox>},
    {FourCc("mfhd"), Make<CMovieFragmentHeaderBox>},
    {FourCc("mfra"), Make<CMovieFragmentRandomAccessBox>},
    {FourCc("mfro"), Make<CMovieFragmentRandomAccessOffsetBox>},
    {FourCc("minf"), Make<CMediaInformationBox>},
    {FourCc("moof"), Make<CMovieFragmentBox>},
    {FourCc("moov"), Make<CMovieBox>},
    {FourCc("mvex"), Make<CMovieExtendsBox>},
    {FourCc("mvhd"), Make<CMovieHeaderBox>},
    {FourCc("nmhd"), Make<CNullMediaHeaderBox>},
    {FourCc("sdtp"), Make<CSampleDependencyTypeBox>},
    {FourCc("smhd"), Make<CSoundMediaHeaderBox>},
    {FourCc("stbl"), Make<CSampleTableBox>},
    {FourCc("stco"), Make<CChunkOffsetBox>},
    {FourCc("stsc"), Make<CSampleToChunkBox>},
    {FourCc("stsd"), Make<CSampleDescriptionBox>},
    {FourCc("stss"), Make<CSyncSampleBox>},
    {FourCc("stsz"), Make<CSampleSizeBox>},
    {FourCc("stts"), Make<CTimeToSampleBox>},
    {FourCc("stz2"), Make<CCompactSampleSizeBox>},
    {FourCc("tfhd"), Make<CTrackFragmentHeaderBox>},
    {FourCc("tfra"), Make<CTrackFragmentRandomAccessBox>},
    {FourCc("tkhd"), Make<CTrackHeaderBox>},
    {FourCc("traf"), Make<CTrackFragmentBox>},
    {FourCc("trak"), Make<CTrackBox>},
    {FourCc("tref"), Make<CTrackReferenceBox>},
    {FourCc("trex"), Make<CTrackExtendsBox>},
    {FourCc("trun"), Make<CTrackRunBox>},
    {FourCc("url "), Make<CDataEntryUrlBox>},
    {FourCc("urn "), Make<CDataEntryUrnBox>},
    {FourCc("vmhd"), Make<CVideoMediaHeaderBox>},
};

constexpr Row kEtcTable[] = {
    {FourCc("clap"), Make<CCleanApertureBox>},
    {FourCc("fiel"), Make<CFielBox>},
    {FourCc("pasp"), Make<CAspectRatioBox>},
    {FourCc("sowt"), Make<CAudioSampleEntry>},
    {FourCc("tmcd"), Make<CTimecodeSampleDescription>},
    {FourCc("twos"), Make<CAudioSampleEntry>},
};

constexpr bool IsSorted(std::span<const Row> table) {
  return std::adjacent_find(table.begin(), table.end(), [](const Row& a, const Row& b) {
           return a.type >= b.type;
         }) == table.end();
}
static_assert(
    IsSorted(kAvcTable) && IsSorted(kMp4Table) && IsSorted(kIsomTable) && IsSorted(kEtcTable),
    "each table is sorted by type, and has each type once: move the new row to its place");

HRESULT Finish(std::unique_ptr<CBox> box, unsigned int type, CBox** result) {
  RETURN_IF_NOT_OK(box->Init());
  box->SetClassType(type);
  *result = box.release();
  return S_OK;
}

template <class Descriptor>
HRESULT FinishDescriptor(std::unique_ptr<Descriptor> descriptor, unsigned char tag,
                         Descriptor** result) {
  RETURN_IF_NOT_OK(descriptor->Init());
  descriptor->tag = tag;
  *result = descriptor.release();
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

std::vector<unsigned int> CBoxFactory::KnownTypes() {
  std::vector<unsigned int> types;
  for (const std::span<const Row> table :
       {std::span<const Row>(kAvcTable), std::span<const Row>(kMp4Table),
        std::span<const Row>(kIsomTable), std::span<const Row>(kEtcTable)}) {
    for (const Row& row : table) types.push_back(row.type);
  }
  return types;
}

HRESULT CBoxFactory::CreateDataMemBox(unsigned int type, CBox** box) {
  RETURN_IF(box == nullptr, E_POINTER);
  const HRESULT known = CreateSupporedBox(type, box);
  return known == S_FALSE ? Finish(std::make_unique<CDataMemBox>(), type, box) : known;
}

HRESULT CBoxFactory::CreateBoxImpl(unsigned int type, CBox** box) {
  return CreateDataMemBox(type, box);
}

HRESULT CBoxFactory::CreateSampleEntryImpl(unsigned int type, unsigned int handlerType,
                                           CBox** box) {
  RETURN_IF(box == nullptr, E_POINTER);
  const HRESULT known = CreateSupporedBox(type, box);
  if (known != S_FALSE) return known;
  std::unique_ptr<CBox> entry;
  switch (handlerType) {
    case FourCc("hint"):
      entry = std::make_unique<CHintSampleEntry>();
      break;
    case FourCc("soun"):
      entry = std::make_unique<CAudioSampleEntry>();
      break;
    case FourCc("vide"):
      entry = std::make_unique<CVisualSampleEntry>();
      break;
    default:
      entry = std::make_unique<CSampleEntry>();
  }
  // No class type: an entry of an unknown type is found by its place alone.
  return Finish(std::move(entry), 0, box);
}

HRESULT CBoxFactory::CreateTrackReferenceTypeBoxImpl(unsigned int type, CBox** box) {
  RETURN_IF(box == nullptr, E_POINTER);
  return Finish(std::make_unique<CTrackReferenceTypeBox>(), type, box);
}

HRESULT CBoxFactory::CreateDescriptorImpl(unsigned char tag, CBaseDescriptor** descriptor) {
  RETURN_IF(descriptor == nullptr, E_POINTER);
  std::unique_ptr<CBaseDescriptor> made;
  switch (tag) {
    case kEsDescriptorTag:
      made = std::make_unique<CEsDescriptor>();
      break;
    case kDecoderConfigDescriptorTag:
      made = std::make_unique<CDecoderConfigDescriptor>();
      break;
    case kDecoderSpecificInfoTag:
      made = std::make_unique<CDecoderSpecificInfo>();
      break;
    case kSlConfigDescriptorTag:
      made = std::make_unique<CSLConfigDescriptor>();
      break;
    default:
      made = std::make_unique<CUnknownDescriptor>();
  }
  return FinishDescriptor(std::move(made), tag, descriptor);
}

HRESULT CBoxFactory::CreateSpecificInfoImpl(unsigned char objectType, CDecoderSpecificInfo** info) {
  RETURN_IF(info == nullptr, E_POINTER);
  std::unique_ptr<CDecoderSpecificInfo> made;
  switch (objectType) {
    case kVisualObjectType:
      made = std::make_unique<CVideoSpecificConfig>();
      break;
    case kAudioObjectType:
      made = std::make_unique<CAudioSpecificConfig>();
      break;
    default:
      made = std::make_unique<CDecoderSpecificInfo>();
  }
  return FinishDescriptor(std::move(made), kDecoderSpecificInfoTag, info);
}

}  // namespace MP4G
