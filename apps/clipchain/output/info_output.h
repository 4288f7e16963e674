// What one clip says about itself, as the tool prints it.
#pragma once

#include <string>

#include "workflow/clip_info.h"

namespace clipchain {

// `tree`: with the boxes, their positions and sizes.
std::string InfoText(const std::string& path, const ClipInfo& info, bool tree);

// The same for programs; docs/json.md has the fields.
std::string InfoJson(const std::string& path, const ClipInfo& info, bool tree);

}  // namespace clipchain
