// Building, parsing and serialising descriptors in tests.
#pragma once

#include <functional>
#include <initializer_list>
#include <memory>

#include "box/base_descriptor.h"
#include "support/bytes.h"
#include "support/result_matchers.h"

namespace support {

// A descriptor with the shortest length field that fits its parts.
Bytes Descriptor(std::uint8_t tag, std::initializer_list<Bytes> parts = {});
// Its ES descriptor with the given children, its decoder configuration, and the usual SL
// descriptor.
Bytes EsDescriptor(std::initializer_list<Bytes> children = {});
Bytes DecoderConfig(std::uint8_t objectType, std::initializer_list<Bytes> children = {});
Bytes SlConfig();

// A new descriptor of that tag.
std::unique_ptr<MP4G::CBaseDescriptor> MakeDescriptor(std::uint8_t tag);
// Parses a descriptor and gives the code; what is left of the cursor can be asked for.
HRESULT ParseDescriptor(MP4G::CBaseDescriptor& descriptor, const Bytes& bytes,
                        unsigned int* left = nullptr);
// What GetDataSize says.
long long SizeOf(const MP4G::CBaseDescriptor& descriptor);
// Serialises without FixParam into `room` bytes that no other byte follows; `written` gets what
// came out.
HRESULT WriteDescriptor(const MP4G::CBaseDescriptor& descriptor, std::size_t room,
                        Bytes* written = nullptr);
// What GetData gives in a buffer of the reported size, without FixParam; empty if that fails.
Bytes Written(const MP4G::CBaseDescriptor& descriptor);
// The bytes come back unchanged, and every shorter buffer is S_FALSE in both directions.
void ExpectDescriptorNeedsEveryByte(const Bytes& bytes);

// A descriptor whose behaviour a test chooses.
class ChosenDescriptor : public MP4G::CBaseDescriptor {
 public:
  ~ChosenDescriptor() override {
    if (destroyed != nullptr) ++*destroyed;
  }
  [[nodiscard]] HRESULT CreateChildDescriptor(unsigned char childTag,
                                              MP4G::CBaseDescriptor** child) override {
    return create ? create(child) : MP4G::CBaseDescriptor::CreateChildDescriptor(childTag, child);
  }
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override {
    return read ? read(in, rest) : MP4G::CBaseDescriptor::SetDataImpl(in, rest);
  }
  [[nodiscard]] HRESULT FixParamImpl() override { return fixResult; }
  [[nodiscard]] HRESULT GetDataSizeImpl(long long* total) const override {
    *total = size >= 0 ? size : lengthFieldSize + 1;
    return sizeResult;
  }

  std::function<HRESULT(MP4G::CBaseDescriptor**)> create;
  std::function<HRESULT(const unsigned char*&, unsigned int&)> read;
  HRESULT fixResult = S_OK;
  HRESULT sizeResult = S_OK;
  long long size = -1;
  int* destroyed = nullptr;
};

}  // namespace support
