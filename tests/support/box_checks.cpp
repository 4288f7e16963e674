#include "support/box_checks.h"

#include "box/box_factory.h"
#include "support/box_io.h"

namespace support {

std::unique_ptr<MP4G::CBox> MakeBox(std::string_view type) {
  MP4G::CBox* box = nullptr;
  EXPECT_OK(MP4G::CBoxFactory::CreateBox<MP4G::CBox>(ReadU32(Text(type), 0), &box));
  return std::unique_ptr<MP4G::CBox>(box);
}

long long SizeOf(const MP4G::CBox& box) {
  long long total = -1;
  EXPECT_OK(box.GetDataSize(&total));
  return total;
}

HRESULT WriteBox(const MP4G::CBox& box, std::size_t room, Bytes* written) {
  // A block of exactly this length, so that a sanitizer sees a write behind it.
  const auto block = std::make_unique<unsigned char[]>(room);
  unsigned char* out = block.get();
  unsigned int rest = static_cast<unsigned int>(room);
  const HRESULT result = box.GetData(out, rest);
  EXPECT_EQ(block.get() + (room - rest), out);
  if (written != nullptr) written->assign(block.get(), out);
  return result;
}

void ExpectNeedsEveryByte(const Bytes& bytes) {
  const std::string type(bytes.begin() + 4, bytes.begin() + 8);
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    SCOPED_TRACE(testing::Message() << type << " cut to " << length);
    const auto box = MakeBox(type);
    EXPECT_RESULT(S_FALSE, ParseBox(*box, Bytes(bytes.data(), bytes.data() + length)));
  }
  const auto whole = MakeBox(type);
  ASSERT_OK(ParseBox(*whole, bytes));
  for (std::size_t room = 0; room < bytes.size(); ++room) {
    SCOPED_TRACE(testing::Message() << type << " into " << room);
    EXPECT_RESULT(S_FALSE, WriteBox(*whole, room));
  }
  Bytes written;
  EXPECT_OK(WriteBox(*whole, bytes.size(), &written));
  EXPECT_EQ(bytes, written);
}

}  // namespace support
