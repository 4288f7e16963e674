// Compares moments as the system tells them.
#pragma once

#include <ctime>

namespace clipchain {

inline bool IsSameTime(const timespec& a, const timespec& b) {
  return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

}  // namespace clipchain
