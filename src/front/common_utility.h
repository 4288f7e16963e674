// Small helpers that go with the front objects.
#pragma once

#include "foundation/export.h"

class CLIPCHAIN_API QVCommonUtility {
 public:
  // The UTF-8 text in a block of its own, valid until the next call on this object; null for null,
  // for bytes that are no UTF-8 and for a text of more than 1023 bytes, which is never cut.
  const char* convertNSStringToChar(const char* text);

 private:
  char _charPath[1024] = {};
};
