#include "workflow/keeping/storage.h"

#include <fmt/format.h>
#include <linux/magic.h>
#include <linux/major.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>

#include <charconv>
#include <fstream>

namespace clipchain {

namespace {

// A device that shows a device that shows a device: nobody has more.
constexpr int kMostSteps = 8;

// All of a file of the system but the line feed at its end, which a name may have inside.
std::string FieldOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  if (text.ends_with('\n')) text.pop_back();
  return text;
}

bool ReadNumber(const std::string& text, unsigned long long& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

}  // namespace

bool IsOneFileSystem(const std::string& a, const std::string& b) {
  struct stat first, second;
  if (::stat(a.c_str(), &first) != 0 || ::stat(b.c_str(), &second) != 0) return false;
  if (first.st_dev == second.st_dev) return true;
  struct statfs one, other;
  if (::statfs(a.c_str(), &one) != 0 || ::statfs(b.c_str(), &other) != 0) return false;
  // The second half of its number tells subvolumes apart.
  return one.f_type == BTRFS_SUPER_MAGIC && other.f_type == BTRFS_SUPER_MAGIC &&
         one.f_fsid.__val[0] == other.f_fsid.__val[0];
}

Storage StorageOf(dev_t device, const std::string& devices) {
  for (int step = 0; step < kMostSteps && major(device) == LOOP_MAJOR; ++step) {
    const std::string folder = fmt::format("{}/{}:{}/loop/", devices, major(device), minor(device));
    unsigned long long offset = 0;
    struct stat shown;
    if (!ReadNumber(FieldOf(folder + "offset"), offset) ||
        ::stat(FieldOf(folder + "backing_file").c_str(), &shown) != 0)
      break;
    if (!S_ISBLK(shown.st_mode)) return {shown.st_dev, shown.st_ino, offset};
    if (offset != 0) break;
    device = shown.st_rdev;
  }
  return {device, 0, 0};
}

}  // namespace clipchain
