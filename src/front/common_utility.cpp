#include "front/common_utility.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "foundation/result.h"
#include "foundation/strings.h"

const char* QVCommonUtility::convertNSStringToChar(const char* text) {
  std::fill(std::begin(_charPath), std::end(_charPath), '\0');
  HRESULT converted = S_OK;
  const QUIRVA::CMacChar wideText(text, converted);
  if (converted != S_OK) return nullptr;
  const std::string_view bytes = text;
  if (bytes.size() >= std::size(_charPath)) return nullptr;
  std::copy(bytes.begin(), bytes.end(), _charPath);
  return _charPath;
}
