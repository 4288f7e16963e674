// Reads parameter sets.
#pragma once

#include <optional>
#include <utility>

#include "workflow/rescue/syntax_reader.h"
#include "workflow/rescue/video_syntax.h"

namespace clipchain::rescue {

// Each with its identifier; nothing where the set is damaged. The reader stands
// behind the header of the unit.
std::optional<std::pair<unsigned int, SequenceSet>> ReadAvcSequence(SyntaxReader& in);
std::optional<std::pair<unsigned int, PictureSet>> ReadAvcPicture(SyntaxReader& in);
std::optional<std::pair<unsigned int, SequenceSet>> ReadHevcSequence(SyntaxReader& in);
std::optional<std::pair<unsigned int, PictureSet>> ReadHevcPicture(SyntaxReader& in);

}  // namespace clipchain::rescue
