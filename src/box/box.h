// The root classes of the box tree (ISO/IEC 14496-12, clause 4.2): CBox, CFullBox, CListBox.
#pragma once

#include <cstdint>
#include <list>

#include "foundation/big_endian.h"
#include "foundation/fourcc.h"
#include "foundation/guid.h"
#include "foundation/result.h"

namespace MP4G {

// The first 8 bytes of every box, as they stand in the file.
struct _tagBOX_HEADER {
  QUIRVA::be32 size;  // length of the whole box; 1: see largeSize; 0: to the end of the file
  QUIRVA::be32 type;  // four characters
};
static_assert(sizeof(_tagBOX_HEADER) == 8);

// A box: parses itself out of bytes, says how many bytes it serialises to, fixes up its header, and
// serialises itself.
//
// Parsing and serialising move a cursor of two in/out arguments, a pointer and the bytes that are
// left. S_FALSE means that too few bytes are left, E_BAD_DATA that the bytes contradict themselves.
// After a failure the cursor stands where the failing step left it and the half-built tree stays;
// its owner resets or deletes it.
//
// A box owns its children. The header keeps the file's bytes; bytes behind what a class understands
// are counted in `restSize`, dropped, and written back as zeros.
class CBox : public _tagBOX_HEADER {
 public:
  CBox();
  virtual ~CBox();
  CBox(const CBox&) = delete;
  CBox& operator=(const CBox&) = delete;

  // Resets the object. The factory calls it once on each new object.
  [[nodiscard]] virtual HRESULT Init();
  // Deletes the children and zeroes the header and counters; `parent` and `classType` stay.
  virtual void Reset();
  [[nodiscard]] virtual HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest);
  // Brings the fields that are derived from others up to date: entry counts and the like.
  [[nodiscard]] virtual HRESULT FixParamImpl();
  // Sets `*total` to the bytes that GetDataImpl writes, `restSize` not included.
  [[nodiscard]] virtual HRESULT GetDataSizeImpl(long long* total) const;
  [[nodiscard]] virtual HRESULT GetDataImpl(unsigned char*& out, unsigned int& rest) const;

  // Parses a whole box. The 32-bit size field rules: 0 and 1 are E_BAD_DATA here.
  [[nodiscard]] HRESULT SetData(const unsigned char*& in, unsigned int& rest);
  // Recomputes counts and size fields of this box and everything under it. Must run between a
  // change and its output. E_PENDING if a box would exceed 32 bits, with its header left as it was.
  [[nodiscard]] HRESULT FixParam();
  // The bytes that GetData writes. E_POINTER for null.
  [[nodiscard]] HRESULT GetDataSize(long long* total) const;
  // Serialises a whole box. E_BAD_DATA if the size field is below the bytes written: run FixParam
  // first.
  [[nodiscard]] HRESULT GetData(unsigned char*& out, unsigned int& rest) const;

  // Parses children up to the end of this box; `headerSize` bytes of it were consumed before the
  // first one.
  [[nodiscard]] HRESULT SetChildrenData(const unsigned char*& in, unsigned int& rest,
                                        unsigned int headerSize);
  // Adds the children's sizes to `*total`, without clearing it first. E_POINTER for null.
  [[nodiscard]] HRESULT GetChildrenDataSize(long long* total) const;
  [[nodiscard]] HRESULT GetChildrenData(unsigned char*& out, unsigned int& rest) const;

  // The code by which the factory made this object, which child look-up compares; the header's type
  // is what the file said. They differ for sample entries of unknown type and for boxes made by
  // code.
  void SetClassType(unsigned int code);
  unsigned int GetClassType() const;

  // Peeks at a header without a cursor: 8 bytes, or with Set16Byte the large size too. S_FALSE if
  // too few.
  [[nodiscard]] HRESULT Set8Byte(const unsigned char* bytes, unsigned int count);
  [[nodiscard]] HRESULT Set16Byte(const unsigned char* bytes, unsigned int count);

  // The size field, or the large size where that field is 1.
  long long GetBoxSize() const;
  // Chooses the large form for a size above 0xFFFFFFFF.
  void SetBoxSize(long long bytes);
  // The length of the header alone: 8, 16, 24 or 32.
  unsigned int GetBoxBaseSize() const;
  // Writes the header alone.
  [[nodiscard]] HRESULT GetBoxBaseData(unsigned char*& out, unsigned int& rest) const;
  _GUID GetUsertype() const;

  // Appends a child, which this box then owns; null is ignored.
  void AddChildBox(CBox* child);
  // Makes a box of that type and appends it.
  [[nodiscard]] HRESULT AddChildBox(unsigned int code);
  // Inserts before `position` without setting the child's `parent`. Null inserts nothing and
  // returns the end.
  std::list<CBox*>::iterator InsertChildBox(std::list<CBox*>::iterator position, CBox* child);
  // Takes the first entry that holds `child` out of the list; the caller then owns the child.
  // Returns the iterator behind it, or the end when there is none.
  std::list<CBox*>::iterator RemoveChildBox(CBox* child);
  // The same, and deletes the child.
  std::list<CBox*>::iterator DeleteChildBox(CBox* child);

  // Child number `index`, from 0, among those of that class type, or among all if `code` is 0. Null
  // if there is none.
  CBox* GetChildBox(unsigned int code, unsigned int index) const;
  // How many children have that class type; with 0 the length of the list, null entries counted.
  unsigned int GetChildBoxNum(unsigned int code) const;
  // The nearest box above this one with that class type, or null.
  CBox* GetAncestor(unsigned int code) const;
  // The number of ancestors.
  unsigned int GetDepth() const;
  // Whether both boxes have the same non-zero size and serialise to the same bytes.
  bool IsSameBox(const CBox* other) const;
  void OutputInfo() const {}
  // Counts the extra memory of this root on from where `before` has come: for roots that stand side
  // by side in one file.
  void ContinueExtraMemory(const CBox& before);

  // What is left of a box of `boxSize` bytes when its parser went from `restBefore` to `restNow`.
  // E_POINTER for a null result, E_UNEXPECTED if the count grew, E_BAD_DATA if more was consumed
  // than the box has, E_PENDING for a box size of 0 or above 32 bits.
  [[nodiscard]] static HRESULT CalcurateBoxRestSize(unsigned int restBefore, unsigned int restNow,
                                                    long long boxSize, unsigned int* result);
  // The header length of a box with that much payload: 8, or 16 beyond 32 bits.
  static unsigned int CalcurateBoxBaseSize(long long dataSize);
  // Whether a file may have a box of this type at its top level.
  static bool IsTopLevelBox(unsigned int code);

  CBox* parent = nullptr;        // the box that holds this one; not owned
  std::list<CBox*> children;     // in file order; owned
  QUIRVA::be32 classType{};      // see SetClassType
  unsigned int restSize = 0;     // bytes behind what the parser consumed
  long long position = 0;        // offset of the first byte in the source
  _tagBOX_HEADER* header;        // this object's own base part
  QUIRVA::be64 largeSize{};      // the 64-bit size, present when the size field is 1 (clause 4.2)
  unsigned char usertype[16]{};  // the extended type, present when the type is "uuid" (clause 4.2)

 protected:
  // To be called before a walk steps into a child: E_BAD_DATA where boxes nest deeper than
  // kDeepestNesting. And when it comes back; two calls, because an object for both would cost each
  // level a part of a small stack.
  [[nodiscard]] HRESULT EnterChild(const CBox* child) const;
  static void LeaveChild(const CBox* child) { child->level_ = 0; }

  // To be called before this box takes memory beyond the bytes that the file has for it, in place
  // of `replaced` bytes of such memory: E_OUTOFMEMORY where the boxes of one tree would have taken
  // more than kMostExtraMemory since the Reset of their root, which keeps the sum.
  [[nodiscard]] HRESULT CountExtraMemory(unsigned int bytes, std::size_t replaced);

 private:
  // Gives the bytes that this box takes now that it is fixed.
  [[nodiscard]] HRESULT FixSubtree(long long* written);

  // Levels above this box in the walk that is in it; 0 where none is, or where one began.
  mutable unsigned int level_ = 0;
  unsigned int extraMemory_ = 0;
  // Bytes of the children while this box is measured right behind fixing them, else -1.
  long long fixedChildrenSize_ = -1;
};

// A box with a version and flags (clause 4.2).
struct _tagFULL_BOX {
  unsigned char version;
  QUIRVA::be24 flags;
};
static_assert(sizeof(_tagFULL_BOX) == 4);

class CFullBox : public CBox, public _tagFULL_BOX {
 public:
  CFullBox();
  void Reset() override;
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override;
  [[nodiscard]] HRESULT GetDataSizeImpl(long long* total) const override;
  [[nodiscard]] HRESULT GetDataImpl(unsigned char*& out, unsigned int& rest) const override;

  _tagFULL_BOX* fullHeader;  // this object's own base part
};

// A box made of nothing but children.
class CListBox : public CBox {
 public:
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override;
  [[nodiscard]] HRESULT GetDataSizeImpl(long long* total) const override;
  [[nodiscard]] HRESULT GetDataImpl(unsigned char*& out, unsigned int& rest) const override;
};

// Boxes nested deeper than this are refused with E_BAD_DATA, so that a walk fits the smallest usual
// thread stack.
inline constexpr unsigned int kDeepestNesting = 1000;

// Bytes that one tree may take beyond those that its file has for it.
inline constexpr unsigned int kMostExtraMemory = 64u << 20;

}  // namespace MP4G
