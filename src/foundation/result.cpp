#include "foundation/result.h"

#include <cstdio>

std::string ResultName(HRESULT code) {
  switch (code) {
#define CLIPCHAIN_RESULT(name, value) \
  case name:                          \
    return #name;
#include "foundation/result_codes.inc"
#undef CLIPCHAIN_RESULT
    default:
      break;
  }
  char digits[11];
  std::snprintf(digits, sizeof digits, "0x%08X", static_cast<std::uint32_t>(code));
  return digits;
}
