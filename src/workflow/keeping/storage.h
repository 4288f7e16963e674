// Finds what a file system lies on: what two devices show is one for whoever erases it.
#pragma once

#include <sys/types.h>

#include <compare>
#include <string>

namespace clipchain {

// A device, or a place in a file that a device shows.
struct Storage {
  dev_t device = 0;
  // Of the file; 0 for a device.
  ino_t inode = 0;
  // Of its first byte in the file.
  unsigned long long offset = 0;

  auto operator<=>(const Storage&) const = default;
};

// What the device shows, if it is a loop device whose file or device can be found; else itself.
// `devices` is where the system describes devices by their numbers.
Storage StorageOf(dev_t device, const std::string& devices = "/sys/dev/block");

// Whether two folders lie on one file system: parts of one may go by different devices.
bool IsOneFileSystem(const std::string& a, const std::string& b);

}  // namespace clipchain
