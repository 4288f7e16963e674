// Finds where on its device a file lies: files that share blocks are one file for whoever erases
// the device, or loses a block of it.
#pragma once

#include <sys/types.h>

#include <map>
#include <utility>
#include <vector>

#include "workflow/keeping/file_list.h"

namespace clipchain {

// The number that a file has where it lies: an overlay puts its own above it.
inline unsigned long long NumberBeneath(const FileStamp& stamp) {
  return stamp.identity.inode & 0xFFFFFFFF;
}

struct BlockRange {
  // On the device, in bytes.
  unsigned long long begin;
  unsigned long long end;
  // The file system says that another file has the blocks, too.
  bool shared;

  bool operator==(const BlockRange& other) const {
    return begin == other.begin && end == other.end;
  }
};

// The blocks of an open file, as far as its file system tells them (FIEMAP); none of one that does
// not. Blocks that have no place yet, or that lie in the tables of the file system, are left out.
std::vector<BlockRange> BlocksOf(int file);

// Whether an open file lies on an overlay that does not tell its blocks: it may be one that lies
// beneath, whatever its times and its mode are.
bool MayLieBeneath(int file);

// The blocks of the files of cards.
class SharedBlocks {
 public:
  void Add(const FileStamp& stamp, const std::vector<BlockRange>& blocks);
  // Whether a file has any block of those in common: blocks of the same file system, or, where both
  // sides are told to be shared, of file systems that go by different numbers, as parts of one do.
  // A file of an overlay has all blocks of the file beneath until it is written to, though its
  // times may be other ones.
  bool Touch(const FileStamp& stamp, const std::vector<BlockRange>& blocks);

 private:
  struct CardRange {
    BlockRange range;
    dev_t device;
  };

  // A file's number and size.
  using FileKey = std::pair<unsigned long long, long long>;
  struct CardBlocks {
    dev_t device;
    std::vector<BlockRange> blocks;
  };

  void Sort();
  bool Show(const FileStamp& stamp, const std::vector<BlockRange>& blocks) const;

  std::multimap<FileKey, CardBlocks> files_;
  std::vector<CardRange> ranges_;
  // The end of any range up to that one.
  std::vector<unsigned long long> farthest_;
  bool sorted_ = false;
};

}  // namespace clipchain
