// Access to Exif data through a handle that closes itself.
#pragma once

#include <cstdint>

#include "clip/exif_library.h"
#include "foundation/result.h"

namespace QUIRVA {

// A thin wrapper of the functions of clip/exif_library.h. An operation that says "raw" hands on
// their answer unchanged; callers treat it as a result code like any other.
class CQvExif {
 public:
  CQvExif() = default;
  virtual ~CQvExif();
  CQvExif(const CQvExif&) = delete;
  CQvExif& operator=(const CQvExif&) = delete;

  // Opens a fresh handle. A failure is raw, anything else S_OK.
  [[nodiscard]] HRESULT InitLibrary();
  void UnInitLibrary();

  // Each closes a handle that is open; the first two open a new one. With none open, closing is
  // S_OK. The first of each pair is raw, the other a result code.
  [[nodiscard]] _tagEXIFL_ERR CreateHandle();
  [[nodiscard]] HRESULT CreateObject();
  [[nodiscard]] _tagEXIFL_ERR DestroyHandle();
  [[nodiscard]] HRESULT DestroyObject();

  bool IsDllLoaded() const;  // never: the library is linked
  static const wchar_t* GetDllName();

  // Raw, as the functions of the same name.
  [[nodiscard]] _tagEXIFL_ERR ResetHandle();
  [[nodiscard]] _tagEXIFL_ERR SetInfo(_tagEXIFL_INFO_TYPE type, const void* first,
                                      unsigned int firstSize, const void* second,
                                      unsigned int secondSize);
  [[nodiscard]] _tagEXIFL_ERR GetInfo(_tagEXIFL_INFO_TYPE type, const void* first,
                                      unsigned int firstSize, void* buffer,
                                      unsigned int bufferSize);
  [[nodiscard]] _tagEXIFL_ERR SetExifData(const unsigned char* bytes, unsigned int size);
  [[nodiscard]] _tagEXIFL_ERR FixParam(unsigned int* size);
  [[nodiscard]] _tagEXIFL_ERR GetExifData(unsigned char* buffer, unsigned int size);

  // The result code for an answer of the library; E_FAIL for one that it does not define.
  [[nodiscard]] static HRESULT TransformtoHRESULT(_tagEXIFL_ERR error);

  std::uintptr_t library = 0;     // a loaded module; none ever is
  EXIFL_HANDLE handle = nullptr;  // owned; null when none is open
};

}  // namespace QUIRVA
