#include "foundation/math_lib.h"

#include <numeric>

namespace QUIRVA {

unsigned long long CMathLib::CalcGreatestCommonDivisor(unsigned long long a, unsigned long long b) {
  return std::gcd(a, b);
}

void CMathLib::CalcRatio(unsigned long long& a, unsigned long long& b) {
  const unsigned long long divisor = CalcGreatestCommonDivisor(a, b);
  if (divisor < 2) return;
  a /= divisor;
  b /= divisor;
}

}  // namespace QUIRVA
