#include "foundation/custom_file.h"

#include <cstdlib>

#include "foundation/file_spec.h"
#include "foundation/platform/cfw.h"

namespace QUIRVA {

HRESULT CustomCreateFileHandle(const wchar_t* path, unsigned int access, void** handle,
                               unsigned int, unsigned int) {
  *handle = CFWCreateFile(CFSSpec(path).GetLocation(), access);
  return *handle != nullptr ? S_OK : E_HANDLE;
}

HRESULT CustomCreateFileHandle(const char*, unsigned int, void**, unsigned int, unsigned int) {
  return E_NOTIMPL;
}

HRESULT CustomCloseFileHandle(void* handle) { return CFWCloseHandle(handle); }

HRESULT CustomDeleteFile(const wchar_t* path) { return CFWDeleteFile(CFSSpec(path).GetLocation()); }

HRESULT CustomDeleteFile(const char*) { return E_NOTIMPL; }

HRESULT CustomGetFilePointer(void* handle, long long* position) {
  return CFWGetFilePointer(handle, position);
}

HRESULT CustomSetFilePointer(void* handle, long long offset, unsigned int origin) {
  return CFWSetFilePointer(handle, offset, origin);
}

HRESULT CustomGetFileSize(void* handle, long long* size) { return CFWGetFileSize(handle, size); }

HRESULT CustomReadFile(void* handle, void* buffer, unsigned int size, unsigned int* read) {
  long long count = 0;
  const int result = CFWReadFile(handle, buffer, size, &count);
  *read = static_cast<unsigned int>(count);
  return result;
}

HRESULT CustomWriteFile(void* handle, const void* buffer, unsigned int size, unsigned int* written,
                        void*) {
  long long count = 0;
  const int result = CFWWriteFile(handle, buffer, size, &count);
  *written = static_cast<unsigned int>(count);
  if (result == 0) return S_OK;
  const auto number = static_cast<std::uint32_t>(std::abs(result)) & 0xFFFF;
  return static_cast<HRESULT>(kFileWriteFailure | number);
}

HRESULT CustomSetEOF(void* handle) { return CFWSetEOF(handle); }

}  // namespace QUIRVA
