// The boxes above and beside the sample tables: containers, handler, edit list, data references.
// The boxes of times and media parameters are in header_boxes.h.
#pragma once

#include <string>
#include <vector>

#include "box/box.h"

namespace MP4G {

// Pure containers: each is a class of its own so that a dynamic cast tells them apart.
class CTrackBox : public CListBox {};             // "trak" (ISO/IEC 14496-12, clause 8.3.1)
class CTrackReferenceBox : public CListBox {};    // "tref" (clause 8.3.3)
class CMediaInformationBox : public CListBox {};  // "minf" (clause 8.4.4)
class CEditBox : public CListBox {};              // "edts" (clause 8.6.5)
class CDataInformationBox : public CListBox {};   // "dinf" (clause 8.7.1)

// "mdia" (clause 8.4.1).
class CMediaBox : public CListBox {
 public:
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override;
  // The first child of class type "hdlr", or null.
  const CBox* HandlerChild() const;

 private:
  // While this box is parsed its children only grow in number: each is looked at once, however many
  // boxes below ask for the handler.
  struct HandlerSearch {
    std::list<CBox*>::const_iterator last;  // the last child that was looked at, if `began`
    bool began = false;
    const CBox* found = nullptr;
  };
  mutable HandlerSearch search_;
  bool isParsing_ = false;
};

// "nmhd" (clause 8.4.5.2): media of a kind without a header of its own.
class CNullMediaHeaderBox : public CFullBox {};

// A child of "tref" (clause 8.3.3) that names one track. Made on demand only: children of a parsed
// "tref" stay opaque.
class CTrackReferenceTypeBox : public CBox {
 public:
  // Clears the identifier alone; the header stays.
  void Reset() override;
  // Takes 4 bytes. The identifier becomes the last 4 bytes of the whole input, not of this box.
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override;
  [[nodiscard]] HRESULT GetDataSizeImpl(long long* total) const override;
  [[nodiscard]] HRESULT GetDataImpl(unsigned char*& out, unsigned int& rest) const override;

  unsigned int trackId = 0;
};

// One entry of "elst", host order, wide enough for both forms of the table.
struct _tagEDIT_LIST_ENTRY {
  std::uint64_t segmentDuration;  // in the movie's time scale
  std::int64_t mediaTime;         // in the media's; 0xFFFFFFFF (narrow) or -1 (wide): empty edit
  std::uint16_t rateInteger;
  std::uint16_t rateFraction;
};

// "elst" (clause 8.6.6). Version 1 has 64-bit times, every other version 32-bit ones, which are
// neither sign-extended on reading nor tested for overflow on writing.
class CEditListBox : public CFullBox {
 public:
  void Reset() override;
  // Of a table shorter than its count the whole entries are kept, with S_FALSE.
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override;
  [[nodiscard]] HRESULT FixParamImpl() override;
  [[nodiscard]] HRESULT GetDataSizeImpl(long long* total) const override;
  [[nodiscard]] HRESULT GetDataImpl(unsigned char*& out, unsigned int& rest) const override;

  unsigned int entryCount = 0;  // means something after a parse or FixParam only; Reset leaves it
  std::vector<_tagEDIT_LIST_ENTRY> entries;
};

struct _tagHANDLER_BOX {
  QUIRVA::be32 preDefined;
  QUIRVA::be32 handlerType;  // "vide", "soun", "hint", …
  QUIRVA::be32 reserved[3];
};
static_assert(sizeof(_tagHANDLER_BOX) == 20);

// "hdlr" (clause 8.4.3). The name is bytes as they stand in the file, with or without a terminator.
class CHandlerBox : public CFullBox, public _tagHANDLER_BOX {
 public:
  CHandlerBox();
  // Gives the box the name that every handler not read from a file carries.
  [[nodiscard]] HRESULT Init() override;
  // Clears the record; the name stays.
  void Reset() override;
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override;
  [[nodiscard]] HRESULT GetDataSizeImpl(long long* total) const override;
  [[nodiscard]] HRESULT GetDataImpl(unsigned char*& out, unsigned int& rest) const override;

  _tagHANDLER_BOX* record;  // this object's own base part
  std::string name;
};

// A full box whose children are entries that a count announces. The count of the file does not
// steer the parse.
class CEntryListBox : public CFullBox {
 public:
  void Reset() override;
  // Takes the count. What the entries are is the business of the class below.
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override;
  [[nodiscard]] HRESULT FixParamImpl() override;
  [[nodiscard]] HRESULT GetDataSizeImpl(long long* total) const override;
  [[nodiscard]] HRESULT GetDataImpl(unsigned char*& out, unsigned int& rest) const override;

  unsigned int entryCount = 0;
};

// "dref" (clause 8.7.2).
class CDataReferenceBox : public CEntryListBox {
 public:
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override;
};

// "url " (clause 8.7.2). Flag 1 of the full box says that the media is in the same file.
class CDataEntryUrlBox : public CFullBox {
 public:
  void Reset() override;
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override;
  [[nodiscard]] HRESULT GetDataSizeImpl(long long* total) const override;
  [[nodiscard]] HRESULT GetDataImpl(unsigned char*& out, unsigned int& rest) const override;

  std::string location;  // all bytes of the body, terminator included
};

// "urn " (clause 8.7.2). The name takes everything from the body to the end of the parse buffer,
// though the box itself ends earlier, so the box grows when it is written again.
class CDataEntryUrnBox : public CFullBox {
 public:
  void Reset() override;
  // E_OUTOFMEMORY if the names of one tree would exceed kMostExtraMemory.
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override;
  [[nodiscard]] HRESULT GetDataSizeImpl(long long* total) const override;
  [[nodiscard]] HRESULT GetDataImpl(unsigned char*& out, unsigned int& rest) const override;

  std::string name;
  std::string location;  // empty after a parse
};

}  // namespace MP4G
