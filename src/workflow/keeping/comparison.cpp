#include "workflow/keeping/comparison.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <system_error>

#include "workflow/system/files.h"

namespace clipchain {

namespace {

using Number = unsigned long long;

std::string Unread(FileBytes& file, const std::string& path, Number at) {
  const std::string why =
      file.error() ? ": " + ErrorText(file.error()) : std::string(": it ends there");
  return fmt::format("{} can't be read at byte {}{}", PrintablePath(path), at, why);
}

std::size_t FirstDifference(const unsigned char* a, const unsigned char* b, std::size_t size) {
  return static_cast<std::size_t>(std::mismatch(a, a + size, b).first - a);
}

}  // namespace

bool PassingHash::CatchUp(Number position) {
  std::vector<unsigned char> block(std::min<Number>(kCompareBlock, position - next_));
  while (!failed_ && next_ < position) {
    const auto part = static_cast<std::size_t>(std::min<Number>(block.size(), position - next_));
    failed_ = !file_.Read(next_, block.data(), part);
    if (failed_) break;
    hash_.Update(block.data(), part);
    next_ += part;
  }
  return !failed_;
}

void PassingHash::See(Number position, const unsigned char* bytes, std::size_t size) {
  // Ranges come in the order of the file they are compared with, which need not be that of this
  // one.
  if (position < next_ || !CatchUp(position)) return;
  hash_.Update(bytes, size);
  next_ += size;
}

std::optional<std::string> PassingHash::Finish() {
  const Number size = file_.Size();
  if (next_ > size || !CatchUp(size)) return std::nullopt;
  return hash_.Value().xxh128;
}

Reason RangeComparison::Compare(const NamedRange& mine, const NamedRange& theirs, Number size,
                                PassingHash* hash) {
  for (Number done = 0; done < size;) {
    const auto part = static_cast<std::size_t>(std::min<Number>(size - done, kCompareBlock));
    const Number at = mine.position + done;
    const Number there = theirs.position + done;
    if (!mine.file.Read(at, mine_.data(), part)) return Unread(mine.file, mine.path, at);
    if (!theirs.file.Read(there, theirs_.data(), part))
      return Unread(theirs.file, theirs.path, there);
    // Equal blocks are the rule, and comparing them at once is many times as fast as looking for a
    // difference.
    if (std::memcmp(mine_.data(), theirs_.data(), part) != 0) {
      const std::size_t first = FirstDifference(mine_.data(), theirs_.data(), part);
      return fmt::format("{} has a byte {:02X} at {}; it is {:02X} at {} in {}",
                         PrintablePath(mine.path), mine_[first], at + first, theirs_[first],
                         there + first, PrintablePath(theirs.path));
    }
    if (hash != nullptr) hash->See(at, mine_.data(), part);
    done += part;
    if (!meter_.Add(part)) return "was not compared to its end: the work was stopped";
  }
  return std::nullopt;
}

Reason RangeComparison::CompareWith(const NamedRange& mine, const unsigned char* theirs,
                                    Number size, PassingHash* hash) {
  for (Number done = 0; done < size;) {
    const auto part = static_cast<std::size_t>(std::min<Number>(size - done, kCompareBlock));
    const Number at = mine.position + done;
    if (!mine.file.Read(at, mine_.data(), part)) return Unread(mine.file, mine.path, at);
    if (std::memcmp(mine_.data(), theirs + done, part) != 0) {
      const std::size_t first = FirstDifference(mine_.data(), theirs + done, part);
      return fmt::format("{} has a byte {:02X} at {}; a merge of the clips gives {:02X} there",
                         PrintablePath(mine.path), mine_[first], at + first, theirs[done + first]);
    }
    if (hash != nullptr) hash->See(at, mine_.data(), part);
    done += part;
  }
  return std::nullopt;
}

}  // namespace clipchain
