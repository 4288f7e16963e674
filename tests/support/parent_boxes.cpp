#include "support/parent_boxes.h"

#include "box/box_factory.h"
#include "support/movie_builder.h"

namespace support {

namespace {

std::unique_ptr<MP4G::CBox> ParsedBox(unsigned int type, const Bytes& bytes) {
  MP4G::CBox* made = nullptr;
  if (MP4G::CBoxFactory::CreateBox<MP4G::CBox>(type, &made) != S_OK) return nullptr;
  std::unique_ptr<MP4G::CBox> box(made);
  const unsigned char* in = bytes.data();
  auto rest = static_cast<unsigned int>(bytes.size());
  return box->SetData(in, rest) == S_OK ? std::move(box) : nullptr;
}

}  // namespace

std::vector<ParentBox> AllParentBoxes(unsigned int children) {
  Bytes inside;
  for (unsigned int i = 0; i < children; ++i) inside = Join({inside, Box("free")});
  std::vector<ParentBox> parents;
  for (const unsigned int type : MP4G::CBoxFactory::KnownTypes()) {
    for (const unsigned int fields : {0u, 4u, 8u, 28u, 44u, 78u}) {
      // The last field may be the number of the children.
      const Bytes counted = fields < 8 ? Zeros(fields) : Join({Zeros(fields - 4), U32(children)});
      for (const Bytes& front : {Bytes(Zeros(fields)), counted}) {
        Bytes bytes = Box(FourCcText(type), {front, inside});
        std::unique_ptr<MP4G::CBox> box = ParsedBox(type, bytes);
        if (box == nullptr || box->children.size() != children) continue;
        parents.push_back({FourCcText(type), fields, std::move(bytes), std::move(box)});
      }
    }
  }
  return parents;
}

}  // namespace support
