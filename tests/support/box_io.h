// Parsing and serialising boxes in tests.
#pragma once

#include <memory>
#include <utility>

#include "box/box.h"
#include "box/box_factory.h"
#include "support/bytes.h"
#include "support/result_matchers.h"

namespace support {

// Parses a whole box and gives the code; what is left of the cursor can be asked for.
inline HRESULT ParseBox(MP4G::CBox& box, const Bytes& bytes, unsigned int* left = nullptr) {
  const unsigned char* in = bytes.data();
  unsigned int rest = static_cast<unsigned int>(bytes.size());
  const HRESULT result = box.SetData(in, rest);
  if (left != nullptr) *left = rest;
  return result;
}

// A box of class T made by the factory for the type in the bytes and parsed from them; null if any
// step fails.
template <class T>
std::unique_ptr<T> Parsed(const Bytes& bytes) {
  T* made = nullptr;
  if (MP4G::CBoxFactory::CreateBox<T>(ReadU32(bytes, 4), &made) != S_OK) return nullptr;
  std::unique_ptr<T> box(made);
  return ParseBox(*box, bytes) == S_OK ? std::move(box) : nullptr;
}

// Serialises with FixParam first; empty if any step fails.
inline Bytes FixAndWrite(MP4G::CBox& box) {
  long long size = 0;
  if (box.FixParam() != S_OK || box.GetDataSize(&size) != S_OK) return {};
  Bytes bytes(static_cast<std::size_t>(size), 0xEE);
  unsigned char* out = bytes.data();
  unsigned int rest = static_cast<unsigned int>(bytes.size());
  if (box.GetData(out, rest) != S_OK || rest != 0) return {};
  return bytes;
}

}  // namespace support
