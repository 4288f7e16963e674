#include "support/temp_dir.h"

#include <stdlib.h>

#include <fstream>
#include <stdexcept>
#include <system_error>

namespace support {

namespace fs = std::filesystem;

TempDir::TempDir(const fs::path& parent) {
  std::string pattern = (parent / "clipchain-test-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
  path_ = pattern;
}

TempDir::~TempDir() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

void WriteFile(const fs::path& path, const Bytes& bytes) {
  std::ofstream file(path, std::ios::binary);
  file.write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
  if (!file.flush()) throw std::runtime_error("cannot write " + path.string());
}

Bytes ReadFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path.string());
  Bytes bytes(static_cast<std::size_t>(fs::file_size(path)));
  file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (!file) throw std::runtime_error("cannot read all of " + path.string());
  return bytes;
}

Bytes ReadHexFile(const fs::path& path) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error("cannot read " + path.string());
  std::string digits;
  for (std::string line; std::getline(file, line);) digits += line.substr(0, line.find('#'));
  return Hex(digits);
}

fs::path SourcePath(const std::string& relative) {
  return fs::path(CLIPCHAIN_SOURCE_DIR) / relative;
}

fs::path MadeMedia() {
  const fs::path folder = CLIPCHAIN_TEST_MEDIA;
  return fs::exists(folder / "made-by") ? folder : fs::path();
}

fs::path RealMedia() {
  const fs::path folder = SourcePath("../shared/media");
  return fs::is_directory(folder) ? folder : fs::path();
}

}  // namespace support
