#include "foundation/reader_wrapper.h"

#include <algorithm>

#include "foundation/custom_file.h"
#include "foundation/qv_file.h"

namespace QUIRVA {

ReaderWrapperBase::ReaderWrapperBase(unsigned int bufferSize, int& result) {
  result = ReaderWrapperBase::SetBufferSize(bufferSize);
  if (result < 0) return;
  lock_ = std::make_unique<QvCritSec>();
  ReaderWrapperBase::AddRef();
}

HRESULT ReaderWrapperBase::QueryInterface(_GUID iid, void** object) {
  RETURN_IF(object == nullptr, E_POINTER);
  *object = nullptr;
  RETURN_IF(!(iid == IID_IUnknown) && !(iid == IID_IQvFileReader), E_NOINTERFACE);
  AddRef();
  *object = static_cast<IQvFileReader*>(this);
  return S_OK;
}

std::uint32_t ReaderWrapperBase::AddRef() {
  const QvAutoLock guard(lock_.get(), kWaitForever, nullptr);
  return ++refCount_;
}

std::uint32_t ReaderWrapperBase::Release() {
  std::uint32_t count;
  {
    const QvAutoLock guard(lock_.get(), kWaitForever, nullptr);
    if (refCount_ != 0) --refCount_;
    count = refCount_;
  }
  if (count == 0) delete this;
  return count;
}

HRESULT ReaderWrapperBase::SetBufferSize(unsigned int size) {
  buffer_.Reset();
  return buffer_.Allocate(size);
}

HRESULT ReaderWrapperBase::GetData(long long position, unsigned int size,
                                   const unsigned char*& data, unsigned int& got) const {
  if (position < 0) {
    data = nullptr;
    got = 0;
    return E_INVALIDARG;
  }
  const long long skipped = position - bufferPos_;
  const long long cached = buffer_.GetUsedSize();
  if (skipped >= 0 && skipped <= cached && size <= cached - skipped) {
    data = buffer_.GetData() + skipped;
    got = size;
    return S_OK;
  }
  // Behind the end there is nothing, and asking for it at the end says so.
  const long long start = std::min(position, fileSize_);
  const auto count =
      static_cast<unsigned int>(std::min<long long>(fileSize_ - start, buffer_.GetCapacity()));
  RETURN_IF_NOT_OK(StoreDataToBuffer(start, count));
  buffer_.SetUsedSize(count);
  bufferPos_ = start;
  data = count != 0 ? buffer_.GetData() : nullptr;
  got = std::min(count, size);
  return count < size || position > fileSize_ ? S_FALSE : S_OK;
}

void ReaderWrapperBase::FormatClass() {
  fileSize_ = 0;
  bufferPos_ = 0;
  buffer_.Clear();
}

FileReaderWrapper::FileReaderWrapper(const wchar_t* path, unsigned int bufferSize, int& result)
    : ReaderWrapperBase(bufferSize, result) {
  if (result >= 0) result = CreateFileHandle(nullptr, path);
}

FileReaderWrapper::FileReaderWrapper(const char* path, unsigned int bufferSize, int& result)
    : ReaderWrapperBase(bufferSize, result) {
  if (result >= 0) result = CreateFileHandle(path, nullptr);
}

FileReaderWrapper::~FileReaderWrapper() { FileReaderWrapper::CloseReader(); }

HRESULT FileReaderWrapper::CreateFileHandle(const char* narrow, const wchar_t* wide) {
  const HRESULT opened = narrow != nullptr
                             ? CustomCreateFileHandle(narrow, QvFile::kRead, &fileHandle_,
                                                      kNoFileAttributes, kNoFileAttributes)
                             : CustomCreateFileHandle(wide, QvFile::kRead, &fileHandle_,
                                                      kNoFileAttributes, kNoFileAttributes);
  if (opened != S_OK) CloseReader();
  RETURN_IF_NOT_OK(opened);
  RETURN_IF(fileHandle_ == nullptr, E_HANDLE);
  const HRESULT sized = CustomGetFileSize(fileHandle_, &fileSize_);
  if (sized != S_OK) CloseReader();
  return sized;
}

// A file that was only read leaves nothing to flush, so closing it cannot fail in a way that
// matters.
void FileReaderWrapper::CloseReader() {
  if (fileHandle_ == nullptr) return;
  static_cast<void>(CustomCloseFileHandle(fileHandle_));
  fileHandle_ = nullptr;
}

HRESULT FileReaderWrapper::StoreDataToBuffer(long long position, unsigned int size) const {
  RETURN_IF(fileHandle_ == nullptr, E_POINTER);
  long long unused = 0;
  RETURN_IF_NOT_OK(CustomGetFilePointer(fileHandle_, &unused));
  RETURN_IF_NOT_OK(CustomSetFilePointer(fileHandle_, position, QvFile::kFromStart));
  RETURN_IF_NOT_OK(CustomGetFilePointer(fileHandle_, &unused));
  unsigned int read = 0;
  HRESULT result = CustomReadFile(fileHandle_, buffer_.GetData(), size, &read);
  if (result == S_OK && read < size) result = E_FAIL;
  // What was cached may be overwritten in part, and must not be taken for what it was.
  if (result != S_OK) buffer_.SetUsedSize(0);
  return result;
}

}  // namespace QUIRVA
