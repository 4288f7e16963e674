#include "foundation/com.h"

#include <algorithm>
#include <cstring>

namespace QUIRVA {

QvAutoLock::QvAutoLock(QvBaseLock* lock, unsigned int timeout, signed char* locked) : lock_(lock) {
  const signed char result = lock_ != nullptr ? lock_->Lock(timeout) : static_cast<signed char>(0);
  if (locked != nullptr) *locked = result;
}

QvAutoLock::~QvAutoLock() { Unlock(); }

int QvAutoLock::Lock(unsigned int timeout) { return lock_ != nullptr ? lock_->Lock(timeout) : 0; }

void QvAutoLock::Unlock() {
  if (lock_ != nullptr) lock_->Unlock();
}

std::uint32_t CComBase::IncreaseRefCount() {
  const QvAutoLock guard(&lock_, kWaitForever, nullptr);
  return ++refCount_;
}

std::uint32_t CComBase::DecreaseRefCount() {
  const QvAutoLock guard(&lock_, kWaitForever, nullptr);
  if (refCount_ != 0) --refCount_;
  return refCount_;
}

HRESULT CComBase::CopyInfo(const void* source, unsigned int sourceSize, void* target,
                           unsigned int targetSize) {
  RETURN_IF(source == nullptr || target == nullptr || sourceSize == 0 || targetSize == 0,
            E_INVALIDARG);
  std::memset(target, 0, targetSize);
  std::memcpy(target, source, std::min(sourceSize, targetSize));
  return S_OK;
}

}  // namespace QUIRVA
