// A folder of its own for a test, gone at its end; whole files in and out.
#pragma once

#include <filesystem>
#include <string>

#include "support/bytes.h"

namespace support {

class TempDir {
 public:
  explicit TempDir(const std::filesystem::path& parent = std::filesystem::temp_directory_path());
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

void WriteFile(const std::filesystem::path& path, const Bytes& bytes);
Bytes ReadFile(const std::filesystem::path& path);
// A file of hexadecimal digits; "#" and what follows on its line is a comment.
Bytes ReadHexFile(const std::filesystem::path& path);

// A file below the root of the source tree.
std::filesystem::path SourcePath(const std::string& relative);
// The folder of clips that the tests make with ffmpeg, one folder for each family; empty where they
// were not made.
std::filesystem::path MadeMedia();
// The folder of real files beside the checkout; empty where it is absent.
std::filesystem::path RealMedia();

}  // namespace support
