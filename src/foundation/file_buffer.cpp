#include "foundation/file_buffer.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace QUIRVA {

HRESULT CFileBuffer::QueryInterface(_GUID iid, void** object) {
  RETURN_IF(object == nullptr, E_POINTER);
  RETURN_IF(!(iid == IID_IQvFileReader), E_NOINTERFACE);
  AddRef();
  *object = static_cast<IQvFileReader*>(this);
  return S_OK;
}

std::uint32_t CFileBuffer::AddRef() { return IncreaseRefCount(); }

std::uint32_t CFileBuffer::Release() {
  const std::uint32_t count = DecreaseRefCount();
  if (count == 0) delete this;
  return count;
}

void CFileBuffer::CloseReader() { ResetBuffer(); }

HRESULT CFileBuffer::SetBufferSize(unsigned int) { return S_OK; }

HRESULT CFileBuffer::GetData(long long position, unsigned int size, const unsigned char*& bytes,
                             unsigned int& length) const {
  RETURN_IF(data_ == nullptr, E_POINTER);
  bytes = nullptr;
  length = 0;
  RETURN_IF(position < 0, E_INVALIDARG);
  RETURN_IF(position >= dataSize_, S_FALSE);
  const auto offset = static_cast<unsigned int>(position);
  bytes = data_.get() + offset;
  length = std::min(dataSize_ - offset, size);
  return length < size ? S_FALSE : S_OK;
}

HRESULT CFileBuffer::SetData(const unsigned char* data, unsigned int size) {
  const std::unique_ptr<unsigned char[]> old = std::move(data_);  // the bytes may lie in it
  dataSize_ = 0;
  RETURN_IF(data == nullptr || size == 0, E_INVALIDARG);
  data_ = std::make_unique_for_overwrite<unsigned char[]>(size);
  std::memcpy(data_.get(), data, size);
  dataSize_ = size;
  return S_OK;
}

void CFileBuffer::Reset() { ResetBuffer(); }

void CFileBuffer::ResetBuffer() {
  data_.reset();
  dataSize_ = 0;
}

}  // namespace QUIRVA
