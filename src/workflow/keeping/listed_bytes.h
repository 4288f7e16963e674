// Opens a listed file and makes sure that it is the one that was listed.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "adapt/reason.h"
#include "workflow/keeping/file_list.h"
#include "workflow/system/file_bytes.h"
#include "workflow/system/open_file.h"

namespace clipchain {

class ListedBytes {
 public:
  explicit ListedBytes(const ListedFile& file);
  // Notes a failure, if there was one, in the listed file.
  ~ListedBytes();
  ListedBytes(const ListedBytes&) = delete;
  ListedBytes& operator=(const ListedBytes&) = delete;

  // Why it can't be used, as the rest of a sentence that begins with its path.
  [[nodiscard]] const Reason& Why() const { return why_; }
  FileBytes& Bytes() { return bytes_; }
  int descriptor() const { return file_; }

 private:
  Descriptor file_;
  FileBytes bytes_;
  Reason why_;
  std::shared_ptr<std::error_code> failure_;
};

// How many bytes at an end of so many are probed.
std::size_t ProbeLength(unsigned long long size);

// A hash of so few bytes, by which different content is told apart without reading all of it.
// Nothing if they can't be read.
std::optional<std::uint64_t> Probe(FileBytes& file, unsigned long long position,
                                   std::size_t length);

}  // namespace clipchain
