// The random-access source of bytes that everything is parsed from.
#pragma once

#include "foundation/com.h"
#include "foundation/export.h"

namespace QUIRVA {

inline constexpr _GUID IID_IQvFileReader = {
    0x1C44A25B, 0x5FEC, 0x4176, {0xBA, 0xB4, 0x97, 0x29, 0xBC, 0x65, 0x7B, 0x00}};

class CLIPCHAIN_API IQvFileReader : public IUnknown {
 public:
  virtual void CloseReader() = 0;
  virtual long long GetFileSize() const = 0;  // bytes in the source
  [[nodiscard]] virtual HRESULT SetBufferSize(
      unsigned int size) = 0;                      // replaces the buffer, dropping what it holds
  virtual unsigned int GetBufferSize() const = 0;  // capacity of the buffer in bytes

  // Lends the bytes at `position` until the next call on this reader: S_OK with all `size` of them,
  // S_FALSE with fewer (the source ended, or the buffer is smaller than `size`), a negative code on
  // failure.
  [[nodiscard]] virtual HRESULT GetData(long long position, unsigned int size,
                                        const unsigned char*& data, unsigned int& got) const = 0;

 protected:
  ~IQvFileReader() = default;
};

}  // namespace QUIRVA
