// Repeats calls of the system that a signal has interrupted.
#pragma once

#include <cerrno>

namespace clipchain {

// Makes the call again while a signal interrupts it. Signals come one at a time: a system that
// answers nothing else is at fault, and the call fails in the end.
template <class Call>
auto Uninterrupted(Call call) {
  constexpr int kMostInterruptions = 10000;
  auto result = call();
  for (int left = kMostInterruptions; result < 0 && errno == EINTR && left > 0; --left)
    result = call();
  return result;
}

}  // namespace clipchain
