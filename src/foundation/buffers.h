// Three byte buffers: a sized block, a block that grows by appending, and a queue of bytes.
#pragma once

#include <cstddef>
#include <memory>

#include "foundation/com.h"
#include "foundation/export.h"

namespace QUIRVA {

// Gives a block back to where it came from.
struct FreeBlock {
  std::size_t pageBytes = 0;  // the size of a block of pages; 0 for one of the C allocator
  void operator()(unsigned char* block) const;
};
using MemoryBlock = std::unique_ptr<unsigned char[], FreeBlock>;

// A block of `size` zero bytes whose pages are not touched before they are used; null for size 0.
// Throws std::bad_alloc.
MemoryBlock MakeZeroedBlock(std::size_t size);

// A sized block, zeroed when made: the scratch space for a box's bytes.
class CSimpleBuffer {
 public:
  CSimpleBuffer() = default;
  CSimpleBuffer(const CSimpleBuffer& other);  // empty if `other` is empty
  virtual ~CSimpleBuffer() = default;
  CSimpleBuffer& operator=(const CSimpleBuffer& other);  // an empty `other` changes nothing

  void Reset();
  void ResetBuffer();  // frees the block

  // The present size keeps the contents as they are; any other gives a block of zeros. Above 32
  // bits: E_INVALIDARG. Throws std::bad_alloc, and is empty then.
  [[nodiscard]] HRESULT SetSize(unsigned long long size);
  // Copies `size` bytes in. E_INVALIDARG for null or a size of 0, which change nothing.
  [[nodiscard]] HRESULT SetData(const unsigned char* data, unsigned int size);
  // E_INVALIDARG if `other` is empty and this buffer is not, which then keeps its data.
  [[nodiscard]] HRESULT Copy(const CSimpleBuffer& other);

  unsigned char* GetData() { return data_.get(); }  // null while empty
  const unsigned char* GetData() const { return data_.get(); }
  unsigned int GetSize() const { return size_; }

 private:
  MemoryBlock data_;
  unsigned int size_ = 0;
};

// A block that holds exactly what was added, or more if it was told so beforehand: the read cache
// of the buffered readers.
class CustomBuffer {
 public:
  CustomBuffer() = default;
  virtual ~CustomBuffer() = default;
  CustomBuffer(const CustomBuffer&) = delete;
  CustomBuffer& operator=(const CustomBuffer&) = delete;

  void Reset();  // frees the block
  void Clear();  // zeroes the used bytes and forgets them; the block stays

  // Makes room for `size` bytes in all, keeping the used ones; never shrinks. The rest of a new
  // block is zero. Throws std::bad_alloc.
  [[nodiscard]] HRESULT Allocate(unsigned int size);
  // Appends. A block that is too small is replaced by one of exactly the sum. S_FALSE, with nothing
  // done, for null or a size of 0, or if adding is not permitted; E_OUTOFMEMORY if the sum leaves
  // 32 bits.
  [[nodiscard]] HRESULT Add(const unsigned char* data, unsigned int size);

  unsigned char* GetData() { return data_.get(); }  // null without a block
  const unsigned char* GetData() const { return data_.get(); }
  unsigned int GetCapacity() const { return capacity_; }
  unsigned int GetUsedSize() const { return used_; }
  // Declares the first `size` bytes, at most the capacity, used: they were written into the block.
  void SetUsedSize(unsigned int size);

 protected:
  MemoryBlock data_;
  unsigned int capacity_ = 0;
  unsigned int used_ = 0;
  signed char addPermitted_ = 1;  // a derived class may take the permission away until Reset

 private:
  MemoryBlock ReplaceBlock(unsigned int size);  // gives back the old block
};

// A queue of bytes: in at the tail, out at the head. Growing takes an eighth more than asked for;
// the room in front of a moved head is reclaimed only when the data would reach the end of the
// block. Sizes that leave 32 bits, the eighth included, give E_OUTOFMEMORY and change nothing.
class CLIPCHAIN_API QvMemBuffer {
 public:
  explicit QvMemBuffer(unsigned int size);  // makes room for `size` bytes if there is memory
  ~QvMemBuffer();
  QvMemBuffer(const QvMemBuffer&) = delete;
  QvMemBuffer& operator=(const QvMemBuffer&) = delete;

  // Makes room for `size` bytes and an eighth, with the data at the start of the new block; never
  // shrinks. E_OUTOFMEMORY leaves everything as it was.
  [[nodiscard]] HRESULT MemReAlloc(unsigned int size);
  // Appends; the bytes must not lie in this buffer.
  [[nodiscard]] HRESULT Push(const unsigned char* data, unsigned int size);
  // Appends `size` bytes of whatever the block holds there.
  [[nodiscard]] HRESULT BuffAlloc(unsigned int size);
  // Takes bytes away at the head, or at the tail; more than there are empties the queue. An
  // emptying Pop moves the head back to the start of the block, CutTail never moves it.
  [[nodiscard]] HRESULT Pop(unsigned int size);
  [[nodiscard]] HRESULT CutTail(unsigned int size);
  void Reset();       // pops everything
  void SetMemZero();  // zeroes the whole block; the data keep their place and number

  unsigned char* GetData() { return head_; }  // the head; null without a block
  const unsigned char* GetData() const { return head_; }
  unsigned int GetDataSize() const { return dataSize_; }
  unsigned int GetCapacity() const { return capacity_; }
  const unsigned char* GetBlock() const { return block_.get(); }

 private:
  [[nodiscard]] HRESULT Extend(unsigned int size);  // room for `size` bytes behind the data

  MemoryBlock block_;
  unsigned int dataSize_ = 0;
  unsigned int capacity_ = 0;
  unsigned char* head_ = nullptr;
  std::unique_ptr<QvCritSec> lock_;
};

}  // namespace QUIRVA
