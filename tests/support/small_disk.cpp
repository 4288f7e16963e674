#include "support/small_disk.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <utility>

namespace support {

namespace {

bool Write(const char* path, const std::string& text) {
  std::ofstream file(path);
  file << text << std::flush;
  return file.good();
}

// Files of the user are root's then; no other user is known there.
bool BecomeRootOfANamespace() {
  const uid_t user = ::geteuid();
  const gid_t group = ::getegid();
  return ::unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0 && Write("/proc/self/setgroups", "deny") &&
         Write("/proc/self/uid_map", "0 " + std::to_string(user) + " 1") &&
         Write("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
}

bool Mount(const std::filesystem::path& path, const char* options) {
  return ::mount("tmpfs", path.c_str(), "tmpfs", 0, options) == 0;
}

}  // namespace

SmallDisk::SmallDisk(std::filesystem::path path, const char* options) : path_(std::move(path)) {
  std::filesystem::create_directory(path_);
  mounted_ = Mount(path_, options) ||
             (errno == EPERM && BecomeRootOfANamespace() && Mount(path_, options));
}

SmallDisk::~SmallDisk() {
  if (mounted_ && ::umount(path_.c_str()) != 0) ADD_FAILURE() << "the disk stays";
}

}  // namespace support
