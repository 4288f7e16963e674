// A file's place as the platform takes it.
#pragma once

#include <optional>
#include <string>

namespace QUIRVA {

// Holds a location, the bytes of a path, or none. Locations are equal if their bytes are; no
// location equals nothing, another missing one included.
class CFSSpec {
 public:
  CFSSpec() = default;                            // no location
  explicit CFSSpec(const char* const& location);  // none if null
  // None if null or if the path has characters that no file name can have.
  explicit CFSSpec(const wchar_t* path);

  bool operator==(const CFSSpec& other) const;
  bool operator!=(const CFSSpec& other) const { return !(*this == other); }

  // What the CFW functions take; null for none. Lives as long as this object.
  const char* GetLocation() const { return location_ ? location_->c_str() : nullptr; }

 private:
  std::optional<std::string> location_;
};

}  // namespace QUIRVA
