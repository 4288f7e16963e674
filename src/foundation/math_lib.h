// Integer ratios.
#pragma once

#include "foundation/export.h"

namespace QUIRVA {

class CLIPCHAIN_API CMathLib {
 public:
  // 0 and n give n, so 0 and 0 give 0.
  static unsigned long long CalcGreatestCommonDivisor(unsigned long long a, unsigned long long b);
  // Divides both by their greatest common divisor, unless that is 0 or 1.
  static void CalcRatio(unsigned long long& a, unsigned long long& b);
};

}  // namespace QUIRVA
