#include "workflow/keeping/listed_bytes.h"

#include <fcntl.h>
#include <xxhash.h>

#include <algorithm>

#include "workflow/system/files.h"
#include "workflow/system/system_error.h"

namespace clipchain {

namespace {

// A page: the system reads no less.
constexpr unsigned long long kMostProbed = 4096;

}  // namespace

ListedBytes::ListedBytes(const ListedFile& file)
    // A link that has taken the place of a file since is another file.
    : file_(OpenToRead(file.path, O_NOFOLLOW)), bytes_(file_) {
  struct stat status;
  if (file_ < 0) {
    why_ = "can't be opened: " + ErrorText(LastError());
  } else if (::fstat(file_, &status) != 0) {
    QUIRVA::NoteReadFailure(file_);
    why_ = "can't be looked at: " + ErrorText(LastError());
  } else if (!(FileStamp::Of(status) == file.stamp)) {
    why_ = "changed while it was looked at";
  } else {
    // It is mostly compared from its first byte to its last: the system may read far ahead.
    ::posix_fadvise(file_, 0, 0, POSIX_FADV_SEQUENTIAL);
  }
}

Reason WhyDoubtful(const ListedFile& file, const QUIRVA::ReadFailures& failures) {
  const FileIdentity& identity = file.stamp.identity;
  const int error = failures.Of(file.path, identity.device, identity.inode);
  if (error == 0) return std::nullopt;
  return "could not always be read: " + ErrorText(SystemError(error));
}

std::size_t ProbeLength(unsigned long long size) {
  return static_cast<std::size_t>(std::min(size, kMostProbed));
}

std::optional<std::uint64_t> Probe(FileBytes& file, unsigned long long position,
                                   std::size_t length) {
  unsigned char bytes[kMostProbed];
  if (!file.Read(position, bytes, length)) return std::nullopt;
  return XXH3_64bits(bytes, length);
}

}  // namespace clipchain
