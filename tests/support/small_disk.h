// A small file system in memory for tests.
#pragma once

#include <filesystem>
#include <string>

namespace support {

// Mounted while it lives. Whoever is not root becomes root of a user namespace of their own for it,
// where the system lets them; the process stays in it.
class SmallDisk {
 public:
  // Creates the folder; `options` are those of tmpfs, such as "size=160k".
  SmallDisk(std::filesystem::path path, const char* options);
  ~SmallDisk();
  SmallDisk(const SmallDisk&) = delete;
  SmallDisk& operator=(const SmallDisk&) = delete;

  bool mounted() const { return mounted_; }
  const std::filesystem::path& path() const { return path_; }
  std::string operator/(const std::string& name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
  bool mounted_ = false;
};

// Why a test can't be run without one.
inline constexpr const char* kNoSmallDisk =
    "mounting a small disk needs root, or a system that lets users have namespaces";

}  // namespace support
