#include "workflow/rescue/sound_entry.h"
#include "foundation/fourcc.h"

namespace clipchain::rescue {

namespace {

// ES_Descriptor.
constexpr unsigned int kStreamTag = 3;
// DecoderConfigDescriptor.
constexpr unsigned int kDecoderTag = 4;
// DecoderSpecificInfo.
constexpr unsigned int kDecoderSpecificTag = 5;
constexpr std::size_t kVersionAt = 16;

// Fields in front of the boxes of a sound entry, by its version: 1 and 2 are
// QuickTime's.
std::size_t LeadOf(const Bytes& entry) {
  constexpr std::size_t kLead = 36;
  if (entry.size() < kLead) return kLead;
  const unsigned int version =
      static_cast<unsigned int>(entry[kVersionAt] << 8) | entry[kVersionAt + 1];
  return version == 1 ? kLead + 16 : version == 2 ? kLead + 36 : kLead;
}

// Takes the head of a descriptor (ISO/IEC 14496-1, 8.3.3): its length is told
// in groups of 7 bits.
bool TakeHead(std::span<const unsigned char>& in, unsigned int& tag, std::size_t& size) {
  if (in.empty()) return false;
  tag = in[0];
  size = 0;
  for (std::size_t i = 1; i < in.size() && i <= 4; ++i) {
    size = size << 7 | (in[i] & 127U);
    if ((in[i] & 128U) != 0) continue;
    in = in.subspan(i + 1);
    return size <= in.size();
  }
  return false;
}

}  // namespace

StreamDescription DescribeStream(const Bytes& entry) {
  StreamDescription found;
  const std::size_t lead = LeadOf(entry);
  Bytes record = EntryBox(entry, FourCc("esds"), lead);
  if (record.empty()) record = EntryBox(EntryBox(entry, FourCc("wave"), lead), FourCc("esds"), 0);
  constexpr std::size_t kFullBox = 4;
  if (record.size() < kFullBox) return found;
  std::span<const unsigned char> in(record);
  in = in.subspan(kFullBox);
  unsigned int tag = 0;
  std::size_t size = 0;
  while (TakeHead(in, tag, size)) {
    const std::size_t fields = tag == kStreamTag ? 3 : tag == kDecoderTag ? 13 : size;
    if (fields > in.size()) break;
    if (tag == kDecoderTag) found.objectType = in[0];
    if (tag == kDecoderSpecificTag) {
      found.specific.assign(in.begin(), in.begin() + static_cast<std::ptrdiff_t>(size));
      break;
    }
    in = in.subspan(fields);
  }
  return found;
}

}  // namespace clipchain::rescue
