// Measures work by the time of the processor, which is the same however busy the machine is.
#pragma once

#include <ctime>

namespace support {

// Of all threads of this program.
template <typename Work>
double ProcessorSeconds(Work work) {
  const std::clock_t start = std::clock();
  work();
  return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

}  // namespace support
