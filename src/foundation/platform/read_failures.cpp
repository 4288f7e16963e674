#include "foundation/platform/read_failures.h"

#include <sys/stat.h>

#include <cerrno>
#include <mutex>
#include <new>
#include <vector>

namespace QUIRVA {

namespace {

// Whoever listens, and all that they know: failures are rare.
std::mutex listenersMutex;
std::vector<ReadFailures*> listeners;

}  // namespace

ReadFailures::ReadFailures() {
  const std::lock_guard lock(listenersMutex);
  listeners.push_back(this);
}

ReadFailures::~ReadFailures() {
  const std::lock_guard lock(listenersMutex);
  std::erase(listeners, this);
}

int ReadFailures::Of(const std::string& path, dev_t device, ino_t inode) const {
  const std::lock_guard lock(listenersMutex);
  if (const auto failure = paths_.find(path); failure != paths_.end()) return failure->second;
  const auto failure = files_.find({device, inode});
  return failure != files_.end() ? failure->second : unknown_;
}

// Callers are functions of C: nothing may be thrown.
void NoteReadFailure(const char* path) {
  const int error = errno;
  const std::lock_guard lock(listenersMutex);
  for (ReadFailures* const listener : listeners) {
    try {
      listener->paths_.emplace(path, error);
    } catch (const std::bad_alloc&) {
      listener->unknown_ = error;
    }
  }
  errno = error;
}

void NoteReadFailure(int descriptor) {
  const int error = errno;
  const std::lock_guard lock(listenersMutex);
  struct stat status;
  const bool isKnown = ::fstat(descriptor, &status) == 0;
  for (ReadFailures* const listener : listeners) {
    try {
      if (isKnown) {
        listener->files_.emplace(std::pair(status.st_dev, status.st_ino), error);
      } else {
        listener->unknown_ = error;
      }
    } catch (const std::bad_alloc&) {
      listener->unknown_ = error;
    }
  }
  errno = error;
}

}  // namespace QUIRVA
