#include "foundation/buffers.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

#include "foundation/platform/pages.h"

namespace QUIRVA {

namespace {

constexpr unsigned int kLargest = std::numeric_limits<unsigned int>::max();

// From here on a block is pages of its own. The C allocator would clear a large block that it has
// given out before, whether or not it is used.
constexpr std::size_t kPageBlockSize = 1024 * 1024;

}  // namespace

void FreeBlock::operator()(unsigned char* block) const {
  if (pageBytes != 0) {
    FreePages(block, pageBytes);
  } else {
    std::free(block);
  }
}

MemoryBlock MakeZeroedBlock(std::size_t size) {
  if (size == 0) return nullptr;
  const std::size_t pageBytes = size >= kPageBlockSize ? size : 0;
  void* block = pageBytes != 0 ? AllocatePages(size) : std::calloc(size, 1);
  if (block == nullptr) throw std::bad_alloc();
  return MemoryBlock(static_cast<unsigned char*>(block), FreeBlock{pageBytes});
}

// A copy of an empty buffer is empty: the refusal to take no bytes says the same.
CSimpleBuffer::CSimpleBuffer(const CSimpleBuffer& other) { static_cast<void>(Copy(other)); }

CSimpleBuffer& CSimpleBuffer::operator=(const CSimpleBuffer& other) {
  static_cast<void>(Copy(other));
  return *this;
}

void CSimpleBuffer::Reset() { ResetBuffer(); }

void CSimpleBuffer::ResetBuffer() {
  data_.reset();
  size_ = 0;
}

HRESULT CSimpleBuffer::SetSize(unsigned long long size) {
  RETURN_IF(size > kLargest, E_INVALIDARG);
  RETURN_IF(size == size_, S_OK);
  ResetBuffer();
  data_ = MakeZeroedBlock(static_cast<std::size_t>(size));
  size_ = static_cast<unsigned int>(size);
  return S_OK;
}

HRESULT CSimpleBuffer::SetData(const unsigned char* data, unsigned int size) {
  RETURN_IF(data == nullptr || size == 0, E_INVALIDARG);
  MemoryBlock old;  // the bytes may be this buffer's own
  if (size != size_) {
    old = std::move(data_);
    size_ = 0;
  }
  RETURN_IF_NOT_OK(SetSize(size));
  std::memmove(data_.get(), data, size);
  return S_OK;
}

HRESULT CSimpleBuffer::Copy(const CSimpleBuffer& other) {
  RETURN_IF(other.data_ == data_, S_OK);
  return SetData(other.data_.get(), other.size_);
}

void CustomBuffer::Reset() {
  data_.reset();
  capacity_ = 0;
  used_ = 0;
  addPermitted_ = 1;
}

void CustomBuffer::Clear() {
  if (data_ != nullptr) std::memset(data_.get(), 0, used_);
  used_ = 0;
}

MemoryBlock CustomBuffer::ReplaceBlock(unsigned int size) {
  MemoryBlock block = MakeZeroedBlock(size);
  if (used_ != 0) std::memcpy(block.get(), data_.get(), used_);
  data_.swap(block);
  capacity_ = size;
  return block;
}

HRESULT CustomBuffer::Allocate(unsigned int size) {
  if (capacity_ < size) ReplaceBlock(size);
  return S_OK;
}

HRESULT CustomBuffer::Add(const unsigned char* data, unsigned int size) {
  RETURN_IF(addPermitted_ == 0 || data == nullptr || size == 0, S_FALSE);
  RETURN_IF(size > kLargest - used_, E_OUTOFMEMORY);
  MemoryBlock old;  // the bytes may be this buffer's own
  if (size > capacity_ - used_) old = ReplaceBlock(used_ + size);
  std::memcpy(data_.get() + used_, data, size);
  used_ += size;
  return S_OK;
}

void CustomBuffer::SetUsedSize(unsigned int size) { used_ = std::min(size, capacity_); }

// Without memory the queue starts with no block, and the first growth asks again and reports.
QvMemBuffer::QvMemBuffer(unsigned int size) : lock_(std::make_unique<QvCritSec>()) {
  static_cast<void>(MemReAlloc(size));
}

QvMemBuffer::~QvMemBuffer() {
  const QvAutoLock guard(lock_.get(), kWaitForever, nullptr);
  block_.reset();
  dataSize_ = 0;
}

HRESULT QvMemBuffer::MemReAlloc(unsigned int size) {
  const QvAutoLock guard(lock_.get(), kWaitForever, nullptr);
  RETURN_IF(size / 8 > kLargest - size, E_OUTOFMEMORY);
  const unsigned int target = size + size / 8;
  RETURN_IF(capacity_ >= target, S_OK);
  MemoryBlock block(static_cast<unsigned char*>(std::malloc(target)));
  RETURN_IF(block == nullptr, E_OUTOFMEMORY);
  if (dataSize_ != 0) std::memcpy(block.get(), head_, dataSize_);
  block_ = std::move(block);
  head_ = block_.get();
  capacity_ = target;
  return S_OK;
}

HRESULT QvMemBuffer::Extend(unsigned int size) {
  RETURN_IF(size > kLargest - dataSize_, E_OUTOFMEMORY);
  const unsigned int total = dataSize_ + size;
  if (capacity_ < total) RETURN_IF_NEGATIVE(MemReAlloc(total));
  const auto headOffset = static_cast<unsigned int>(head_ - block_.get());
  if (headOffset > capacity_ - total) {
    std::memmove(block_.get(), head_, dataSize_);
    head_ = block_.get();
  }
  return S_OK;
}

HRESULT QvMemBuffer::Push(const unsigned char* data, unsigned int size) {
  const QvAutoLock guard(lock_.get(), kWaitForever, nullptr);
  RETURN_IF_NOT_OK(Extend(size));
  if (size != 0) std::memcpy(head_ + dataSize_, data, size);
  dataSize_ += size;
  return S_OK;
}

HRESULT QvMemBuffer::BuffAlloc(unsigned int size) {
  const QvAutoLock guard(lock_.get(), kWaitForever, nullptr);
  RETURN_IF_NOT_OK(Extend(size));
  dataSize_ += size;
  return S_OK;
}

HRESULT QvMemBuffer::Pop(unsigned int size) {
  RETURN_IF(size == 0, S_OK);
  const QvAutoLock guard(lock_.get(), kWaitForever, nullptr);
  if (dataSize_ <= size) {
    head_ = block_.get();
    dataSize_ = 0;
  } else {
    head_ += size;
    dataSize_ -= size;
  }
  return S_OK;
}

HRESULT QvMemBuffer::CutTail(unsigned int size) {
  RETURN_IF(size == 0, S_OK);
  const QvAutoLock guard(lock_.get(), kWaitForever, nullptr);
  dataSize_ -= std::min(dataSize_, size);
  return S_OK;
}

void QvMemBuffer::Reset() {
  const QvAutoLock guard(lock_.get(), kWaitForever, nullptr);
  static_cast<void>(Pop(dataSize_));
}

void QvMemBuffer::SetMemZero() {
  const QvAutoLock guard(lock_.get(), kWaitForever, nullptr);
  if (block_ != nullptr) std::memset(block_.get(), 0, capacity_);
}

}  // namespace QUIRVA
