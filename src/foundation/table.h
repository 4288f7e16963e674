// A vector for the tables of a file, which have millions of entries.
#pragma once

#include <cstddef>
#include <limits>
#include <new>
#include <vector>

#include "foundation/platform/pages.h"

namespace QUIRVA {

// Memory of a table: entries that are made without a value are not cleared, since they are about to
// be filled, and a large table has pages of its own, which are large ones where there are such.
template <class Entry>
class TableMemory {
 public:
  using value_type = Entry;

  TableMemory() = default;
  template <class Other>
  explicit TableMemory(const TableMemory<Other>&) {}

  Entry* allocate(std::size_t count) {
    if (count > std::numeric_limits<std::size_t>::max() / 2 / sizeof(Entry)) throw std::bad_alloc();
    const std::size_t size = count * sizeof(Entry);
    if (size < kLargePage) return static_cast<Entry*>(::operator new(size));
    void* block = AllocateFilledPages(size);
    if (block == nullptr) throw std::bad_alloc();
    return static_cast<Entry*>(block);
  }
  void deallocate(Entry* block, std::size_t count) {
    const std::size_t size = count * sizeof(Entry);
    if (size < kLargePage) {
      ::operator delete(block);
    } else {
      FreePages(block, size);
    }
  }

  template <class Made>
  void construct(Made* place) {
    ::new (static_cast<void*>(place)) Made;
  }
  template <class Made, class... Values>
  void construct(Made* place, Values&&... values) {
    ::new (static_cast<void*>(place)) Made(static_cast<Values&&>(values)...);
  }

  friend bool operator==(const TableMemory&, const TableMemory&) { return true; }
};

template <class Entry>
using Table = std::vector<Entry, TableMemory<Entry>>;

}  // namespace QUIRVA
