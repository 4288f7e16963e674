#include "reader/typed_views.h"

#include <algorithm>
#include <map>

#include "box/avc_configuration.h"
#include "box/es_descriptor_box.h"
#include "box/header_boxes.h"
#include "box/sample_entries.h"
#include "box/sample_entry_extras.h"
#include "box/sample_table_boxes.h"
#include "box/structural_boxes.h"
#include "box/top_level_boxes.h"

namespace MP4G {

CMovieHeaderBox* CMovieBox_wr::MovieHeaderBox() const {
  return Child<CMovieHeaderBox>(box, FourCc("mvhd"), 0);
}

CTrackBox* CMovieBox_wr::TrackBox(unsigned int id) const {
  for (CTrackBox* track : Tracks()) {
    const CTrackHeaderBox* header = CTrackBox_wr(track).TrackHeaderBox();
    if (header != nullptr && header->recordA->trackId == id) return track;
  }
  return nullptr;
}

unsigned int CMovieBox_wr::TrackIDtoIndex(unsigned int id) const {
  const std::vector<CTrackBox*> tracks = Tracks();
  const auto found = std::find_if(tracks.begin(), tracks.end(), [id](CTrackBox* track) {
    const CTrackHeaderBox* header = CTrackBox_wr(track).TrackHeaderBox();
    return header != nullptr && header->recordA->trackId == id;
  });
  return found != tracks.end() ? static_cast<unsigned int>(found - tracks.begin()) : 0xFFFFFFFF;
}

unsigned int CMovieBox_wr::TrackIndexToID(unsigned int index) const {
  const CTrackBox_wr track(Child<CTrackBox>(box, FourCc("trak"), index));
  const CTrackHeaderBox* header = track.TrackHeaderBox();
  return header != nullptr ? static_cast<unsigned int>(header->recordA->trackId) : 0;
}

unsigned int CMovieBox_wr::GetTrackNum() const {
  return box != nullptr ? box->GetChildBoxNum(FourCc("trak")) : 0;
}

CSampleTableBox* CMovieBox_wr::SampleTableBox(unsigned int id) const {
  return CTrackBox_wr(TrackBox(id)).SampleTableBox();
}

std::vector<CTrackBox*> CMovieBox_wr::Tracks() const {
  std::vector<CTrackBox*> tracks;
  if (box == nullptr) return tracks;
  for (CBox* child : box->children) {
    if (child != nullptr && child->GetClassType() == FourCc("trak"))
      tracks.push_back(dynamic_cast<CTrackBox*>(child));
  }
  return tracks;
}

std::vector<CTrackBox*> CMovieBox_wr::TracksByID() const {
  std::vector<CTrackBox*> tracks = Tracks();
  std::vector<unsigned int> ids;
  std::map<unsigned int, CTrackBox*> firstWithID;
  for (CTrackBox* track : tracks) {
    const CTrackHeaderBox* header = CTrackBox_wr(track).TrackHeaderBox();
    ids.push_back(header != nullptr ? static_cast<unsigned int>(header->recordA->trackId) : 0);
    if (header != nullptr) firstWithID.try_emplace(ids.back(), track);
  }
  std::transform(ids.begin(), ids.end(), tracks.begin(), [&firstWithID](unsigned int id) {
    const auto found = firstWithID.find(id);
    return found != firstWithID.end() ? found->second : nullptr;
  });
  return tracks;
}

CTrackHeaderBox* CTrackBox_wr::TrackHeaderBox() const {
  return Child<CTrackHeaderBox>(box, FourCc("tkhd"), 0);
}
CEditBox* CTrackBox_wr::EditBox() const { return Child<CEditBox>(box, FourCc("edts"), 0); }
CEditListBox* CTrackBox_wr::EditListBox() const {
  return Child<CEditListBox>(EditBox(), FourCc("elst"), 0);
}
CMediaBox* CTrackBox_wr::MediaBox() const { return Child<CMediaBox>(box, FourCc("mdia"), 0); }
CMediaHeaderBox* CTrackBox_wr::MediaHeaderBox() const {
  return Child<CMediaHeaderBox>(MediaBox(), FourCc("mdhd"), 0);
}
CHandlerBox* CTrackBox_wr::HandlerBox() const {
  return Child<CHandlerBox>(MediaBox(), FourCc("hdlr"), 0);
}
CMediaInformationBox* CTrackBox_wr::MediaInformationBox() const {
  return Child<CMediaInformationBox>(MediaBox(), FourCc("minf"), 0);
}
CVideoMediaHeaderBox* CTrackBox_wr::VideoMediaHeaderBox() const {
  return Child<CVideoMediaHeaderBox>(MediaInformationBox(), FourCc("vmhd"), 0);
}
CSoundMediaHeaderBox* CTrackBox_wr::SoundMediaHeaderBox() const {
  return Child<CSoundMediaHeaderBox>(MediaInformationBox(), FourCc("smhd"), 0);
}
CHintMediaHeaderBox* CTrackBox_wr::HintMediaHeaderBox() const {
  return Child<CHintMediaHeaderBox>(MediaInformationBox(), FourCc("hmhd"), 0);
}
CNullMediaHeaderBox* CTrackBox_wr::NullMediaHeaderBox() const {
  return Child<CNullMediaHeaderBox>(MediaInformationBox(), FourCc("nmhd"), 0);
}
CDataInformationBox* CTrackBox_wr::DataInformationBox() const {
  return Child<CDataInformationBox>(MediaInformationBox(), FourCc("dinf"), 0);
}
CDataReferenceBox* CTrackBox_wr::DataReferenceBox() const {
  return Child<CDataReferenceBox>(DataInformationBox(), FourCc("dref"), 0);
}
CDataEntryUrlBox* CTrackBox_wr::DataEntryUrlBox() const {
  return Child<CDataEntryUrlBox>(DataReferenceBox(), FourCc("url "), 0);
}
CDataEntryUrnBox* CTrackBox_wr::DataEntryUrnBox() const {
  return Child<CDataEntryUrnBox>(DataReferenceBox(), FourCc("urn "), 0);
}
CSampleTableBox* CTrackBox_wr::SampleTableBox() const {
  return Child<CSampleTableBox>(MediaInformationBox(), FourCc("stbl"), 0);
}
CMovieBox* CTrackBox_wr::MovieBox() const {
  return box != nullptr ? dynamic_cast<CMovieBox*>(box->parent) : nullptr;
}

CTimeToSampleBox* CSampleTableBox_wr::TimeToSampleBox() const {
  return Child<CTimeToSampleBox>(box, FourCc("stts"), 0);
}
CCompositionOffsetBox* CSampleTableBox_wr::CompositionOffsetBox() const {
  return Child<CCompositionOffsetBox>(box, FourCc("ctts"), 0);
}
CSampleDescriptionBox* CSampleTableBox_wr::SampleDescriptionBox() const {
  return Child<CSampleDescriptionBox>(box, FourCc("stsd"), 0);
}
CSampleSizeBox* CSampleTableBox_wr::SampleSizeBox() const {
  return Child<CSampleSizeBox>(box, FourCc("stsz"), 0);
}
CCompactSampleSizeBox* CSampleTableBox_wr::CompactSampleSizeBox() const {
  return Child<CCompactSampleSizeBox>(box, FourCc("stz2"), 0);
}
CSampleToChunkBox* CSampleTableBox_wr::SampleToChunkBox() const {
  return Child<CSampleToChunkBox>(box, FourCc("stsc"), 0);
}
CChunkOffsetBox* CSampleTableBox_wr::ChunkOffsetBox() const {
  return Child<CChunkOffsetBox>(box, FourCc("stco"), 0);
}
CChunkLargeOffsetBox* CSampleTableBox_wr::ChunkLargeOffsetBox() const {
  return Child<CChunkLargeOffsetBox>(box, FourCc("co64"), 0);
}
CSyncSampleBox* CSampleTableBox_wr::SyncSampleBox() const {
  return Child<CSyncSampleBox>(box, FourCc("stss"), 0);
}
CSampleDependencyTypeBox* CSampleTableBox_wr::SampleDependencyTypeBox() const {
  return Child<CSampleDependencyTypeBox>(box, FourCc("sdtp"), 0);
}

CSampleEntry* CSampleTableBox_wr::SampleEntry(unsigned int index) const {
  return Child<CSampleEntry>(SampleDescriptionBox(), 0, index);
}
CVisualSampleEntry* CSampleTableBox_wr::VisualSampleEntry(unsigned int index) const {
  return Child<CVisualSampleEntry>(SampleDescriptionBox(), 0, index);
}
CAudioSampleEntry* CSampleTableBox_wr::AudioSampleEntry(unsigned int index) const {
  return Child<CAudioSampleEntry>(SampleDescriptionBox(), 0, index);
}
CMp4VisualSampleEntry* CSampleTableBox_wr::Mp4VisualSampleEntry(unsigned int index) const {
  return Child<CMp4VisualSampleEntry>(SampleDescriptionBox(), FourCc("mp4v"), index);
}
CMp4AudioSampleEntry* CSampleTableBox_wr::Mp4AudioSampleEntry(unsigned int index) const {
  return Child<CMp4AudioSampleEntry>(SampleDescriptionBox(), FourCc("mp4a"), index);
}
CAvcSampleEntry* CSampleTableBox_wr::AvcSampleEntry(unsigned int index) const {
  return Child<CAvcSampleEntry>(SampleDescriptionBox(), FourCc("avc1"), index);
}
CAvcParameterSampleEntry* CSampleTableBox_wr::AvcParameterSampleEntry(unsigned int index) const {
  return Child<CAvcParameterSampleEntry>(SampleDescriptionBox(), FourCc("avcp"), index);
}
CTimecodeSampleDescription* CSampleTableBox_wr::TimecodeSampleDescription(
    unsigned int index) const {
  return Child<CTimecodeSampleDescription>(SampleDescriptionBox(), FourCc("tmcd"), index);
}

CBox* CSampleTableBox_wr::AnyAvcSampleEntry(unsigned int index) const {
  CBox* entry = AvcSampleEntry(index);
  return entry != nullptr ? entry : AvcParameterSampleEntry(index);
}
CViewIdentifierBox* CSampleTableBox_wr::ViewIdentifierBox(unsigned int index) const {
  return Child<CViewIdentifierBox>(AnyAvcSampleEntry(index), FourCc("vwid"), 0);
}
CAvcConfigurationBox* CSampleTableBox_wr::AvcConfigurationBox(unsigned int index) const {
  return Child<CAvcConfigurationBox>(AnyAvcSampleEntry(index), FourCc("avcC"), 0);
}
CMvcConfigurationBox* CSampleTableBox_wr::MvcConfigurationBox(unsigned int index) const {
  return Child<CMvcConfigurationBox>(AnyAvcSampleEntry(index), FourCc("mvcC"), 0);
}
CMpeg4BitRateBox* CSampleTableBox_wr::Mpeg4BitRateBox(unsigned int index) const {
  return Child<CMpeg4BitRateBox>(AvcSampleEntry(index), FourCc("btrt"), index);
}
CCleanApertureBox* CSampleTableBox_wr::CleanApertureBox(unsigned int index) const {
  return Child<CCleanApertureBox>(AvcSampleEntry(index), FourCc("clap"), index);
}
CFielBox* CSampleTableBox_wr::FielBox(unsigned int index) const {
  return Child<CFielBox>(AvcSampleEntry(index), FourCc("fiel"), index);
}
CESDBox* CSampleTableBox_wr::ESDBox(unsigned int index) const {
  return Child<CESDBox>(Mp4AudioSampleEntry(index), FourCc("esds"), index);
}

template <class T>
T* CESDBox_wr::Child(unsigned int tag) const {
  T* found = nullptr;
  GetChildDescriptorT(&found, EsDescriptor(), tag);
  return found;
}
CEsDescriptor* CESDBox_wr::EsDescriptor() const {
  return box != nullptr ? box->descriptor.get() : nullptr;
}
CDecoderConfigDescriptor* CESDBox_wr::DecoderConfigDescriptor() const {
  return Child<CDecoderConfigDescriptor>(kDecoderConfigDescriptorTag);
}
CDecoderSpecificInfo* CESDBox_wr::DecoderSpecificInfo() const {
  return Child<CDecoderSpecificInfo>(kDecoderSpecificInfoTag);
}
CVideoSpecificConfig* CESDBox_wr::VideoSpecificConfig() const {
  return dynamic_cast<CVideoSpecificConfig*>(DecoderSpecificInfo());
}
CAudioSpecificConfig* CESDBox_wr::AudioSpecificConfig() const {
  return dynamic_cast<CAudioSpecificConfig*>(DecoderSpecificInfo());
}
CSLConfigDescriptor* CESDBox_wr::SLConfigDescriptor() const {
  return Child<CSLConfigDescriptor>(kSlConfigDescriptorTag);
}

}  // namespace MP4G
