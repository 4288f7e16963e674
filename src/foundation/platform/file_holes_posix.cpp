#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "foundation/platform/file_holes.h"

namespace QUIRVA {

unsigned long long PassHoles([[maybe_unused]] const char* path, unsigned long long at,
                             [[maybe_unused]] unsigned long long end) {
#ifdef SEEK_DATA
  const int descriptor = ::open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  if (descriptor < 0) return at;
  const off_t data = ::lseek(descriptor, static_cast<off_t>(at), SEEK_DATA);
  // Nothing but a hole up to the end; any other failure says nothing about holes.
  const bool isHole = data < 0 && errno == ENXIO;
  ::close(descriptor);
  if (isHole) return end;
  if (data >= 0) return std::min(std::max(static_cast<unsigned long long>(data), at), end);
#endif
  return at;
}

}  // namespace QUIRVA
