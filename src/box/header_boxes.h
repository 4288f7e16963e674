// The boxes of times and presentation parameters: "mvhd", "tkhd", "mdhd" and the media headers.
//
// The first record of the three headers of times is always in the wide form of version 1, whatever
// version the box has. Every other version is 32-bit in the file, narrowed to the low 32 bits
// without a test for overflow. No version is refused and none is raised: who needs the wide form
// sets it.
#pragma once

#include <cstdint>

#include "box/box_templates.h"

namespace MP4G {

// The form that versions other than 1 have in the file.
struct _tagMOVIE_HEADER_BOX_A_VER_0 {
  QUIRVA::be32 creationTime;
  QUIRVA::be32 modificationTime;
  QUIRVA::be32 timeScale;
  QUIRVA::be32 duration;
};
static_assert(sizeof(_tagMOVIE_HEADER_BOX_A_VER_0) == 16);

// The times of "mvhd" and of "mdhd". Creation and modification in seconds since 1904, in UTC.
struct _tagMOVIE_HEADER_BOX_A_VER_1 {
  using NarrowForm = _tagMOVIE_HEADER_BOX_A_VER_0;

  std::uint64_t CreationTime() const { return creationTime; }
  std::uint64_t ModificationTime() const { return modificationTime; }
  std::uint64_t Duration() const { return duration; }
  NarrowForm Narrow() const;
  void Widen(const NarrowForm& narrow);

  QUIRVA::be64 creationTime;
  QUIRVA::be64 modificationTime;
  QUIRVA::be32 timeScale;  // units in a second
  QUIRVA::be64 duration;   // in those units
};
static_assert(sizeof(_tagMOVIE_HEADER_BOX_A_VER_1) == 28);

struct _tagMOVIE_HEADER_BOX_B {
  static _tagMOVIE_HEADER_BOX_B New();  // rate 1, volume 1, unity matrix
  // The nine values of the transformation matrix in the order of the file.
  void SetMatrix(unsigned int a, unsigned int b, unsigned int u, unsigned int c, unsigned int d,
                 unsigned int v, unsigned int x, unsigned int y, unsigned int w);

  QUIRVA::be32 rate;    // 16.16
  QUIRVA::be16 volume;  // 8.8
  QUIRVA::be16 reserved1;
  QUIRVA::be64 reserved2;
  QUIRVA::be32 matrix[9];
  QUIRVA::be32 preDefined[6];
  QUIRVA::be32 nextTrackId;
};
static_assert(sizeof(_tagMOVIE_HEADER_BOX_B) == 80);

// The form that versions other than 1 have in the file.
struct _tagTRACK_HEADER_BOX_A_VER_0 {
  QUIRVA::be32 creationTime;
  QUIRVA::be32 modificationTime;
  QUIRVA::be32 trackId;
  QUIRVA::be32 reserved;
  QUIRVA::be32 duration;
};
static_assert(sizeof(_tagTRACK_HEADER_BOX_A_VER_0) == 20);

struct _tagTRACK_HEADER_BOX_A_VER_1 {
  using NarrowForm = _tagTRACK_HEADER_BOX_A_VER_0;

  std::uint64_t CreationTime() const { return creationTime; }
  std::uint64_t ModificationTime() const { return modificationTime; }
  std::uint64_t Duration() const { return duration; }
  NarrowForm Narrow() const;  // with the reserved field 0
  void Widen(const NarrowForm& narrow);

  QUIRVA::be64 creationTime;
  QUIRVA::be64 modificationTime;
  QUIRVA::be32 trackId;
  QUIRVA::be32 reserved;  // kept by version 1 alone
  QUIRVA::be64 duration;  // in the movie's time scale
};
static_assert(sizeof(_tagTRACK_HEADER_BOX_A_VER_1) == 32);

struct _tagTRACK_HEADER_BOX_B {
  static _tagTRACK_HEADER_BOX_B New();  // unity matrix
  void SetMatrix(unsigned int a, unsigned int b, unsigned int u, unsigned int c, unsigned int d,
                 unsigned int v, unsigned int x, unsigned int y, unsigned int w);

  QUIRVA::be64 reserved1;
  QUIRVA::be16 layer;
  QUIRVA::be16 alternateGroup;
  QUIRVA::be16 volume;  // 8.8
  QUIRVA::be16 reserved2;
  QUIRVA::be32 matrix[9];
  QUIRVA::be32 width;   // 16.16
  QUIRVA::be32 height;  // 16.16
};
static_assert(sizeof(_tagTRACK_HEADER_BOX_B) == 60);

struct _tagMEDIA_HEADER_BOX_B {
  QUIRVA::be16 language;  // three letters of 5 bits
  QUIRVA::be16 preDefined;
};
static_assert(sizeof(_tagMEDIA_HEADER_BOX_B) == 4);

// Times, narrow or wide as the version says, and a record behind them.
template <class RecordA, class RecordB>
class CTimesHeaderBox : public CFullBox, public RecordA, public RecordB {
 public:
  CTimesHeaderBox();
  void Reset() override;
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override;
  [[nodiscard]] HRESULT GetDataSizeImpl(long long* total) const override;
  [[nodiscard]] HRESULT GetDataImpl(unsigned char*& out, unsigned int& rest) const override;

  RecordA* recordA;  // this object's own base parts
  RecordB* recordB;
};
extern template class CTimesHeaderBox<_tagMOVIE_HEADER_BOX_A_VER_1, _tagMOVIE_HEADER_BOX_B>;
extern template class CTimesHeaderBox<_tagTRACK_HEADER_BOX_A_VER_1, _tagTRACK_HEADER_BOX_B>;
extern template class CTimesHeaderBox<_tagMOVIE_HEADER_BOX_A_VER_1, _tagMEDIA_HEADER_BOX_B>;

// "mvhd" (ISO/IEC 14496-12, clause 8.2.2).
class CMovieHeaderBox
    : public CTimesHeaderBox<_tagMOVIE_HEADER_BOX_A_VER_1, _tagMOVIE_HEADER_BOX_B> {};

// "tkhd" (clause 8.3.2). A new one has no flag set, so the track is not enabled.
class CTrackHeaderBox
    : public CTimesHeaderBox<_tagTRACK_HEADER_BOX_A_VER_1, _tagTRACK_HEADER_BOX_B> {};

// "mdhd" (clause 8.4.2).
class CMediaHeaderBox
    : public CTimesHeaderBox<_tagMOVIE_HEADER_BOX_A_VER_1, _tagMEDIA_HEADER_BOX_B> {};

struct _tagVIDEO_MEDIA_HEADER_BOX {
  QUIRVA::be16 graphicsMode;
  QUIRVA::be16 opColor[3];
};
static_assert(sizeof(_tagVIDEO_MEDIA_HEADER_BOX) == 8);

// "vmhd" (clause 12.1.2). A new one has flags 1, which the format demands.
class CVideoMediaHeaderBox : public CRecordBox<CFullBox, _tagVIDEO_MEDIA_HEADER_BOX> {
 public:
  CVideoMediaHeaderBox();
  void Reset() override;
};

struct _tagSOUND_MEDIA_HEADER_BOX {
  QUIRVA::be16 balance;  // 8.8
  QUIRVA::be16 reserved;
};
static_assert(sizeof(_tagSOUND_MEDIA_HEADER_BOX) == 4);

// "smhd" (clause 12.2.2).
class CSoundMediaHeaderBox : public CRecordBox<CFullBox, _tagSOUND_MEDIA_HEADER_BOX> {};

struct _tagHINT_MEDIA_HEADER_BOX {
  QUIRVA::be16 maxPduSize;  // bytes of the largest packet
  QUIRVA::be16 avgPduSize;
  QUIRVA::be32 maxBitrate;  // bits per second
  QUIRVA::be32 avgBitrate;
  QUIRVA::be32 reserved;
};
static_assert(sizeof(_tagHINT_MEDIA_HEADER_BOX) == 16);

// "hmhd" (clause 12.4.2).
class CHintMediaHeaderBox : public CRecordBox<CFullBox, _tagHINT_MEDIA_HEADER_BOX> {};

}  // namespace MP4G
