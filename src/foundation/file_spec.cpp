#include "foundation/file_spec.h"

#include "foundation/strings.h"

namespace QUIRVA {

CFSSpec::CFSSpec(const char* const& location) {
  if (location != nullptr) location_ = location;
}

CFSSpec::CFSSpec(const wchar_t* path) {
  if (path != nullptr) location_ = PathBytesFromWide(path);
}

bool CFSSpec::operator==(const CFSSpec& other) const {
  return location_ && other.location_ && *location_ == *other.location_;
}

}  // namespace QUIRVA
