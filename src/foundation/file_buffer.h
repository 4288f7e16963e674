// A whole file out of memory.
#pragma once

#include <memory>

#include "foundation/com.h"
#include "foundation/file_reader.h"

namespace QUIRVA {

// Keeps a copy of the bytes and lends them straight out of it: what GetData gives stays valid until
// the next SetData, Reset or CloseReader. The reference count starts at 0.
class CFileBuffer : public IQvFileReader, public CComBase {
 public:
  CFileBuffer() = default;
  ~CFileBuffer() override = default;

  // Serves IID_IQvFileReader alone.
  [[nodiscard]] HRESULT QueryInterface(_GUID iid, void** object) override;
  std::uint32_t AddRef() override;
  std::uint32_t Release() override;

  void CloseReader() override;  // drops the bytes
  long long GetFileSize() const override { return dataSize_; }
  [[nodiscard]] HRESULT SetBufferSize(unsigned int) override;  // S_OK: all bytes are at hand
  unsigned int GetBufferSize() const override { return dataSize_; }
  // E_POINTER without bytes, E_INVALIDARG for a negative position; at or behind the end S_FALSE
  // with null.
  [[nodiscard]] HRESULT GetData(long long position, unsigned int size, const unsigned char*& bytes,
                                unsigned int& length) const override;

  // Replaces what is there by a copy of `size` bytes. E_INVALIDARG for null or a size of 0, which
  // leaves nothing. Throws std::bad_alloc.
  [[nodiscard]] HRESULT SetData(const unsigned char* data, unsigned int size);
  void Reset();
  void ResetBuffer();

 private:
  std::unique_ptr<unsigned char[]> data_;
  unsigned int dataSize_ = 0;
};

}  // namespace QUIRVA
