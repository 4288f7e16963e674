#include "workflow/companion.h"

namespace clipchain {

Companion::~Companion() = default;

}  // namespace clipchain
