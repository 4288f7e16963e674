// A file with a position.
#pragma once

#include <memory>

#include "foundation/com.h"

namespace QUIRVA {

// Every operation holds the object's lock. Without an open file they fail with -1, and Write with
// 0xA00C0006. Narrow paths are widened by the process's locale; wide ones reach the platform as
// they are.
class QvFile {
 public:
  enum _enQVFILEACCESS : unsigned int {
    kRead = 1,          // of a file that exists
    kWrite = 2,         // creates the file where there is none; keeps the contents of one that is
    kReadAndWrite = 3,  // likewise
  };
  enum _enQVFILEMOVE : unsigned int {
    kFromStart = 1,
    kFromEnd = 2,      // the file's size plus the offset
    kFromCurrent = 3,  // the current position plus the offset
  };

  QvFile();
  ~QvFile();
  QvFile(const QvFile&) = delete;
  QvFile& operator=(const QvFile&) = delete;

  // Closes what is open, then opens. E_HANDLE if that fails.
  [[nodiscard]] HRESULT Open(const wchar_t* path, _enQVFILEACCESS access);
  [[nodiscard]] HRESULT Open(const char* path, _enQVFILEACCESS access);
  void Close();  // flushes to the disk
  // The same, and tells whether the disk took everything: -1 if not, and without an open file.
  [[nodiscard]] HRESULT CloseFlushed();
  bool IsOpened();

  // The count may be null; it is stored on success only. Reading gives fewer bytes only at the end
  // of the file. A failed write is 0xA00C0000 with the platform's error number in the low 16 bits.
  [[nodiscard]] HRESULT Read(void* buffer, unsigned int size, unsigned int* read);
  [[nodiscard]] HRESULT Write(const void* buffer, unsigned int size, unsigned int* written);

  [[nodiscard]] HRESULT Seek(long long offset, _enQVFILEMOVE origin);
  [[nodiscard]] HRESULT GetCurrentPos(long long* position);
  [[nodiscard]] HRESULT SetEof();  // ends the file at the current position
  [[nodiscard]] HRESULT GetFileSize(long long* size);

  // 1 if a file or link was removed, 0 if not.
  [[nodiscard]] static HRESULT Delete(const wchar_t* path);
  [[nodiscard]] static HRESULT Delete(const char* path);
  // 0 also for a file that cannot be opened.
  static long long GetFileSize(const wchar_t* path);
  static long long GetFileSize(const char* path);

 private:
  [[nodiscard]] HRESULT CloseHandle();

  void* handle_ = nullptr;
  std::unique_ptr<QvCritSec> lock_;
};

}  // namespace QUIRVA
