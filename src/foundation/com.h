// The frame that every reference-counted object shares.
#pragma once

#include <cstdint>

#include "foundation/export.h"
#include "foundation/guid.h"
#include "foundation/result.h"

// The root of all interfaces. There is no destructor slot: objects go away through Release alone.
class CLIPCHAIN_API IUnknown {
 public:
  // E_POINTER for a null `object`, E_NOINTERFACE for an identifier that is not served, else S_OK
  // with one reference.
  [[nodiscard]] virtual HRESULT QueryInterface(_GUID iid, void** object) = 0;
  virtual std::uint32_t AddRef() = 0;   // returns the new count
  virtual std::uint32_t Release() = 0;  // returns the new count; at 0 the object is gone

 protected:
  ~IUnknown() = default;
};

inline constexpr _GUID IID_IUnknown = {0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

namespace QUIRVA {

// The timeout that waits for ever; every caller passes it.
inline constexpr unsigned int kWaitForever = 0xFFFFFFFF;

class QvBaseLock {
 public:
  virtual ~QvBaseLock() = default;
  virtual signed char Lock(unsigned int timeout) = 0;  // nonzero when the lock is held
  virtual void Unlock() = 0;
};

// A lock without a mutex: it is always free. No class of the engine gets exclusion from it, which
// is why one object is driven by one thread at a time.
class QvCritSec final : public QvBaseLock {
 public:
  signed char Lock(unsigned int) override { return 1; }
  void Unlock() override {}
};

// Locks at construction and unlocks at destruction, whether or not the lock was had: an explicit
// Unlock followed by destruction unlocks twice. A null lock is allowed and never held.
class QvAutoLock {
 public:
  QvAutoLock(QvBaseLock* lock, unsigned int timeout, signed char* locked);
  ~QvAutoLock();
  QvAutoLock(const QvAutoLock&) = delete;
  QvAutoLock& operator=(const QvAutoLock&) = delete;

  int Lock(unsigned int timeout);  // 0 with a null lock
  void Unlock();

 private:
  QvBaseLock* lock_;
};

// Carries the reference count, 0 after construction. A concrete object derives from it and from its
// interfaces.
class CComBase {
 public:
  CComBase() = default;
  virtual ~CComBase() = default;
  CComBase(const CComBase&) = delete;
  CComBase& operator=(const CComBase&) = delete;

  std::uint32_t IncreaseRefCount();  // returns the new count
  std::uint32_t DecreaseRefCount();  // returns the new count; 0 stays 0

  // Zeroes the whole target and copies the smaller of the two sizes. E_INVALIDARG for a null
  // pointer or a size of 0.
  [[nodiscard]] static HRESULT CopyInfo(const void* source, unsigned int sourceSize, void* target,
                                        unsigned int targetSize);

 private:
  QvCritSec lock_;
  std::uint32_t refCount_ = 0;
};

}  // namespace QUIRVA
