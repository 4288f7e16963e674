// "esds": the descriptors of an MPEG-4 stream, inside its sample entry.
#pragma once

#include <memory>

#include "box/box.h"
#include "box/descriptors.h"

namespace MP4G {

// "esds" (ISO/IEC 14496-14, clause 5.6). Works only after Init, which the factory calls: without a
// descriptor every operation is E_POINTER.
class CESDBox : public CFullBox {
 public:
  [[nodiscard]] HRESULT Init() override;
  // Leaves version and flags as they are.
  void Reset() override;
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override;
  [[nodiscard]] HRESULT FixParamImpl() override;
  [[nodiscard]] HRESULT GetDataSizeImpl(long long* total) const override;
  [[nodiscard]] HRESULT GetDataImpl(unsigned char*& out, unsigned int& rest) const override;

  std::unique_ptr<CEsDescriptor> descriptor;
};

}  // namespace MP4G
