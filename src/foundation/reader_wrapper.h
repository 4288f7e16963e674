// Buffered random access to a source of bytes, and to a file.
#pragma once

#include <memory>

#include "foundation/buffers.h"
#include "foundation/com.h"
#include "foundation/file_reader.h"

namespace QUIRVA {

// Lends bytes out of one cached range, which starts at the position of the request that filled it:
// no reading ahead of it, no alignment. The lock guards the reference count, which starts at 1; a
// reader serves one thread.
class ReaderWrapperBase : public IQvFileReader {
 public:
  // Allocates the buffer; its result goes into `result`.
  ReaderWrapperBase(unsigned int bufferSize, int& result);
  ReaderWrapperBase(const ReaderWrapperBase&) = delete;
  ReaderWrapperBase& operator=(const ReaderWrapperBase&) = delete;

  // Serves IUnknown and IQvFileReader; `*object` is null for anything else.
  [[nodiscard]] HRESULT QueryInterface(_GUID iid, void** object) override;
  std::uint32_t AddRef() override;
  std::uint32_t Release() override;  // of an object without references too: it goes away

  long long GetFileSize() const override { return fileSize_; }
  // The new block is zero. Throws std::bad_alloc.
  [[nodiscard]] HRESULT SetBufferSize(unsigned int size) override;
  unsigned int GetBufferSize() const override { return buffer_.GetCapacity(); }
  // E_INVALIDARG with null for a negative position; behind the end, or at the end where something
  // is asked for, S_FALSE with null. A failure of StoreDataToBuffer changes nothing.
  [[nodiscard]] HRESULT GetData(long long position, unsigned int size, const unsigned char*& data,
                                unsigned int& got) const override;

  virtual ~ReaderWrapperBase() = default;

  void FormatClass();  // forgets the size of the source and what is cached

 protected:
  // Fills the start of the buffer with `size` bytes of the source, at most the buffer's capacity.
  // Anything but S_OK is a failure, fewer bytes too.
  [[nodiscard]] virtual HRESULT StoreDataToBuffer(long long position, unsigned int size) const = 0;

  std::unique_ptr<QvCritSec> lock_;
  std::uint32_t refCount_ = 0;
  long long fileSize_ = 0;
  mutable long long bufferPos_ = 0;  // where the cached range lies in the source
  mutable CustomBuffer buffer_;      // its used bytes are the cached range
};

// A file, open for reading from construction to CloseReader.
class FileReaderWrapper : public ReaderWrapperBase {
 public:
  // `result` is E_HANDLE if the file cannot be opened; the object is then of no use.
  FileReaderWrapper(const wchar_t* path, unsigned int bufferSize, int& result);
  FileReaderWrapper(const char* path, unsigned int bufferSize, int& result);  // E_NOTIMPL
  ~FileReaderWrapper() override;

  void CloseReader() override;

 protected:
  // E_POINTER without an open file, E_FAIL if the file ends too early.
  [[nodiscard]] HRESULT StoreDataToBuffer(long long position, unsigned int size) const override;

 private:
  // Opens the narrow path unless it is null, else the wide one, and asks for the size.
  [[nodiscard]] HRESULT CreateFileHandle(const char* narrow, const wchar_t* wide);

  void* fileHandle_ = nullptr;
};

}  // namespace QUIRVA
