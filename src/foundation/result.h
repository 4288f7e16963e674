// The 32-bit result codes of the engine and the macros that pass them on.
#pragma once

#include <cstdint>
#include <string>

#include "foundation/export.h"

// 0 is success, 1 (S_FALSE) is positive and soft, a value with the top bit set is a failure.
using HRESULT = std::int32_t;

#define CLIPCHAIN_RESULT(name, value) \
  inline constexpr HRESULT name = static_cast<HRESULT>(value##u);
#include "foundation/result_codes.inc"
#undef CLIPCHAIN_RESULT

// The sum of a failed file write: this value, with the platform's error number in the low 16 bits.
inline constexpr std::uint32_t kFileWriteFailure = 0xA00C0000u;

// The name of a code as it stands in the source ("E_BAD_DATA"), or its eight hexadecimal digits
// ("0x80000003").
CLIPCHAIN_API std::string ResultName(HRESULT code);

// Passes any non-zero result up: S_FALSE stops here like a failure.
#define RETURN_IF_NOT_OK(expr)                                                                \
  do {                                                                                        \
    if (const HRESULT returnIfResult = (expr); returnIfResult != S_OK) return returnIfResult; \
  } while (false)

// Passes failures up and lets soft results through.
#define RETURN_IF_NEGATIVE(expr)                                                          \
  do {                                                                                    \
    if (const HRESULT returnIfResult = (expr); returnIfResult < 0) return returnIfResult; \
  } while (false)

// Answers `code` when the condition holds.
#define RETURN_IF(condition, code) \
  do {                             \
    if (condition) return code;    \
  } while (false)
