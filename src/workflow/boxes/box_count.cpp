#include "workflow/boxes/box_count.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <vector>

#include "foundation/big_endian.h"
#include "foundation/cursor.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

constexpr std::size_t kHeader = 8;

// A descriptor takes two bytes of the file and half as much memory as a box.
constexpr std::size_t kBytesOfDescriptors = 4;

// Bytes between the header of a box and its children; nothing for a box that has none.
struct Container {
  unsigned int type;
  std::size_t fields;
};
constexpr std::size_t kVisualFields = 78;  // of "avc1" and "mp4v"
constexpr std::size_t kAudioFields = 28;   // of "mp4a", and the extension of version 1
constexpr std::size_t kAudioExtension = 16;
constexpr Container kContainers[] = {
    {FourCc("avc1"), kVisualFields},
    {FourCc("dinf"), 0},
    {FourCc("dref"), 8},
    {FourCc("edts"), 0},
    {FourCc("mdia"), 0},
    {FourCc("minf"), 0},
    {FourCc("moov"), 0},
    {FourCc("mp4a"), kAudioFields},
    {FourCc("mp4v"), kVisualFields},
    {FourCc("mvex"), 0},
    {FourCc("stbl"), 0},
    {FourCc("stsd"), 8},
    {FourCc("trak"), 0},
    {FourCc("tref"), 0},
};

class Counter {
 public:
  explicit Counter(std::span<const unsigned char> bytes) : bytes_(bytes) {}

  std::size_t Run() {
    std::vector<std::size_t> ends = {bytes_.size()};
    while (!ends.empty()) {
      if (at_ + kHeader > ends.back()) {
        at_ = std::max(at_, ends.back());
        ends.pop_back();
        continue;
      }
      const std::size_t begin = at_;
      if (!TakeHeader()) break;
      // A child that runs past its parent is read before its parent is found to be wrong.
      const std::size_t end = begin + std::min(size_, bytes_.size() - begin);
      if (!EntersChildren(end)) {
        at_ = end;
      } else {
        ends.push_back(end);
      }
    }
    return count_;
  }

 private:
  // False where a parser would give up.
  bool TakeHeader() {
    const std::size_t there = bytes_.size() - at_;
    size_ = Number<QUIRVA::be32>(at_);
    type_ = static_cast<unsigned int>(Number<QUIRVA::be32>(at_ + 4));
    ++count_;
    fields_ = at_ + kHeader;
    if (size_ == 1) {
      if (there < kHeader + 8) return false;
      size_ = Number<QUIRVA::be64>(fields_);
      fields_ += 8;
    }
    return size_ >= fields_ - at_;
  }

  // Whether the box has children; the walk then stands at the first of them.
  bool EntersChildren(std::size_t end) {
    if (type_ == FourCc("esds")) count_ += (end - at_) / kBytesOfDescriptors;
    const auto container = std::find_if(std::begin(kContainers), std::end(kContainers),
                                        [this](const Container& row) { return row.type == type_; });
    if (container == std::end(kContainers)) return false;
    std::size_t children = fields_ + container->fields;
    if (type_ == FourCc("mp4a") && fields_ + 10 <= end && Number<QUIRVA::be16>(fields_ + 8) == 1)
      children += kAudioExtension;
    if (children > end) return false;
    at_ = children;
    return true;
  }

  template <class Field>
  std::uint64_t Number(std::size_t at) const {
    const unsigned char* in = bytes_.data() + at;
    auto rest = static_cast<unsigned int>(std::min<std::size_t>(bytes_.size() - at, sizeof(Field)));
    Field field{};
    static_cast<void>(QUIRVA::Take(in, rest, field));
    return field;
  }

  std::span<const unsigned char> bytes_;
  std::size_t at_ = 0;
  std::size_t count_ = 0;
  std::size_t size_ = 0;    // of the box whose header was taken
  unsigned int type_ = 0;   // of it
  std::size_t fields_ = 0;  // where it goes on behind its header
};

}  // namespace

std::size_t CountBoxes(std::span<const unsigned char> bytes) { return Counter(bytes).Run(); }

}  // namespace clipchain
