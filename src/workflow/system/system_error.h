// Carries errors of the system.
#pragma once

#include <cerrno>
#include <system_error>

namespace clipchain {

// Of a number of the system; 0 is none.
[[nodiscard]] inline std::error_code SystemError(int number) {
  return {number, std::generic_category()};
}

// Of the call of the system that failed just now.
[[nodiscard]] inline std::error_code LastError() { return SystemError(errno); }

// What a call answered that says -1 where it failed, and why in errno.
[[nodiscard]] inline std::error_code ErrorOf(int answer) {
  return answer < 0 ? LastError() : std::error_code();
}

}  // namespace clipchain
