#include "workflow/boxes/box_count.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <vector>

#include "adapt/boxes/box_header.h"
#include "box/box.h"
#include "box/sample_entries.h"
#include "foundation/big_endian.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

constexpr std::size_t kHeader = sizeof(MP4G::_tagBOX_HEADER);

// A descriptor takes two bytes of the file and half as much memory as a box.
constexpr std::size_t kBytesOfDescriptors = 4;

// Bytes between the header of a box and its children; nothing for a box that has none.
struct Container {
  unsigned int type;
  std::size_t fields;
};
constexpr std::size_t kEntryFields = sizeof(MP4G::_tagSAMPLE_ENTRY);
constexpr std::size_t kVisualFields = kEntryFields + sizeof(MP4G::_tagVISUAL_SAMPLE_ENTRY);
constexpr std::size_t kAudioFields = kEntryFields + sizeof(MP4G::_tagAUDIO_SAMPLE_ENTRY);
// Of sound of version 1.
constexpr std::size_t kAudioExtension = sizeof(MP4G::_tagSOUND_SAMPLE_DESCRIPTION_EX);
// In front of a list of boxes: version, flags and their number.
constexpr std::size_t kListFields = sizeof(MP4G::_tagFULL_BOX) + sizeof(QUIRVA::be32);
constexpr Container kContainers[] = {
    {FourCc("avc1"), kVisualFields},
    {FourCc("dinf"), 0},
    {FourCc("dref"), kListFields},
    {FourCc("edts"), 0},
    {FourCc("mdia"), 0},
    {FourCc("minf"), 0},
    {FourCc("moov"), 0},
    {FourCc("mp4a"), kAudioFields},
    {FourCc("mp4v"), kVisualFields},
    {FourCc("mvex"), 0},
    {FourCc("stbl"), 0},
    {FourCc("stsd"), kListFields},
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
    ++count_;
    const auto header = TakeBoxHeader(bytes_.subspan(at_));
    if (!header) return false;
    size_ = header->size;
    type_ = header->type;
    fields_ = at_ + header->headerSize;
    return size_ >= header->headerSize;
  }

  // Whether the box has children; the walk then stands at the first of them.
  bool EntersChildren(std::size_t end) {
    if (type_ == FourCc("esds")) count_ += (end - at_) / kBytesOfDescriptors;
    const auto container = std::find_if(std::begin(kContainers), std::end(kContainers),
                                        [this](const Container& row) { return row.type == type_; });
    if (container == std::end(kContainers)) return false;
    std::size_t children = fields_ + container->fields;
    if (type_ == FourCc("mp4a") && children <= end && HasAudioExtension())
      children += kAudioExtension;
    if (children > end) return false;
    at_ = children;
    return true;
  }

  bool HasAudioExtension() const {
    MP4G::_tagAUDIO_SAMPLE_ENTRY audio;
    std::memcpy(&audio, bytes_.data() + fields_ + kEntryFields, sizeof audio);
    return audio.entryVersion == 1;
  }

  std::span<const unsigned char> bytes_;
  std::size_t at_ = 0;
  std::size_t count_ = 0;
  // Of the box whose header was taken.
  std::size_t size_ = 0;
  // Of it.
  unsigned int type_ = 0;
  // Where it goes on behind its header.
  std::size_t fields_ = 0;
};

}  // namespace

std::size_t CountBoxes(std::span<const unsigned char> bytes) { return Counter(bytes).Run(); }

}  // namespace clipchain
