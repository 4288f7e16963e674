// Runs a fuzz target over the files of folders, without a fuzzer: any compiler builds it. Files
// that end in .hex are hexadecimal digits with comments.
//
//   replay_TARGET FOLDER-OR-FILE…
#include <cstdio>
#include <exception>
#include <filesystem>
#include <vector>

#include "support/temp_dir.h"

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

void Replay(const fs::path& file) {
  const support::Bytes bytes =
      file.extension() == ".hex" ? support::ReadHexFile(file) : support::ReadFile(file);
  std::printf("%s\n", file.c_str());
  std::fflush(stdout);
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

std::vector<fs::path> FilesOf(const fs::path& path) {
  std::vector<fs::path> files;
  if (!fs::is_directory(path)) return {path};
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(path))
    if (entry.is_regular_file()) files.push_back(entry.path());
  return files;
}

int ReplayAll(int count, char** arguments) {
  std::size_t replayed = 0;
  for (int i = 1; i < count; ++i) {
    for (const fs::path& file : FilesOf(arguments[i])) {
      Replay(file);
      ++replayed;
    }
  }
  std::printf("%zu inputs, no finding\n", replayed);
  return replayed != 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  LLVMFuzzerInitialize(&argc, &argv);
  try {
    return ReplayAll(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "replay: %s\n", error.what());
    return 1;
  }
}
