#include "front/common_utility.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "foundation/result.h"
#include "foundation/strings.h"

const char* QVCommonUtility::convertNSStringToChar(const char* text) {
  const std::string bytes = text != nullptr ? text : "";  // which may lie in _charPath
  std::fill(std::begin(_charPath), std::end(_charPath), '\0');
  HRESULT converted = S_OK;
  const QUIRVA::CMacChar wideText(text != nullptr ? bytes.c_str() : nullptr, converted);
  if (converted != S_OK) return nullptr;
  if (bytes.size() >= std::size(_charPath)) return nullptr;
  std::copy(bytes.begin(), bytes.end(), _charPath);
  return _charPath;
}
