// A file on the standard streams, with narrow paths.
#pragma once

#include <cstdio>

#include "foundation/export.h"
#include "foundation/result.h"

namespace QUIRVA {

class CLIPCHAIN_API CFile_c {
 public:
  CFile_c() = default;
  virtual ~CFile_c();
  CFile_c(const CFile_c&) = delete;
  CFile_c& operator=(const CFile_c&) = delete;

  // Closes what is open, then opens to read (1), to write a new file (2), or to read and write one
  // that exists (3); E_INVALIDARG for another mode. E_HANDLE if the file cannot be opened; E_FAIL,
  // with the file left open, if its length cannot be had.
  [[nodiscard]] HRESULT Open(const char* path, unsigned int mode);
  void Close();
  void Reset();  // closes

  // E_HANDLE without an open file, E_INVALIDARG for a null buffer or a size of 0. A short transfer
  // is S_OK: `*done`, which may be null, tells.
  [[nodiscard]] HRESULT Read(unsigned char* buffer, unsigned int size, unsigned int* done);
  [[nodiscard]] HRESULT Write(const unsigned char* buffer, unsigned int size, unsigned int* done);

  // E_HANDLE without an open file, E_POINTER for null, E_FAIL if the stream cannot tell.
  [[nodiscard]] HRESULT GetCurrentPos(long long* position);
  // E_HANDLE without an open file, E_FAIL if the stream cannot go there.
  [[nodiscard]] HRESULT Seek(long long position);

  // What the standard library's `remove` answers: 0 if the file is gone.
  [[nodiscard]] static int Delete(const char* path);

  unsigned long long GetTransferred() const { return position_; }  // bytes read and written
  long long GetSize() const { return size_; }                      // at opening

 private:
  std::FILE* stream_ = nullptr;
  unsigned long long position_ = 0;
  long long size_ = 0;
};

}  // namespace QUIRVA
