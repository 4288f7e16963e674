// Finds where on its device a file lies: files that share blocks are one file for whoever erases
// the device, or loses a block of it.
#pragma once

#include <sys/types.h>

#include <map>
#include <vector>

#include "workflow/keeping/file_list.h"

namespace clipchain {

struct BlockRange {
  unsigned long long begin;  // on the device, in bytes
  unsigned long long end;
  bool shared;  // the file system says that another file has the blocks, too
};

// The blocks of an open file, as far as its file system tells them (FIEMAP); none of one that does
// not. Blocks that have no place yet, or that lie in the tables of the file system, are left out.
std::vector<BlockRange> BlocksOf(int file);

// The blocks of the files of cards.
class SharedBlocks {
 public:
  void Add(const FileStamp& stamp, const std::vector<BlockRange>& blocks);
  // Whether a file has any block of those in common: blocks of the same file system, or, where both
  // sides are told to be shared, of file systems that go by different numbers, as parts of one do.
  bool Touch(const FileStamp& stamp, const std::vector<BlockRange>& blocks);

 private:
  struct CardRange {
    BlockRange range;
    dev_t device;
  };

  void Sort();

  std::vector<CardRange> ranges_;
  std::vector<unsigned long long> farthest_;  // the end of any range up to that one
  bool sorted_ = false;
};

}  // namespace clipchain
