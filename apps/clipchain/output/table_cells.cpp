#include "clipchain/output/table_cells.h"

#include <fmt/format.h>

#include "workflow/findings/clip_words.h"

namespace clipchain {

std::string StateCell(bool identified, bool closedAtHead, bool closedAtTail, const Paint& paint) {
  const bool complete = identified && closedAtHead && closedAtTail;
  const bool open = !closedAtHead || !closedAtTail;
  // As wide as "open at both ends": padded ahead of the colour, whose escape sequences take no
  // column.
  return paint(complete ? Colour::kGood
               : open   ? Colour::kWarning
                        : Colour::kNote,
               fmt::format("{:17}", StateWords(identified, closedAtHead, closedAtTail)));
}

}  // namespace clipchain
