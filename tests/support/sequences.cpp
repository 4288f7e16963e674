#include "support/sequences.h"

#include "support/movie_builder.h"

namespace support {

Bytes PlainClip(std::uint32_t creationTime) {
  MovieBuilder movie;
  movie.creationTime = creationTime;
  return movie.Build();
}

Bytes TinyClip(const VendorBox& box, std::uint32_t creationTime) {
  return WithVendorBox(PlainClip(creationTime), box);
}

VendorBox ChainLink(unsigned int number, unsigned int length, unsigned int base) {
  const auto id = [base](unsigned int n) { return Id(static_cast<std::uint8_t>(base + n)); };
  VendorBox box;
  box.unique = id(number);
  if (number > 1) box.pre = id(number - 1);
  if (number < length) box.next = id(number + 1);
  return box;
}

}  // namespace support
