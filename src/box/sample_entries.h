// The children of "stsd" (ISO/IEC 14496-12, clause 8.5.2): what kind of media a sample holds.
//
// Whether an entry parses children is decided by its class. An entry without that treats all behind
// its fixed fields as trailing bytes: they are dropped and written back as zeros.
#pragma once

#include "box/box_templates.h"

namespace MP4G {

struct _tagSAMPLE_ENTRY {
  static _tagSAMPLE_ENTRY New();

  unsigned char reserved[6];
  QUIRVA::be16 dataReferenceIndex;  // from 1, into "dref"; 1 in a new entry
};
static_assert(sizeof(_tagSAMPLE_ENTRY) == 8);

// An entry of any type, under a handler that is none of those below.
class CSampleEntry : public CRecordBox<CBox, _tagSAMPLE_ENTRY> {};

// An entry of a type that nothing knows, under handler "hint".
class CHintSampleEntry : public CSampleEntry {};

struct _tagVISUAL_SAMPLE_ENTRY {
  static _tagVISUAL_SAMPLE_ENTRY New();  // 72 dpi, one frame to a sample, 24 bits deep

  QUIRVA::be16 preDefined1;
  QUIRVA::be16 reserved1;
  QUIRVA::be32 preDefined2[3];
  QUIRVA::be16 width;
  QUIRVA::be16 height;
  QUIRVA::be32 horizResolution;  // dots per inch, 16.16
  QUIRVA::be32 vertResolution;
  QUIRVA::be32 reserved2;
  QUIRVA::be16 frameCount;
  unsigned char compressorName[32];  // the first byte is the length
  QUIRVA::be16 depth;
  QUIRVA::be16 preDefined3;
};
static_assert(sizeof(_tagVISUAL_SAMPLE_ENTRY) == 70);

// "jpeg", and any unknown type under handler "vide" (clause 12.1.3). No children.
class CVisualSampleEntry : public CRecordBox<CSampleEntry, _tagVISUAL_SAMPLE_ENTRY> {};

// "mp4v" (ISO/IEC 14496-14, clause 5.6), with children.
class CMp4VisualSampleEntry : public CParentBox<CVisualSampleEntry> {};

// "avc1" (ISO/IEC 14496-15, clause 5.4), with children.
class CAvcSampleEntry : public CParentBox<CVisualSampleEntry> {};

// "avcp" (ISO/IEC 14496-15, clause 5.4). No children.
class CAvcParameterSampleEntry : public CVisualSampleEntry {};

struct _tagAUDIO_SAMPLE_ENTRY {
  QUIRVA::be16 entryVersion;  // 1: the extension follows
  QUIRVA::be16 revision;
  QUIRVA::be32 vendor;
  QUIRVA::be16 channelCount;
  QUIRVA::be16 sampleSize;  // bits
  QUIRVA::be16 preDefined;
  QUIRVA::be16 reserved;
  QUIRVA::be32 sampleRate;  // Hz, 16.16
};
static_assert(sizeof(_tagAUDIO_SAMPLE_ENTRY) == 20);

// The QuickTime extension of a sound description of version 1.
struct _tagSOUND_SAMPLE_DESCRIPTION_EX {
  QUIRVA::be32 samplesPerPacket;
  QUIRVA::be32 bytesPerPacket;
  QUIRVA::be32 bytesPerFrame;
  QUIRVA::be32 bytesPerSample;
};
static_assert(sizeof(_tagSOUND_SAMPLE_DESCRIPTION_EX) == 16);

// "twos", "sowt", and any unknown type under handler "soun" (clause 12.2.3). No children. The
// extension is in the file exactly if the entry version is 1.
class CAudioSampleEntry : public CRecordBox<CSampleEntry, _tagAUDIO_SAMPLE_ENTRY>,
                          public _tagSOUND_SAMPLE_DESCRIPTION_EX {
 public:
  CAudioSampleEntry();
  void Reset() override;
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override;
  [[nodiscard]] HRESULT GetDataSizeImpl(long long* total) const override;
  [[nodiscard]] HRESULT GetDataImpl(unsigned char*& out, unsigned int& rest) const override;

  _tagSOUND_SAMPLE_DESCRIPTION_EX* extension;  // this object's own base part

 private:
  bool HasExtension() const { return record->entryVersion == 1; }
};

// "mp4a" (ISO/IEC 14496-14, clause 5.6), with children.
class CMp4AudioSampleEntry : public CParentBox<CAudioSampleEntry> {};

struct _tagTIMECODE_DESCRIPTION {
  QUIRVA::be32 reserved1;
  QUIRVA::be32 flags;  // bit 0: drop frame
  QUIRVA::be32 timeScale;
  QUIRVA::be32 frameDuration;    // in that time scale
  unsigned char numberOfFrames;  // frames per second, rounded
  unsigned char reserved2;
};
static_assert(sizeof(_tagTIMECODE_DESCRIPTION) == 18);

// "tmcd", the QuickTime timecode description. No children.
class CTimecodeSampleDescription : public CRecordBox<CSampleEntry, _tagTIMECODE_DESCRIPTION> {};

}  // namespace MP4G
