#include "clip/exif.h"

namespace QUIRVA {

CQvExif::~CQvExif() { UnInitLibrary(); }

HRESULT CQvExif::InitLibrary() {
  RETURN_IF_NEGATIVE(CreateHandle());
  return S_OK;
}

// Nobody waits for the answer, and the handle is gone in any case.
void CQvExif::UnInitLibrary() { static_cast<void>(DestroyHandle()); }

_tagEXIFL_ERR CQvExif::CreateHandle() {
  static_cast<void>(DestroyHandle());
  return EXIFL_CreateHandle(&handle);
}

HRESULT CQvExif::CreateObject() { return TransformtoHRESULT(CreateHandle()); }

_tagEXIFL_ERR CQvExif::DestroyHandle() {
  RETURN_IF(handle == nullptr, S_OK);
  const _tagEXIFL_ERR error = EXIFL_DestroyHandle(handle);
  handle = nullptr;
  return error;
}

HRESULT CQvExif::DestroyObject() { return TransformtoHRESULT(DestroyHandle()); }

bool CQvExif::IsDllLoaded() const { return library != 0; }

const wchar_t* CQvExif::GetDllName() { return L"qvExif.dll"; }

_tagEXIFL_ERR CQvExif::ResetHandle() { return EXIFL_ResetHandle(handle); }

_tagEXIFL_ERR CQvExif::SetInfo(_tagEXIFL_INFO_TYPE type, const void* first, unsigned int firstSize,
                               const void* second, unsigned int secondSize) {
  return EXIFL_SetInfo(handle, type, first, firstSize, second, secondSize);
}

_tagEXIFL_ERR CQvExif::GetInfo(_tagEXIFL_INFO_TYPE type, const void* first, unsigned int firstSize,
                               void* buffer, unsigned int bufferSize) {
  return EXIFL_GetInfo(handle, type, first, firstSize, buffer, bufferSize);
}

_tagEXIFL_ERR CQvExif::SetExifData(const unsigned char* bytes, unsigned int size) {
  return EXIFL_SetExifData(handle, bytes, size);
}

_tagEXIFL_ERR CQvExif::FixParam(unsigned int* size) { return EXIFL_FixParam(handle, size); }

_tagEXIFL_ERR CQvExif::GetExifData(unsigned char* buffer, unsigned int size) {
  return EXIFL_GetExifData(handle, buffer, size);
}

HRESULT CQvExif::TransformtoHRESULT(_tagEXIFL_ERR error) {
  switch (static_cast<std::uint32_t>(error)) {
    case 0:
    case 1:
      return error;
    case 0x80000003:
      return E_HANDLE;
    case 0x80000004:
      return E_INVALIDARG;
    case 0x80000005:
      return E_OUTOFMEMORY;
    case 0x80000006:
      return E_POINTER;
    case 0x80000007:
      return E_NOTIMPL;
    case 0x80000008:
      return E_PENDING;
    case 0x80000009:
      return E_ABORT;
    case 0x8000000A:
      return E_BAD_TYPE;
    case 0x8000000B:
      return E_BAD_DATA;
    default:
      return E_FAIL;
  }
}

}  // namespace QUIRVA
