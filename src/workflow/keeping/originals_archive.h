// Reads and writes the archive of originals as a file.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <system_error>

#include "adapt/reason.h"
#include "workflow/keeping/content_hash.h"
#include "workflow/keeping/originals.h"
#include "workflow/system/file_bytes.h"

struct archive;

namespace clipchain {

// Gives bytes of the clip's entry, from the beginning on: at most `size`, 0 at a failure.
using KeptSource = std::function<std::size_t(std::size_t clip, void* buffer, std::size_t size)>;

// Writes the archive to an empty file that is open for writing. Answers the error
// of the system; std::errc::io_error where the source failed.
[[nodiscard]] std::error_code WriteOriginals(const Originals& originals, const KeptSource& source,
                                             int file);

// Reads an archive clip by clip. What is wrong is told as the rest of a sentence that begins with
// its path.
class OriginalsReader {
 public:
  OriginalsReader();
  ~OriginalsReader();
  OriginalsReader(const OriginalsReader&) = delete;
  OriginalsReader& operator=(const OriginalsReader&) = delete;

  // Looks at every byte: the archive is as it was written, and has a table of contents.
  [[nodiscard]] Reason Open(FileBytes& file);
  const Originals& Contents() const { return contents_; }
  // Of the whole file.
  const std::string& FileHash() const { return fileHash_; }

  // Goes on to the entry of the next clip, which must have the name and the size that the table of
  // contents says.
  [[nodiscard]] Reason NextClip();
  // So many bytes of it.
  [[nodiscard]] Reason Read(void* buffer, std::size_t size);
  // Nothing stands behind the last clip.
  [[nodiscard]] Reason AtEnd();

 private:
  struct Stream;
  struct Free {
    void operator()(archive* reader) const;
  };

  [[nodiscard]] Reason CheckSeal(FileBytes& file);
  [[nodiscard]] Reason OpenEntry(const std::string& name, unsigned long long size);

  std::unique_ptr<Stream> stream_;
  std::unique_ptr<archive, Free> archive_;
  Originals contents_;
  std::string fileHash_;
  // Clip.
  std::size_t next_ = 0;
};

}  // namespace clipchain
