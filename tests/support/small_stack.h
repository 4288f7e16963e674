// Runs code on the smallest stack that an application's worker thread usually has.
#pragma once

#include <functional>

namespace support {

// Returns when `work` has ended. The stack has 512 KiB; twice that where the fuzzer looks on.
void OnSmallStack(const std::function<void()>& work);

}  // namespace support
