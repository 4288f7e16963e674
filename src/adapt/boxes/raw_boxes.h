// Keeps a box as a tree with every byte: edited in place, written back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <utility>
#include <vector>

namespace clipchain {

using Bytes = std::vector<unsigned char>;

// One box. A container's body is its children and, behind them, bytes that are no box; any other
// body is bytes alone. Written unchanged, a tree gives the bytes it was read from.
class RawBox {
 public:
  RawBox() = default;
  // A box without children that holds `body`.
  RawBox(unsigned int boxType, Bytes body) : type(boxType), data(std::move(body)) {}

  // Takes the box at the start of `bytes` and moves behind it; its size may say less than there is,
  // never more. False: there is no box, and nothing was taken. Where a child of a container does
  // not fit, it and all behind it stay bytes.
  [[nodiscard]] bool Take(std::span<const unsigned char>& bytes);

  std::uint64_t Size() const;
  // Appends.
  void Write(Bytes& out) const;
  // As it stands in a file.
  Bytes Written() const;

  // The first child of that type; null without one.
  RawBox* Child(unsigned int childType);
  const RawBox* Child(unsigned int childType) const;
  // The first box down a path of types below this one; null where a step is missing.
  RawBox* At(std::initializer_list<unsigned int> path);
  const RawBox* At(std::initializer_list<unsigned int> path) const;
  // All children of that type.
  void Remove(unsigned int childType);

  unsigned int type = 0;
  // Written with a size of 64 bits, whether it is needed or not.
  bool large = false;
  std::vector<RawBox> children;
  // The body of a box without children, or what stands behind the children.
  Bytes data;

 private:
  void TakeChildren(std::span<const unsigned char> body, unsigned int depth);
  bool TakeAt(std::span<const unsigned char>& bytes, unsigned int depth);
};

// Whether the body of such a box is nothing but boxes (ISO/IEC 14496-12, table 1). Boxes whose
// children stand behind fields ("stsd", "meta", "dref") keep them as bytes.
bool IsRawContainer(unsigned int type);

}  // namespace clipchain
