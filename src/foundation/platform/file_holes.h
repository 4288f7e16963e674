// The parts of a file for which no disk has room, and which read as zeros.
#pragma once

namespace QUIRVA {

// Where the next byte stands, from `at` on, that is not in a hole: `at` itself where the system
// tells no holes, `end` where nothing but holes comes before it.
unsigned long long PassHoles(const char* path, unsigned long long at, unsigned long long end);

}  // namespace QUIRVA
