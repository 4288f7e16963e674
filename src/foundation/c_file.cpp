#include "foundation/c_file.h"

#include <sys/stat.h>

#include <iterator>

namespace QUIRVA {

CFile_c::~CFile_c() { Close(); }

HRESULT CFile_c::Open(const char* path, unsigned int mode) {
  static constexpr const char* kModes[] = {"rb", "wb", "r+b"};
  Close();
  RETURN_IF(mode < 1 || mode > std::size(kModes), E_INVALIDARG);
  stream_ = std::fopen(path, kModes[mode - 1]);
  RETURN_IF(stream_ == nullptr, E_HANDLE);
  struct stat status;
  RETURN_IF(::fstat(::fileno(stream_), &status) != 0, E_FAIL);
  size_ = status.st_size;
  return S_OK;
}

void CFile_c::Close() {
  if (stream_ != nullptr) std::fclose(stream_);
  stream_ = nullptr;
  position_ = 0;
  size_ = 0;
}

void CFile_c::Reset() { Close(); }

HRESULT CFile_c::Read(unsigned char* buffer, unsigned int size, unsigned int* done) {
  RETURN_IF(stream_ == nullptr, E_HANDLE);
  RETURN_IF(buffer == nullptr || size == 0, E_INVALIDARG);
  const std::size_t count = std::fread(buffer, 1, size, stream_);
  if (done != nullptr) *done = static_cast<unsigned int>(count);
  position_ += count;
  return S_OK;
}

HRESULT CFile_c::Write(const unsigned char* buffer, unsigned int size, unsigned int* done) {
  RETURN_IF(stream_ == nullptr, E_HANDLE);
  RETURN_IF(buffer == nullptr || size == 0, E_INVALIDARG);
  const std::size_t count = std::fwrite(buffer, 1, size, stream_);
  if (done != nullptr) *done = static_cast<unsigned int>(count);
  position_ += count;
  return S_OK;
}

// fgetpos and fsetpos would do, but their position is opaque here; these are the same with a
// number.
HRESULT CFile_c::GetCurrentPos(long long* position) {
  RETURN_IF(stream_ == nullptr, E_HANDLE);
  RETURN_IF(position == nullptr, E_POINTER);
  const off_t current = ::ftello(stream_);
  RETURN_IF(current < 0, E_FAIL);
  *position = current;
  return S_OK;
}

HRESULT CFile_c::Seek(long long position) {
  RETURN_IF(stream_ == nullptr, E_HANDLE);
  RETURN_IF(::fseeko(stream_, position, SEEK_SET) != 0, E_FAIL);
  return S_OK;
}

int CFile_c::Delete(const char* path) { return std::remove(path); }

}  // namespace QUIRVA
