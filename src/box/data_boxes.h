// Boxes whose payload is one opaque block: padding, and every type that the factory does not know.
#pragma once

#include "box/box.h"

namespace MP4G {

// Keeps its payload as it stands and gives it back unchanged.
class CDataMemBox : public CBox {
 public:
  ~CDataMemBox() override;
  void Reset() override;
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override;
  [[nodiscard]] HRESULT GetDataSizeImpl(long long* total) const override;
  [[nodiscard]] HRESULT GetDataImpl(unsigned char*& out, unsigned int& rest) const override;

  // Replaces the payload by `length` zero bytes; 0 leaves no block. The header is right only after
  // FixParam.
  [[nodiscard]] HRESULT AllocSize(unsigned int length);

  unsigned char* data = nullptr;  // array, owned
  unsigned int dataSize = 0;

 protected:
  void FreeData();
};

// "free": padding (ISO/IEC 14496-12, clause 8.1.2). Its setters keep a block even for a size of 0.
// As with AllocSize, the header is right only after FixParam.
class CFreeBox : public CDataMemBox {
 public:
  // Copies the bytes, which must not be this box's own. E_POINTER for null with a length.
  [[nodiscard]] HRESULT SetBinaryData(const unsigned char* bytes, unsigned int length);
  // Zero bytes.
  [[nodiscard]] HRESULT SetBinaryDataSize(unsigned int length);
};

}  // namespace MP4G
