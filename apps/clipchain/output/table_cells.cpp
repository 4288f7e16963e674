#include "clipchain/output/table_cells.h"

#include <fmt/format.h>

#include "workflow/findings/clip_words.h"

namespace clipchain {

std::string StateCell(bool closedAtHead, bool closedAtTail, const Paint& paint) {
  const Colour colour = closedAtHead && closedAtTail ? Colour::kGood : Colour::kWarning;
  return paint(colour, fmt::format("{:17}", StateWords(closedAtHead, closedAtTail)));
}

}  // namespace clipchain
