// Compares bytes of files, and tells how far that is.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "adapt/reason.h"
#include "workflow/keeping/content_hash.h"
#include "workflow/progress.h"
#include "workflow/system/file_bytes.h"

namespace clipchain {

// How many bytes of the cards were compared.
class Meter {
 public:
  Meter(const Progress& progress, long long total) : progress_(progress), total_(total) {}

  // Whether to go on.
  bool Add(std::size_t bytes) {
    current_ += static_cast<long long>(bytes);
    // Something was compared a second time.
    if (current_ > total_) total_ = current_;
    Step step{Step::Phase::kVerifying};
    step.current = current_;
    step.total = total_;
    stopped_ = stopped_ || (progress_ && !progress_(step));
    return !stopped_;
  }
  bool Stopped() const { return stopped_; }

 private:
  const Progress& progress_;
  long long current_ = 0;
  long long total_;
  bool stopped_ = false;
};

// The hash of a whole file of which most bytes are read for another purpose, in their order.
class PassingHash {
 public:
  explicit PassingHash(FileBytes& file) : file_(file) {}

  void See(unsigned long long position, const unsigned char* bytes, std::size_t size);
  // Nothing if the file can't be read.
  std::optional<std::string> Finish();

 private:
  bool CatchUp(unsigned long long position);

  FileBytes& file_;
  ContentHash hash_;
  unsigned long long next_ = 0;
  bool failed_ = false;
};

// A range of a file, with the name that messages have for it.
struct NamedRange {
  FileBytes& file;
  const std::string& path;
  unsigned long long position;
};

inline constexpr std::size_t kCompareBlock = 256 * 1024;

// Compares so many bytes; `seen`, which may be empty, gets those of the first range. What differs
// or can't be read, as a sentence. A meter that stops ends it with one, too.
class RangeComparison {
 public:
  explicit RangeComparison(Meter& meter) : meter_(meter) {}

  [[nodiscard]] Reason Compare(const NamedRange& mine, const NamedRange& theirs,
                               unsigned long long size, PassingHash* hash);
  // The same with bytes in memory, which count for no card.
  [[nodiscard]] Reason CompareWith(const NamedRange& mine, const unsigned char* theirs,
                                   unsigned long long size, PassingHash* hash);

 private:
  Meter& meter_;
  std::vector<unsigned char> mine_ = std::vector<unsigned char>(kCompareBlock);
  std::vector<unsigned char> theirs_ = std::vector<unsigned char>(kCompareBlock);
};

}  // namespace clipchain
