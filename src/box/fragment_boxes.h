// The boxes of fragmented files (ISO/IEC 14496-12, clause 8.8). A merge looks into "mvex" alone:
// "moof", "traf" and "mfra" are headers whose bodies are skipped and written back as zeros. The
// boxes below them are complete all the same.
#pragma once

#include <cstdint>
#include <vector>

#include "box/box.h"
#include "box/box_templates.h"

namespace MP4G {

// "mvex" (clause 8.8.1): says that the file may have fragments.
class CMovieExtendsBox : public CListBox {};

// "mehd" (clause 8.8.2).
class CMovieExtendsHeaderBox : public CFullBox {
 public:
  void Reset() override;
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override;
  // Chooses the version that the duration needs: 1 beyond 32 bits, else 0.
  [[nodiscard]] HRESULT FixParamImpl() override;
  [[nodiscard]] HRESULT GetDataSizeImpl(long long* total) const override;
  [[nodiscard]] HRESULT GetDataImpl(unsigned char*& out, unsigned int& rest) const override;

  std::uint64_t fragmentDuration = 0;  // of the whole file with its fragments, in movie time scale
};

struct _tagTRACK_EXTENDS_BOX {
  QUIRVA::be32 trackId;
  QUIRVA::be32 defaultSampleDescriptionIndex;
  QUIRVA::be32 defaultSampleDuration;
  QUIRVA::be32 defaultSampleSize;
  QUIRVA::be32 defaultSampleFlags;
};
static_assert(sizeof(_tagTRACK_EXTENDS_BOX) == 20);

// "trex" (clause 8.8.3): the defaults of a track's fragments.
class CTrackExtendsBox : public CRecordBox<CFullBox, _tagTRACK_EXTENDS_BOX> {};

// "moof" (clause 8.8.4), the header alone.
class CMovieFragmentBox : public CBox {};

struct _tagMOVIE_FRAGMENT_HEADER_BOX {
  QUIRVA::be32 sequenceNumber;
};
static_assert(sizeof(_tagMOVIE_FRAGMENT_HEADER_BOX) == 4);

// "mfhd" (clause 8.8.5).
class CMovieFragmentHeaderBox : public CRecordBox<CFullBox, _tagMOVIE_FRAGMENT_HEADER_BOX> {};

// "traf" (clause 8.8.6), the header alone.
class CTrackFragmentBox : public CBox {};

// In the file a field behind `trackId` is there only if its flag is set.
struct _tagTRACK_FRAGMENT_HEADER_BOX {
  QUIRVA::be32 trackId;
  QUIRVA::be64 baseDataOffset;
  QUIRVA::be32 sampleDescriptionIndex;
  QUIRVA::be32 defaultSampleDuration;
  QUIRVA::be32 defaultSampleSize;
  QUIRVA::be32 defaultSampleFlags;

  std::uint64_t BaseDataOffset() const { return baseDataOffset; }
};
static_assert(sizeof(_tagTRACK_FRAGMENT_HEADER_BOX) == 28);

// "tfhd" (clause 8.8.7).
//
// A query gives the flag's bit, or 0. A setter called with 1 sets the bit; with any other argument
// it toggles it, so that 0 on a clear bit sets it.
class CTrackFragmentHeaderBox : public CFullBox, public _tagTRACK_FRAGMENT_HEADER_BOX {
 public:
  CTrackFragmentHeaderBox();
  void Reset() override;
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override;
  // Rebuilds the flags: one for each field that is not 0, the default sample flags' as it was, and
  // nothing above the low byte.
  [[nodiscard]] HRESULT FixParamImpl() override;
  [[nodiscard]] HRESULT GetDataSizeImpl(long long* total) const override;
  [[nodiscard]] HRESULT GetDataImpl(unsigned char*& out, unsigned int& rest) const override;

  unsigned int BaseDataOffsetPresent() const;
  void SetBaseDataOffsetPresentFlag(signed char set);
  unsigned int SampleDescriptionIndexPresent() const;
  void SetSampleDescriptionIndexPresentFlag(signed char set);
  unsigned int DefaultSampleDurationPresent() const;
  void SetDefaultSampleDurationPresentFlag(signed char set);
  unsigned int DefaultSampleSizePresent() const;
  void SetDefaultSampleSizePresentFlag(signed char set);
  unsigned int DefaultSampleFlagsPresent() const;
  void SetDefaultSampleFlagsPresentFlag(signed char set);
  unsigned int DurationIsEmpty() const;  // always 0
  void SetDurationIsEmptyFlag(signed char set);

  _tagTRACK_FRAGMENT_HEADER_BOX* record;  // this object's own base part

 private:
  template <class Box, class Visit>
  [[nodiscard]] static HRESULT VisitFields(Box& box, Visit visit);
};

// In the file a field behind `sampleCount` is there only if its flag is set.
struct _tagTRACK_RUN_BOX {
  QUIRVA::be32 sampleCount;
  QUIRVA::be32 dataOffset;
  QUIRVA::be32 firstSampleFlags;
};
static_assert(sizeof(_tagTRACK_RUN_BOX) == 12);

// "trun" (clause 8.8.8). The fields of the single samples are not interpreted: their bytes are
// skipped, written back as zeros, and the queries for their flags give 0. Queries and setters are
// otherwise as in "tfhd".
class CTrackRunBox : public CFullBox, public _tagTRACK_RUN_BOX {
 public:
  CTrackRunBox();
  void Reset() override;
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override;
  [[nodiscard]] HRESULT FixParamImpl() override;
  [[nodiscard]] HRESULT GetDataSizeImpl(long long* total) const override;
  [[nodiscard]] HRESULT GetDataImpl(unsigned char*& out, unsigned int& rest) const override;

  unsigned int DataOffsetPresent() const;
  void SetDataOffsetPresentFlag(signed char set);
  unsigned int FirstSampleFlagsPresent() const;
  void SetFirstSampleFlagsPresentFlag(signed char set);
  unsigned int SampleDurationPresent() const;  // always 0, as the three below
  void SetSampleDurationPresentFlag(signed char set);
  unsigned int SampleSizePresent() const;
  void SetSampleSizePresentFlag(signed char set);
  unsigned int SampleFlagsPresent() const;
  void SetSampleFlagsPresentFlag(signed char set);
  unsigned int SampleCompositionTimeOffsetsPresent() const;
  void SetSampleCompositionTimeOffsetsPresentFlag(signed char set);

  _tagTRACK_RUN_BOX* record;  // this object's own base part
  // How many samples have an entry. The entries carry nothing, and a file may claim any number of
  // them without a byte behind it, so the number is all that is kept.
  std::uint64_t sampleEntries = 0;

 private:
  template <class Box, class Visit>
  [[nodiscard]] static HRESULT VisitFields(Box& box, Visit visit);
};

// "mfra" (clause 8.8.9), the header alone.
class CMovieFragmentRandomAccessBox : public CBox {};

struct _tagTRACK_FRAGMENT_RANDOM_ACCESS_BOX {
  QUIRVA::be32 trackId;
  unsigned char reserved[3];
  unsigned char numberLengths;  // see the accessors
  QUIRVA::be32 numberOfEntries;

  // Bytes of an entry's numbers, 1 to 4.
  unsigned int TrafNumberLength() const { return (numberLengths >> 4 & 3u) + 1; }
  unsigned int TrunNumberLength() const { return (numberLengths >> 2 & 3u) + 1; }
  unsigned int SampleNumberLength() const { return (numberLengths & 3u) + 1; }
};
static_assert(sizeof(_tagTRACK_FRAGMENT_RANDOM_ACCESS_BOX) == 12);

// Where a sync sample is found (clause 8.8.10).
struct CRandomAccessEntry {
  std::uint64_t time = 0;        // in the track's media time scale
  std::uint64_t moofOffset = 0;  // from the start of the file
  std::uint32_t trafNumber = 0;  // from 1, as the two below
  std::uint32_t trunNumber = 0;
  std::uint32_t sampleNumber = 0;
};

// "tfra" (clause 8.8.10).
//
// Reads one entry less than the file's number; the last one is skipped. The size that it reports
// leaves out the 12 bytes of the record, which are written all the same: GetData of a box that went
// through FixParam ends in E_BAD_DATA, or in S_FALSE where the buffer is too short.
class CTrackFragmentRandomAccessBox
    : public CRecordBox<CFullBox, _tagTRACK_FRAGMENT_RANDOM_ACCESS_BOX> {
 public:
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override;
  // Sets the number of entries, and version 1 where an entry needs it; never back to 0.
  [[nodiscard]] HRESULT FixParamImpl() override;
  [[nodiscard]] HRESULT GetDataSizeImpl(long long* total) const override;
  [[nodiscard]] HRESULT GetDataImpl(unsigned char*& out, unsigned int& rest) const override;

  std::vector<CRandomAccessEntry> entries;  // survives Reset

 private:
  unsigned int EntrySize() const;
  [[nodiscard]] HRESULT TakeEntry(const unsigned char*& in, unsigned int& rest,
                                  CRandomAccessEntry& entry) const;
  [[nodiscard]] HRESULT PutEntry(unsigned char*& out, unsigned int& rest,
                                 const CRandomAccessEntry& entry) const;
};

struct _tagMOVIE_FRAGMENT_RANDOM_ACCESS_OFFSET_BOX {
  QUIRVA::be32 mfraSize;  // bytes of the enclosing "mfra"
};
static_assert(sizeof(_tagMOVIE_FRAGMENT_RANDOM_ACCESS_OFFSET_BOX) == 4);

// "mfro" (clause 8.8.11).
class CMovieFragmentRandomAccessOffsetBox
    : public CRecordBox<CFullBox, _tagMOVIE_FRAGMENT_RANDOM_ACCESS_OFFSET_BOX> {};

}  // namespace MP4G
