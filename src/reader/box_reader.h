// Serialises one box into a block of its own.
#pragma once

#include <memory>
#include <vector>

#include "foundation/buffers.h"
#include "foundation/result.h"

namespace MP4G {

class CBox;

class CBoxReader {
 public:
  // The box, which may be null, must outlive this object.
  explicit CBoxReader(CBox* source) : box(source) {}
  virtual ~CBoxReader() = default;

  // Frees the block.
  void Reset();
  // Runs FixParam on the box and lends its bytes until the next GetData or Reset, or until this
  // object is gone. E_POINTER for a null argument or box, E_BAD_DATA for a size of 0 or beyond 32
  // bits, or what the box says.
  [[nodiscard]] HRESULT GetData(const unsigned char** data, unsigned int* size);

  // The same into bytes of the caller's, which replaces them; after a failure they are anything.
  [[nodiscard]] HRESULT GetData(std::vector<unsigned char>& bytes);

  CBox* box;                                      // not owned
  std::unique_ptr<QUIRVA::CSimpleBuffer> buffer;  // null until the first GetData

 private:
  // Makes the box consistent and says how many bytes it has.
  [[nodiscard]] HRESULT Fix(unsigned int* size);
};

}  // namespace MP4G
