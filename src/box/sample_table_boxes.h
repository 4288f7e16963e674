// The boxes inside "stbl" that say when, where and how large each sample is (ISO/IEC 14496-12,
// clauses 8.5 to 8.7).
//
// Each holds its whole table in `entries`, which the merge and the readers reach directly. Entries
// that are wire records stay in file byte order; plain numbers are in host order. Count fields keep
// what the file said until FixParam derives them from the tables, so FixParam must run between a
// change and its output. Versions and flags are carried through and never looked at.
#pragma once

#include "box/box_templates.h"
#include "box/structural_boxes.h"
#include "foundation/table.h"

namespace MP4G {

// "stbl" (clause 8.5.1).
class CSampleTableBox : public CListBox {};

// "stsd" (clause 8.5.2): what the samples are. Parses only inside an "mdia" whose "hdlr" stands
// earlier in the file, since the handler decides on entries of unknown type; E_BAD_DATA elsewhere.
// The entries are the children, whatever the count says.
class CSampleDescriptionBox : public CEntryListBox {
 public:
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override;

 private:
  [[nodiscard]] HRESULT AddEntry(unsigned int handlerType, const unsigned char*& in,
                                 unsigned int& rest);
};

// The common form of a table: an entry count and that many entries, `Wire` in the file and `Value`
// in memory. A count larger than the bytes that are there is S_FALSE, with the entries that are
// there kept; bytes behind the last counted entry are left to CBox::SetData. Parsing appends to
// what the table holds, unless `kParsingReplaces`.
template <class Wire, class Value = Wire, bool kParsingReplaces = false>
class CEntryTableBox : public CFullBox {
 public:
  void Reset() override;
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override;
  [[nodiscard]] HRESULT FixParamImpl() override;
  [[nodiscard]] HRESULT GetDataSizeImpl(long long* total) const override;
  [[nodiscard]] HRESULT GetDataImpl(unsigned char*& out, unsigned int& rest) const override;

  unsigned int entryCount = 0;  // host order; what is written, whatever `entries` holds
  QUIRVA::Table<Value> entries;
};

struct _tagDECODING_TIME_TO_SAMPLE {
  QUIRVA::be32 sampleCount;
  QUIRVA::be32 sampleDelta;  // in the media's time scale
};
static_assert(sizeof(_tagDECODING_TIME_TO_SAMPLE) == 8);

struct _tagCOMPOSITION_TIME_TO_SAMPLE {
  QUIRVA::be32 sampleCount;
  QUIRVA::be32 sampleOffset;  // in the media's time scale
};
static_assert(sizeof(_tagCOMPOSITION_TIME_TO_SAMPLE) == 8);

struct _tagSAMPLE_TO_CHUNK {
  QUIRVA::be32 firstChunk;  // from 1
  QUIRVA::be32 samplesPerChunk;
  QUIRVA::be32 sampleDescriptionIndex;  // from 1
};
static_assert(sizeof(_tagSAMPLE_TO_CHUNK) == 12);

extern template class CEntryTableBox<_tagDECODING_TIME_TO_SAMPLE>;
extern template class CEntryTableBox<_tagCOMPOSITION_TIME_TO_SAMPLE>;
extern template class CEntryTableBox<_tagSAMPLE_TO_CHUNK>;
extern template class CEntryTableBox<QUIRVA::be32, unsigned int>;
extern template class CEntryTableBox<QUIRVA::be64, unsigned long long>;
extern template class CEntryTableBox<QUIRVA::be32, unsigned int, true>;

// "stts": runs of samples with the same duration (clause 8.6.1.2).
class CTimeToSampleBox : public CEntryTableBox<_tagDECODING_TIME_TO_SAMPLE> {};

// "ctts": runs of samples with the same offset from decoding to composition (clause 8.6.1.3).
class CCompositionOffsetBox : public CEntryTableBox<_tagCOMPOSITION_TIME_TO_SAMPLE> {};

// "stsc": runs of chunks with the same number of samples (clause 8.7.4).
class CSampleToChunkBox : public CEntryTableBox<_tagSAMPLE_TO_CHUNK> {};

// "stco": file positions of the chunks, in 32 bits (clause 8.7.5).
class CChunkOffsetBox : public CEntryTableBox<QUIRVA::be32, unsigned int> {};

// "co64": file positions of the chunks, in 64 bits (clause 8.7.5).
class CChunkLargeOffsetBox : public CEntryTableBox<QUIRVA::be64, unsigned long long> {};

// "stss": numbers, from 1, of the samples where decoding can begin (clause 8.6.2).
class CSyncSampleBox : public CEntryTableBox<QUIRVA::be32, unsigned int, true> {};

struct _tagSAMPLE_SIZE_BOX {
  QUIRVA::be32 sampleSize;  // the size of every sample, or 0: each has an entry
  QUIRVA::be32 sampleCount;
};
static_assert(sizeof(_tagSAMPLE_SIZE_BOX) == 8);

// "stsz": bytes of each sample (clause 8.7.3.2). FixParam turns a table of equal sizes into the
// form with one size for all; the table then stays in memory and only the output leaves it out.
class CSampleSizeBox : public CRecordBox<CFullBox, _tagSAMPLE_SIZE_BOX> {
 public:
  void Reset() override;
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override;
  [[nodiscard]] HRESULT FixParamImpl() override;
  [[nodiscard]] HRESULT GetDataSizeImpl(long long* total) const override;
  [[nodiscard]] HRESULT GetDataImpl(unsigned char*& out, unsigned int& rest) const override;

  QUIRVA::Table<unsigned int> entries;  // host order; empty in a box with one size for all

 private:
  bool AllEqual();

  std::size_t differing_ = 0;  // where two neighbours were last seen to differ
};

struct _tagCOMPACT_SAMPLE_SIZE_BOX {
  unsigned char reserved[3];
  unsigned char fieldSize;  // bits of an entry: 4, 8 or 16
  QUIRVA::be32 sampleCount;
};
static_assert(sizeof(_tagCOMPACT_SAMPLE_SIZE_BOX) == 8);

// "stz2": bytes of each sample in few bits (clause 8.7.3.3). Entries are always written with 16
// bits, the field size as it was read. Of 4-bit entries every byte counts as one and gives two
// values that are no true sizes. A field size that the standard does not have is E_BAD_DATA, unless
// there are no entries.
// Reset leaves `entries` as it stands.
class CCompactSampleSizeBox : public CRecordBox<CFullBox, _tagCOMPACT_SAMPLE_SIZE_BOX> {
 public:
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override;
  [[nodiscard]] HRESULT FixParamImpl() override;
  [[nodiscard]] HRESULT GetDataSizeImpl(long long* total) const override;
  [[nodiscard]] HRESULT GetDataImpl(unsigned char*& out, unsigned int& rest) const override;

  QUIRVA::Table<unsigned short> entries;  // host order

 private:
  [[nodiscard]] HRESULT TakeHalfBytes(const unsigned char*& in, unsigned int& rest);
};

struct _tagSAMPLE_DEPENDENCY_TYPE {
  unsigned char flags;
};
static_assert(sizeof(_tagSAMPLE_DEPENDENCY_TYPE) == 1);

// "sdtp": a byte for each sample up to the end of the box, saying what it depends on (clause
// 8.6.4). Parses only below a parent, else E_BAD_DATA.
class CSampleDependencyTypeBox : public CFullBox {
 public:
  void Reset() override;
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override;
  [[nodiscard]] HRESULT GetDataSizeImpl(long long* total) const override;
  [[nodiscard]] HRESULT GetDataImpl(unsigned char*& out, unsigned int& rest) const override;

  QUIRVA::Table<_tagSAMPLE_DEPENDENCY_TYPE> entries;
};

}  // namespace MP4G
