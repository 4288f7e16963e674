// Boxes made by the factory, and what holds for any of them.
#pragma once

#include <memory>
#include <string_view>

#include "box/box.h"
#include "support/bytes.h"
#include "support/result_matchers.h"

namespace support {

// A new box of that type.
std::unique_ptr<MP4G::CBox> MakeBox(std::string_view type);
// What GetDataSize says.
long long SizeOf(const MP4G::CBox& box);
// Serialises without FixParam into `room` bytes that no other byte follows; `written` gets what the
// box wrote.
HRESULT WriteBox(const MP4G::CBox& box, std::size_t room, Bytes* written = nullptr);
// The bytes come back unchanged without FixParam, and every shorter buffer is S_FALSE in both
// directions.
void ExpectNeedsEveryByte(const Bytes& bytes);

}  // namespace support
