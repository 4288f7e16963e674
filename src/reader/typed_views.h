// Typed views of the boxes of a movie: one getter for each child that the engine asks for.
//
// A view is made as a local object for the time of a step and owns nothing. Each getter gives the
// child as its own class, or null if it is missing or of another class. A null box is allowed
// everywhere and has no children, so a chain of getters needs no checks in between.
#pragma once

#include <vector>

#include "box/base_descriptor.h"
#include "box/box.h"

namespace MP4G {

class CAudioSampleEntry;
class CAudioSpecificConfig;
class CAvcConfigurationBox;
class CAvcParameterSampleEntry;
class CAvcSampleEntry;
class CChunkLargeOffsetBox;
class CChunkOffsetBox;
class CCleanApertureBox;
class CCompactSampleSizeBox;
class CCompositionOffsetBox;
class CDataEntryUrlBox;
class CDataEntryUrnBox;
class CDataInformationBox;
class CDataReferenceBox;
class CDecoderConfigDescriptor;
class CDecoderSpecificInfo;
class CESDBox;
class CEditBox;
class CEditListBox;
class CEsDescriptor;
class CFielBox;
class CHandlerBox;
class CHintMediaHeaderBox;
class CMediaBox;
class CMediaHeaderBox;
class CMediaInformationBox;
class CMovieBox;
class CMovieHeaderBox;
class CMp4AudioSampleEntry;
class CMp4VisualSampleEntry;
class CMpeg4BitRateBox;
class CMvcConfigurationBox;
class CNullMediaHeaderBox;
class CSLConfigDescriptor;
class CSampleDependencyTypeBox;
class CSampleDescriptionBox;
class CSampleEntry;
class CSampleSizeBox;
class CSampleTableBox;
class CSampleToChunkBox;
class CSoundMediaHeaderBox;
class CSyncSampleBox;
class CTimecodeSampleDescription;
class CTimeToSampleBox;
class CTrackBox;
class CTrackHeaderBox;
class CVideoMediaHeaderBox;
class CVideoSpecificConfig;
class CViewIdentifierBox;
class CVisualSampleEntry;

// What the views share.
class CBox_wr {
 public:
  // Sets `*out` to child number `index`, from 0, among those of class type `type` (among all if it
  // is 0), or to null if there is none or it is no T. Does nothing if `out` or `parent` is null.
  template <class T>
  static void GetChildBoxT(T** out, const CBox* parent, unsigned int type, unsigned int index) {
    if (out == nullptr || parent == nullptr) return;
    *out = dynamic_cast<T*>(parent->GetChildBox(type, index));
  }

 protected:
  // The same as a value; null for a null parent.
  template <class T>
  static T* Child(const CBox* parent, unsigned int type, unsigned int index) {
    T* found = nullptr;
    GetChildBoxT(&found, parent, type, index);
    return found;
  }
};

// Tracks are known by their index among the "trak" children, from 0, or by the identifier in
// "tkhd".
class CMovieBox_wr : public CBox_wr {
 public:
  explicit CMovieBox_wr(CMovieBox* movie) : box(movie) {}
  virtual ~CMovieBox_wr() = default;

  CMovieHeaderBox* MovieHeaderBox() const;
  // The first track with that identifier, or null. A track without "tkhd" has none.
  CTrackBox* TrackBox(unsigned int id) const;
  unsigned int TrackIDtoIndex(unsigned int id) const;     // 0xFFFFFFFF if there is none
  unsigned int TrackIndexToID(unsigned int index) const;  // 0 if anything is missing
  unsigned int GetTrackNum() const;
  CSampleTableBox* SampleTableBox(unsigned int id) const;  // of the track with that identifier

  // All tracks by index, in one pass; null where a "trak" is of another class.
  std::vector<CTrackBox*> Tracks() const;
  // What TrackBox(TrackIndexToID(index)) gives for each index, in one pass: where two tracks share
  // an identifier, the first stands in both places.
  std::vector<CTrackBox*> TracksByID() const;

  CMovieBox* box;  // not owned, may be null
};

class CTrackBox_wr : public CBox_wr {
 public:
  explicit CTrackBox_wr(CTrackBox* track) : box(track) {}
  virtual ~CTrackBox_wr() = default;

  CTrackHeaderBox* TrackHeaderBox() const;
  CEditBox* EditBox() const;
  CEditListBox* EditListBox() const;
  CMediaBox* MediaBox() const;
  CMediaHeaderBox* MediaHeaderBox() const;
  CHandlerBox* HandlerBox() const;
  CMediaInformationBox* MediaInformationBox() const;
  CVideoMediaHeaderBox* VideoMediaHeaderBox() const;
  CSoundMediaHeaderBox* SoundMediaHeaderBox() const;
  CHintMediaHeaderBox* HintMediaHeaderBox() const;
  CNullMediaHeaderBox* NullMediaHeaderBox() const;
  CDataInformationBox* DataInformationBox() const;
  CDataReferenceBox* DataReferenceBox() const;
  CDataEntryUrlBox* DataEntryUrlBox() const;
  CDataEntryUrnBox* DataEntryUrnBox() const;
  CSampleTableBox* SampleTableBox() const;
  CMovieBox* MovieBox() const;  // the parent

  CTrackBox* box;  // not owned, may be null
};

class CSampleTableBox_wr : public CBox_wr {
 public:
  explicit CSampleTableBox_wr(CSampleTableBox* table) : box(table) {}
  virtual ~CSampleTableBox_wr() = default;

  CTimeToSampleBox* TimeToSampleBox() const;
  CCompositionOffsetBox* CompositionOffsetBox() const;
  CSampleDescriptionBox* SampleDescriptionBox() const;
  CSampleSizeBox* SampleSizeBox() const;
  CCompactSampleSizeBox* CompactSampleSizeBox() const;
  CSampleToChunkBox* SampleToChunkBox() const;
  CChunkOffsetBox* ChunkOffsetBox() const;
  CChunkLargeOffsetBox* ChunkLargeOffsetBox() const;
  CSyncSampleBox* SyncSampleBox() const;
  CSampleDependencyTypeBox* SampleDependencyTypeBox() const;

  // Child number `index` of "stsd", whatever its type, if it is of that class.
  CSampleEntry* SampleEntry(unsigned int index) const;
  CVisualSampleEntry* VisualSampleEntry(unsigned int index) const;
  CAudioSampleEntry* AudioSampleEntry(unsigned int index) const;

  // Number `index` among the children of "stsd" that have the type of that class.
  CMp4VisualSampleEntry* Mp4VisualSampleEntry(unsigned int index) const;
  CMp4AudioSampleEntry* Mp4AudioSampleEntry(unsigned int index) const;
  CAvcSampleEntry* AvcSampleEntry(unsigned int index) const;
  CAvcParameterSampleEntry* AvcParameterSampleEntry(unsigned int index) const;
  CTimecodeSampleDescription* TimecodeSampleDescription(unsigned int index) const;

  // The first of its type in AvcSampleEntry(index), or where that is null in
  // AvcParameterSampleEntry(index).
  CViewIdentifierBox* ViewIdentifierBox(unsigned int index) const;
  CAvcConfigurationBox* AvcConfigurationBox(unsigned int index) const;
  CMvcConfigurationBox* MvcConfigurationBox(unsigned int index) const;
  // Number `index` of its type inside AvcSampleEntry(index): entry 1 is asked for its second.
  CMpeg4BitRateBox* Mpeg4BitRateBox(unsigned int index) const;
  CCleanApertureBox* CleanApertureBox(unsigned int index) const;
  CFielBox* FielBox(unsigned int index) const;
  // Likewise inside Mp4AudioSampleEntry(index).
  CESDBox* ESDBox(unsigned int index) const;

  CSampleTableBox* box;  // not owned, may be null

 private:
  CBox* AnyAvcSampleEntry(unsigned int index) const;
};

// Views the descriptors of an "esds". All getters look among the children of the ES descriptor
// itself; those of a decoder configuration are asked of it.
class CESDBox_wr {
 public:
  explicit CESDBox_wr(CESDBox* esds) : box(esds) {}
  virtual ~CESDBox_wr() = default;

  // Sets `*out` to the first child with the low 8 bits of `tag` as its tag, or to null if there is
  // none or it is no T. Does nothing if `out` or `parent` is null.
  template <class T>
  static void GetChildDescriptorT(T** out, const CBaseDescriptor* parent, unsigned int tag) {
    if (out == nullptr || parent == nullptr) return;
    *out = dynamic_cast<T*>(parent->GetChildDescriptor(static_cast<unsigned char>(tag)));
  }

  CEsDescriptor* EsDescriptor() const;
  CDecoderConfigDescriptor* DecoderConfigDescriptor() const;
  CDecoderSpecificInfo* DecoderSpecificInfo() const;
  CVideoSpecificConfig* VideoSpecificConfig() const;
  CAudioSpecificConfig* AudioSpecificConfig() const;
  CSLConfigDescriptor* SLConfigDescriptor() const;

  CESDBox* box;  // not owned, may be null

 private:
  template <class T>
  T* Child(unsigned int tag) const;
};

}  // namespace MP4G
