// Puts files one behind the other and flushes them, in the plainest ways that are fast: what a
// merge that copies is measured against.
//
//   plain_loop loop|range OUT IN...
//
// loop: 256 KiB at a time, with space reserved and the disk told early. range: copy_file_range.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <vector>

namespace {

constexpr std::size_t kBlock = 256 * 1024;
constexpr off_t kFlushStep = 8 * 1024 * 1024;

struct Output {
  int file;
  off_t end = 0;
  off_t flushed = 0;

  void Wrote(ssize_t count) {
    end += count;
    if (end - flushed < kFlushStep) return;
    ::sync_file_range(file, flushed, end - flushed, SYNC_FILE_RANGE_WRITE);
    flushed = end;
  }
};

bool Copy(int in, Output& out) {
  static std::vector<char> block(kBlock);
  ssize_t came = 0;
  while ((came = ::read(in, block.data(), block.size())) > 0) {
    if (::write(out.file, block.data(), static_cast<std::size_t>(came)) != came) return false;
    out.Wrote(came);
  }
  return came == 0;
}

bool CopyRange(int in, Output& out) {
  ssize_t came = 0;
  while ((came = ::copy_file_range(in, nullptr, out.file, nullptr, kFlushStep, 0)) > 0)
    out.Wrote(came);
  return came == 0;
}

off_t SizeOf(const char* path) {
  struct stat status;
  return ::stat(path, &status) == 0 ? status.st_size : 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) return 2;
  const bool isRange = std::string_view(argv[1]) == "range";
  Output out{::open(argv[2], O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666)};
  off_t size = 0;
  for (int i = 3; i < argc; ++i) size += SizeOf(argv[i]);
  if (out.file < 0) return 1;
  static_cast<void>(::fallocate(out.file, FALLOC_FL_KEEP_SIZE, 0, size));
  for (int i = 3; i < argc; ++i) {
    const int in = ::open(argv[i], O_RDONLY | O_CLOEXEC);
    if (in < 0 || !(isRange ? CopyRange(in, out) : Copy(in, out))) {
      std::perror(argv[i]);
      return 1;
    }
    ::close(in);
  }
  return ::fsync(out.file) == 0 && ::close(out.file) == 0 ? 0 : 1;
}
