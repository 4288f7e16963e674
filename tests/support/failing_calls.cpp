#include "support/failing_calls.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <utility>

namespace support {

namespace {

Disturbance*& Present(Call call) {
  static Disturbance* present[static_cast<std::size_t>(Call::kWrite) + 1];
  return present[static_cast<std::size_t>(call)];
}

bool Fails(Call call) {
  Disturbance* const disturbance = Present(call);
  return disturbance != nullptr && disturbance->Strikes();
}

// The function of the C library.
template <class Function, class... Arguments>
int Next(const char* name, Arguments... arguments) {
  Function* function = nullptr;
  void* const found = ::dlsym(RTLD_NEXT, name);
  std::memcpy(&function, &found, sizeof function);
  return static_cast<int>(function(arguments...));
}

}  // namespace

Disturbance::Disturbance(Call call, int error, std::size_t first, std::size_t count)
    : call_(call), error_(error), first_(first), strikes_(count) {
  Present(call) = this;
}

Disturbance::Disturbance(Call call, std::function<void()> action, std::size_t index)
    : call_(call), error_(0), first_(index), strikes_(1), action_(std::move(action)) {
  Present(call) = this;
}

Disturbance::~Disturbance() { Present(call_) = nullptr; }

bool Disturbance::Strikes() {
  const std::size_t number = count_++;
  if (number < first_ || number - first_ >= strikes_) return false;
  if (!action_) {
    errno = error_;
    return true;
  }
  Present(call_) = nullptr;
  action_();
  Present(call_) = this;
  return false;
}

}  // namespace support

using support::Call;
using support::Fails;
using support::Next;

// The calls' own names, with the large files that the library is compiled for.
extern "C" {

int flock(int file, int operation) noexcept {
  return Fails(Call::kFlock) ? -1 : Next<int(int, int)>("flock", file, operation);
}

int fstat(int file, struct stat* status) noexcept {
  return Fails(Call::kFstat) ? -1 : Next<int(int, struct stat*)>("fstat64", file, status);
}

int fsync(int file) { return Fails(Call::kFsync) ? -1 : Next<int(int)>("fsync", file); }

int link(const char* from, const char* to) noexcept {
  return Fails(Call::kLink) ? -1 : Next<int(const char*, const char*)>("link", from, to);
}

int open(const char* path, int flags, ...) {
  va_list more;
  va_start(more, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
  va_end(more);
  return Fails(Call::kOpen) ? -1 : Next<int(const char*, int, ...)>("open64", path, flags, mode);
}

int rename(const char* from, const char* to) noexcept {
  return Fails(Call::kRename) ? -1 : Next<int(const char*, const char*)>("rename", from, to);
}

int renameat2(int fromFolder, const char* from, int toFolder, const char* to,
              unsigned int flags) noexcept {
  return Fails(Call::kRenameat2) ? -1
                                 : Next<int(int, const char*, int, const char*, unsigned int)>(
                                       "renameat2", fromFolder, from, toFolder, to, flags);
}

int unlink(const char* path) noexcept {
  return Fails(Call::kUnlink) ? -1 : Next<int(const char*)>("unlink", path);
}

ssize_t pread(int file, void* data, size_t size, off_t position) {
  return Fails(Call::kRead)
             ? -1
             : Next<ssize_t(int, void*, size_t, off_t)>("pread64", file, data, size, position);
}

ssize_t pwrite(int file, const void* data, size_t size, off_t position) {
  return Fails(Call::kWrite) ? -1
                             : Next<ssize_t(int, const void*, size_t, off_t)>("pwrite64", file,
                                                                              data, size, position);
}

ssize_t write(int file, const void* data, size_t size) {
  return Fails(Call::kWrite) ? -1
                             : Next<ssize_t(int, const void*, size_t)>("write", file, data, size);
}

}  // extern "C"
