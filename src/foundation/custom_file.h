// The platform's files with wide paths and result codes. What a function answers without a word
// here is 0 for success or -1. A null handle is a failure everywhere. Narrow paths are not served.
#pragma once

#include "foundation/result.h"

namespace QUIRVA {

// What callers pass for the two arguments of CustomCreateFileHandle that have no meaning.
inline constexpr unsigned int kNoFileAttributes = 0x3F3F3F3F;

// `access` as in QvFile. Stores the handle, null on failure; the caller closes it. E_HANDLE if the
// file cannot be opened.
[[nodiscard]] HRESULT CustomCreateFileHandle(const wchar_t* path, unsigned int access,
                                             void** handle, unsigned int, unsigned int);
[[nodiscard]] HRESULT CustomCreateFileHandle(const char* path, unsigned int access, void** handle,
                                             unsigned int, unsigned int);  // E_NOTIMPL

[[nodiscard]] HRESULT CustomCloseFileHandle(void* handle);

// 1 if the file was removed, 0 if not.
[[nodiscard]] HRESULT CustomDeleteFile(const wchar_t* path);
[[nodiscard]] HRESULT CustomDeleteFile(const char* path);  // E_NOTIMPL

[[nodiscard]] HRESULT CustomGetFilePointer(void* handle, long long* position);
// `origin` as in QvFile.
[[nodiscard]] HRESULT CustomSetFilePointer(void* handle, long long offset, unsigned int origin);
[[nodiscard]] HRESULT CustomGetFileSize(void* handle, long long* size);

// Fewer bytes than asked for come only at the end of the file. `*read` is 0 on failure.
[[nodiscard]] HRESULT CustomReadFile(void* handle, void* buffer, unsigned int size,
                                     unsigned int* read);
// A failure is 0xA00C0000 with the platform's error number in the low 16 bits, 6 for a null handle.
// `*written` is 0 on failure. The last argument has no meaning.
[[nodiscard]] HRESULT CustomWriteFile(void* handle, const void* buffer, unsigned int size,
                                      unsigned int* written, void*);
// Ends the file at the current position.
[[nodiscard]] HRESULT CustomSetEOF(void* handle);

}  // namespace QUIRVA
