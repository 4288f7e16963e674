#include "support/descriptor_io.h"

#include "box/box_factory.h"

namespace support {

Bytes Descriptor(std::uint8_t tag, std::initializer_list<Bytes> parts) {
  const Bytes body = Join(parts);
  Bytes length;
  for (std::size_t left = body.size(); length.empty() || left != 0; left >>= 7)
    length.insert(length.begin(),
                  static_cast<unsigned char>((left & 0x7F) | (length.empty() ? 0 : 0x80)));
  return Join({U8(tag), length, body});
}

Bytes EsDescriptor(std::initializer_list<Bytes> children) {
  return Descriptor(3, {U16(1), U8(0), Join(children)});
}

Bytes DecoderConfig(std::uint8_t objectType, std::initializer_list<Bytes> children) {
  return Descriptor(
      4, {U8(objectType), U8(0x15), U24(0x1800), U32(128000), U32(96000), Join(children)});
}

Bytes SlConfig() { return Descriptor(6, {U8(2)}); }

std::unique_ptr<MP4G::CBaseDescriptor> MakeDescriptor(std::uint8_t tag) {
  MP4G::CBaseDescriptor* descriptor = nullptr;
  EXPECT_OK(MP4G::CBoxFactory::CreateDescriptor(tag, &descriptor));
  return std::unique_ptr<MP4G::CBaseDescriptor>(descriptor);
}

HRESULT ParseDescriptor(MP4G::CBaseDescriptor& descriptor, const Bytes& bytes, unsigned int* left) {
  const unsigned char* in = bytes.data();
  unsigned int rest = static_cast<unsigned int>(bytes.size());
  const HRESULT result = descriptor.SetData(in, rest);
  if (left != nullptr) *left = rest;
  return result;
}

long long SizeOf(const MP4G::CBaseDescriptor& descriptor) {
  long long total = -1;
  EXPECT_OK(descriptor.GetDataSize(&total));
  return total;
}

HRESULT WriteDescriptor(const MP4G::CBaseDescriptor& descriptor, std::size_t room, Bytes* written) {
  // A block of exactly this length, so that a sanitizer sees a write behind it.
  const auto block = std::make_unique<unsigned char[]>(room);
  unsigned char* out = block.get();
  unsigned int rest = static_cast<unsigned int>(room);
  const HRESULT result = descriptor.GetData(out, rest);
  EXPECT_EQ(block.get() + (room - rest), out);
  if (written != nullptr) written->assign(block.get(), out);
  return result;
}

Bytes Written(const MP4G::CBaseDescriptor& descriptor) {
  Bytes written;
  if (WriteDescriptor(descriptor, static_cast<std::size_t>(SizeOf(descriptor)), &written) != S_OK)
    return {};
  return written;
}

void ExpectDescriptorNeedsEveryByte(const Bytes& bytes) {
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    SCOPED_TRACE(testing::Message() << "cut to " << length);
    const auto cut = MakeDescriptor(bytes[0]);
    EXPECT_RESULT(S_FALSE, ParseDescriptor(*cut, Bytes(bytes.data(), bytes.data() + length)));
  }
  const auto whole = MakeDescriptor(bytes[0]);
  ASSERT_OK(ParseDescriptor(*whole, bytes));
  for (std::size_t room = 0; room < bytes.size(); ++room) {
    SCOPED_TRACE(testing::Message() << "into " << room);
    EXPECT_RESULT(S_FALSE, WriteDescriptor(*whole, room));
  }
  EXPECT_EQ(bytes, Written(*whole));
}

}  // namespace support
