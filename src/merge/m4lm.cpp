#include "merge/m4lm.h"

#include "foundation/strings.h"
#include "merge/live_merge.h"

using MP4G::CMp4LiveMerge;

int32_t m4lm_createHandle(void** handle) {
  RETURN_IF(handle == nullptr, E_POINTER);
  CMp4LiveMerge* merge = nullptr;
  RETURN_IF_NEGATIVE(CMp4LiveMerge::CreateInstance(&merge));
  RETURN_IF(merge == nullptr, E_POINTER);
  *handle = merge;
  return S_OK;
}

int32_t m4lm_deleteHandle(void* handle) {
  delete static_cast<CMp4LiveMerge*>(handle);
  return S_OK;
}

int32_t m4lm_setOutputPath(void* handle, const char* path) {
  RETURN_IF(handle == nullptr, E_HANDLE);
  RETURN_IF(path == nullptr, E_POINTER);
  return static_cast<CMp4LiveMerge*>(handle)->SetOutputPath(QUIRVA::CEasyStringW(path));
}

int32_t m4lm_inputMp4File(void* handle, const char* path) {
  RETURN_IF(handle == nullptr, E_HANDLE);
  RETURN_IF(path == nullptr, E_POINTER);
  return static_cast<CMp4LiveMerge*>(handle)->InputMp4File(QUIRVA::CEasyStringW(path));
}

int32_t m4lm_inputMp4Data(void* handle, const unsigned char* data, unsigned int size) {
  RETURN_IF(handle == nullptr, E_HANDLE);
  return static_cast<CMp4LiveMerge*>(handle)->InputMp4Data(data, size);
}

int32_t m4lm_finalize(void* handle) {
  RETURN_IF(handle == nullptr, E_HANDLE);
  return static_cast<CMp4LiveMerge*>(handle)->Finalize();
}
