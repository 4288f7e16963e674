#include "workflow/rescue/picture_facts.h"

namespace clipchain::rescue {

PictureFacts TakeFacts(const VideoSyntax& syntax, const AccessUnit& unit, PictureOrder& pictures) {
  const Slice& slice = unit.slice;
  const SequenceSet* sequence = syntax.SequenceOf(slice.pictureSet);
  const std::int64_t order =
      sequence != nullptr ? pictures.Take(syntax.codec(), slice, *sequence) : 0;
  PictureFacts facts;
  facts.setsBack = slice.idr;
  facts.order = static_cast<std::int32_t>(order);
  facts.idr = slice.idr;
  facts.randomAccess = slice.randomAccess;
  facts.recovery = unit.recovery;
  facts.intra = slice.intra;
  facts.holdsSets = unit.holdsSets;
  facts.reference = static_cast<unsigned char>(slice.referenceIdc);
  facts.type = static_cast<unsigned char>(slice.unitType);
  return facts;
}

std::optional<PictureFacts> PictureReader::Take(std::uint64_t position, std::uint64_t size) {
  AccessUnits units(window_, position + size, syntax_, habits_);
  const auto unit = units.At(position, PictureOrder());
  if (!unit || unit->cut || unit->size != size) return std::nullopt;
  return TakeFacts(syntax_, *unit, order_);
}

}  // namespace clipchain::rescue
