// The object that a caller drives to turn a list of MP4 files into one.
#pragma once

#include <memory>
#include <string>

#include "foundation/com.h"
#include "foundation/export.h"
#include "foundation/file_reader.h"
#include "foundation/qv_file.h"

namespace MP4G {

inline constexpr _GUID IID_IMp4LiveMerge = {
    0x7F2DF4F6, 0xDEAC, 0x49EF, {0x8F, 0x0E, 0xDD, 0x44, 0xE6, 0x3E, 0x2D, 0x40}};
inline constexpr _GUID IID_IMp4LiveMergeDelegate = {
    0x96672B0F, 0x2C0D, 0x4A55, {0x96, 0x0C, 0xA7, 0x03, 0x25, 0x3B, 0x38, 0xBB}};

// Hears the progress of each input's media copy, on the caller's thread.
class CLIPCHAIN_API IMp4LiveMergeDelegate {
 public:
  // Bytes of this input copied so far and in all; `current` may exceed `total` in the last call of
  // an input. Zero goes on, any other value ends the input with that value as its result, and the
  // output is deleted.
  [[nodiscard]] virtual HRESULT NotifyProgress(long long current, long long total) = 0;

 protected:
  ~IMp4LiveMergeDelegate() = default;
};

// Inputs are handed in whole, one call at a time, in order; each is merged and copied during its
// call and never looked at again. A failed input deletes the file at the output path, except when
// its source could not be opened (MP4G_E_INPUT_OPEN) or no bytes were given (E_INVALIDARG for null
// or none; the code of an edit list in one of two tracks, too), which touch nothing. After any
// other failure the caller is to stop and release the object.
class CLIPCHAIN_API IMp4LiveMerge : public IUnknown {
 public:
  // Installs the delegate, which is not owned; null turns notification off. E_NOINTERFACE unless
  // `iid` is IID_IMp4LiveMergeDelegate.
  [[nodiscard]] virtual HRESULT SetDelegate(_GUID iid, void* delegate) = 0;
  // Copies the path. It is used when the output is created or deleted.
  [[nodiscard]] virtual HRESULT SetOutputPath(const wchar_t* path) = 0;
  [[nodiscard]] virtual HRESULT InputMp4File(const wchar_t* path) = 0;
  // Takes one whole file from memory; the bytes are copied.
  [[nodiscard]] virtual HRESULT InputMp4Data(const unsigned char* data, unsigned int size) = 0;
  // Writes the movie box and closes the output, whatever the result; the object can then start a
  // new merge. E_POINTER without an input.
  [[nodiscard]] virtual HRESULT Finalize() = 0;

 protected:
  ~IMp4LiveMerge() = default;
};

class CMergeCore;

class CMp4LiveMerge final : public QUIRVA::CComBase, public IMp4LiveMerge {
 public:
  CMp4LiveMerge();
  ~CMp4LiveMerge() override;

  // Makes an object with one reference.
  [[nodiscard]] static HRESULT CreateInstance(CMp4LiveMerge** out);

  [[nodiscard]] HRESULT QueryInterface(_GUID iid, void** object) override;
  std::uint32_t AddRef() override;
  std::uint32_t Release() override;
  [[nodiscard]] HRESULT SetDelegate(_GUID iid, void* newDelegate) override;
  [[nodiscard]] HRESULT SetOutputPath(const wchar_t* path) override;
  [[nodiscard]] HRESULT InputMp4File(const wchar_t* path) override;
  [[nodiscard]] HRESULT InputMp4Data(const unsigned char* data, unsigned int size) override;
  [[nodiscard]] HRESULT Finalize() override;

  [[nodiscard]] HRESULT Init();
  void Reset();

  // What the delegate answers; 0 without one.
  [[nodiscard]] HRESULT NotifyProgress(long long current, long long total);

  std::unique_ptr<CMergeCore> core;
  std::wstring outputPath;
  IMp4LiveMergeDelegate* delegate = nullptr;  // not owned, no reference is taken
};

class CLIPCHAIN_API CMp4LiveMerge_Factory {
 public:
  // Makes the object behind `iid`, which must be IID_IMp4LiveMerge; the caller owns its one
  // reference. E_POINTER for a null `out`, E_NOINTERFACE for another identifier.
  [[nodiscard]] static HRESULT CreateInstance(_GUID iid, void** out);
};

}  // namespace MP4G
