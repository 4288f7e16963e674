// Calls by the place in an object's table of virtual operations: what a program does that was
// compiled against an interface before.
#pragma once

namespace support {

#if defined(__clang__)
// The sanitizer compares types by their names, and a slot has none.
#define CLIPCHAIN_UNCHECKED_CALL __attribute__((no_sanitize("function")))
#else
#define CLIPCHAIN_UNCHECKED_CALL
#endif

// Calls slot number `slot`, from 0, of the object or sub-object at `object`.
template <class Result, class... Arguments>
CLIPCHAIN_UNCHECKED_CALL Result CallSlot(void* object, int slot, Arguments... arguments) {
  void** table = *static_cast<void***>(object);
  return reinterpret_cast<Result (*)(void*, Arguments...)>(table[slot])(object, arguments...);
}

}  // namespace support
