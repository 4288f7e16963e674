// Prepares the heap for the tables of many clips.
#pragma once

namespace clipchain {

// To be called once, before other threads run. What the system does not grant is done without.
void PrepareHeap();

}  // namespace clipchain
