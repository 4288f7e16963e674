#include "workflow/rescue/picture_facts.h"

namespace clipchain::rescue {

PictureFacts FactsOf(const AccessUnit& unit, std::int64_t order) {
  const Slice& slice = unit.slice;
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
  const SequenceSet& sequence = *syntax_.SequenceOf(unit->slice.pictureSet);
  return FactsOf(*unit, order_.Take(syntax_.codec(), unit->slice, sequence));
}

}  // namespace clipchain::rescue
