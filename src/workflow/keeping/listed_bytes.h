// Opens a listed file and makes sure that it is the one that was listed.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "adapt/reason.h"
#include "foundation/platform/read_failures.h"
#include "workflow/keeping/file_list.h"
#include "workflow/system/file_bytes.h"
#include "workflow/system/open_file.h"

namespace clipchain {

class ListedBytes {
 public:
  explicit ListedBytes(const ListedFile& file);
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
};

// Why a file that was compared is in doubt all the same, behind its path. What was read where
// another call failed may be right, or not.
[[nodiscard]] Reason WhyDoubtful(const ListedFile& file, const QUIRVA::ReadFailures& failures);

// How many bytes at an end of so many are probed.
std::size_t ProbeLength(unsigned long long size);

// A hash of so few bytes, by which different content is told apart without reading all of it.
// Nothing if they can't be read.
std::optional<std::uint64_t> Probe(FileBytes& file, unsigned long long position,
                                   std::size_t length);

}  // namespace clipchain
