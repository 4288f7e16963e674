#include "foundation/qv_file.h"

#include <utility>

#include "foundation/custom_file.h"
#include "foundation/strings.h"

namespace QUIRVA {

QvFile::QvFile() : lock_(std::make_unique<QvCritSec>()) {}

QvFile::~QvFile() { Close(); }

HRESULT QvFile::Open(const wchar_t* path, _enQVFILEACCESS access) {
  const QvAutoLock guard(lock_.get(), kWaitForever, nullptr);
  static_cast<void>(CloseHandle());
  return CustomCreateFileHandle(path, access, &handle_, kNoFileAttributes, kNoFileAttributes);
}

HRESULT QvFile::Open(const char* path, _enQVFILEACCESS access) {
  return Open(static_cast<const wchar_t*>(CEasyStringW(path)), access);
}

void QvFile::Close() { static_cast<void>(CloseFlushed()); }

HRESULT QvFile::CloseFlushed() {
  const QvAutoLock guard(lock_.get(), kWaitForever, nullptr);
  return CloseHandle();
}

HRESULT QvFile::CloseHandle() { return CustomCloseFileHandle(std::exchange(handle_, nullptr)); }

bool QvFile::IsOpened() {
  const QvAutoLock guard(lock_.get(), kWaitForever, nullptr);
  return handle_ != nullptr;
}

HRESULT QvFile::Read(void* buffer, unsigned int size, unsigned int* read) {
  const QvAutoLock guard(lock_.get(), kWaitForever, nullptr);
  unsigned int count = 0;
  RETURN_IF_NOT_OK(CustomReadFile(handle_, buffer, size, &count));
  if (read != nullptr) *read = count;
  return S_OK;
}

HRESULT QvFile::Write(const void* buffer, unsigned int size, unsigned int* written) {
  const QvAutoLock guard(lock_.get(), kWaitForever, nullptr);
  unsigned int count = 0;
  RETURN_IF_NOT_OK(CustomWriteFile(handle_, buffer, size, &count, nullptr));
  if (written != nullptr) *written = count;
  return S_OK;
}

HRESULT QvFile::Seek(long long offset, _enQVFILEMOVE origin) {
  const QvAutoLock guard(lock_.get(), kWaitForever, nullptr);
  return CustomSetFilePointer(handle_, offset, origin);
}

HRESULT QvFile::GetCurrentPos(long long* position) {
  const QvAutoLock guard(lock_.get(), kWaitForever, nullptr);
  return CustomGetFilePointer(handle_, position);
}

HRESULT QvFile::SetEof() {
  const QvAutoLock guard(lock_.get(), kWaitForever, nullptr);
  return CustomSetEOF(handle_);
}

HRESULT QvFile::GetFileSize(long long* size) {
  const QvAutoLock guard(lock_.get(), kWaitForever, nullptr);
  return CustomGetFileSize(handle_, size);
}

HRESULT QvFile::Delete(const wchar_t* path) { return CustomDeleteFile(path); }

HRESULT QvFile::Delete(const char* path) { return CustomDeleteFile(CEasyStringW(path)); }

long long QvFile::GetFileSize(const wchar_t* path) {
  QvFile file;
  long long size = 0;
  if (file.Open(path, kRead) != S_OK || file.GetFileSize(&size) != S_OK) return 0;
  return size;
}

long long QvFile::GetFileSize(const char* path) { return GetFileSize(CEasyStringW(path)); }

}  // namespace QUIRVA
