// The root class of the descriptors that describe an MPEG-4 stream (ISO/IEC 14496-1, clause 7.2.6):
// a small tree of its own inside the box "esds".
#pragma once

#include <map>

#include "foundation/result.h"

namespace MP4G {

// The tags that the engine knows; every other descriptor is dropped by FixParam.
enum DescriptorTag : unsigned char {
  kEsDescriptorTag = 3,
  kDecoderConfigDescriptorTag = 4,
  kDecoderSpecificInfoTag = 5,
  kSlConfigDescriptorTag = 6,
};

// A descriptor: a tag, the payload's length in as many bytes as the file spent on it, the fields of
// its class, and child descriptors in the order of their tags.
//
// The cursor and its codes are those of CBox, and so are SetData, FixParam, GetDataSize and GetData
// around the virtual operations of the same names; SetData empties the descriptor first. They walk
// the tree without recursion, and answer E_BAD_DATA where it is deeper than kDeepestNesting and
// E_POINTER where it holds a null child.
class CBaseDescriptor {
 public:
  CBaseDescriptor() = default;
  virtual ~CBaseDescriptor();
  CBaseDescriptor(const CBaseDescriptor&) = delete;
  CBaseDescriptor& operator=(const CBaseDescriptor&) = delete;

  [[nodiscard]] virtual HRESULT Init();
  virtual void Reset();
  // Makes the object for a child whose first byte is `childTag`; the caller owns it.
  [[nodiscard]] virtual HRESULT CreateChildDescriptor(unsigned char childTag,
                                                      CBaseDescriptor** child);
  [[nodiscard]] virtual HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest);
  [[nodiscard]] virtual HRESULT FixParamImpl();
  [[nodiscard]] virtual HRESULT GetDataSizeImpl(long long* total) const;
  [[nodiscard]] virtual HRESULT GetDataImpl(unsigned char*& out, unsigned int& rest) const;

  // A child that its parent could not read stays in the tree.
  [[nodiscard]] HRESULT SetData(const unsigned char*& in, unsigned int& rest);
  // Removes the children of unknown tags and brings the lengths up to date. A length field grows
  // where it has to and never shrinks. E_BAD_DATA: a payload beyond 32 bits.
  [[nodiscard]] HRESULT FixParam();
  [[nodiscard]] HRESULT GetDataSize(long long* total) const;
  [[nodiscard]] HRESULT GetData(unsigned char*& out, unsigned int& rest) const;

  // Inserts a child under the tag that it has; this descriptor then owns it. Null is ignored.
  void AddChildDescriptor(CBaseDescriptor* child);
  // Makes a descriptor of that tag and inserts it.
  [[nodiscard]] HRESULT AddChildDescriptor(unsigned char childTag);
  // The first child that was inserted under that tag, or null.
  CBaseDescriptor* GetChildDescriptor(unsigned char childTag) const;
  // Gives every length field in the tree that many bytes.
  [[nodiscard]] HRESULT SetLengthFieldSize(unsigned int bytes);

  std::multimap<unsigned char, CBaseDescriptor*> children;  // owned
  unsigned char tag = 0;
  unsigned int payloadSize = 0;      // bytes behind the length field, children included
  unsigned int lengthFieldSize = 1;  // bytes of the length field

 private:
  [[nodiscard]] HRESULT SetOwnData(const unsigned char*& in, unsigned int& rest, long long* left);
  [[nodiscard]] HRESULT AppendChild(unsigned char childTag, CBaseDescriptor** child);
  [[nodiscard]] HRESULT RemoveUnknownChildren();
  [[nodiscard]] HRESULT FixLength(long long childrenSize, long long* total);
};

}  // namespace MP4G
