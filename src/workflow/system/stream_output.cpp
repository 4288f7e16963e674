#include "workflow/system/stream_output.h"

#include <poll.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <ctime>

#include "workflow/system/system_error.h"
#include "workflow/system/uninterrupted.h"

namespace clipchain {

NoPipeSignal::NoPipeSignal() {
  ::sigemptyset(&pipe_);
  ::sigaddset(&pipe_, SIGPIPE);
  sigset_t pending;
  ::sigpending(&pending);
  // One that was pending before is the application's, and stays.
  wasPending_ = ::sigismember(&pending, SIGPIPE) == 1;
  ::pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
}

// A signal that came meanwhile is taken, so that it does not come now.
NoPipeSignal::~NoPipeSignal() {
  constexpr timespec kNow = {0, 0};
  if (!wasPending_) Uninterrupted([&] { return ::sigtimedwait(&pipe_, nullptr, &kNow); });
  ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

ReaderOutput::ReaderOutput(int descriptor) : descriptor_(descriptor) {
  struct stat status;
  canWait_ = ::fstat(descriptor, &status) == 0 && !S_ISREG(status.st_mode);
}

// A write that waits would go on waiting whatever signal came just before it. Where the system
// knows none that does not wait, what a pipe takes at once is written when it has room.
ssize_t ReaderOutput::TryToWrite(const unsigned char* bytes, std::size_t size) {
  if (canWait_ && canRefuse_) {
    const iovec part{const_cast<unsigned char*>(bytes), size};
    const ssize_t went = ::pwritev2(descriptor_, &part, 1, -1, RWF_NOWAIT);
    if (went >= 0 || (errno != EOPNOTSUPP && errno != EINVAL && errno != ENOSYS)) return went;
    canRefuse_ = false;
  }
  if (canWait_) {
    pollfd room{descriptor_, POLLOUT, 0};
    const int ready = ::poll(&room, 1, 0);
    if (ready == 0) errno = EAGAIN;
    if (ready <= 0) return -1;
    size = std::min<std::size_t>(size, PIPE_BUF);
  }
  return ::write(descriptor_, bytes, size);
}

std::error_code ReaderOutput::Write(const unsigned char* bytes, std::size_t size,
                                    const std::function<bool()>& goOn) {
  constexpr int kMilliseconds = 100;
  while (size > 0) {
    const ssize_t went = TryToWrite(bytes, size);
    if (went == 0) return SystemError(EIO);
    if (went < 0) {
      if (errno != EAGAIN && errno != EINTR) return LastError();
      if (!goOn()) return SystemError(ECANCELED);
      pollfd waiting{descriptor_, POLLOUT, 0};
      if (::poll(&waiting, 1, kMilliseconds) < 0 && errno != EINTR) return LastError();
      continue;
    }
    bytes += went;
    size -= static_cast<std::size_t>(went);
  }
  return {};
}

}  // namespace clipchain
