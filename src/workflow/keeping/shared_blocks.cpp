#include "workflow/keeping/shared_blocks.h"

#include <linux/fiemap.h>
#include <linux/fs.h>
#include <linux/magic.h>
#include <sys/ioctl.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

#include "foundation/platform/read_failures.h"

namespace clipchain {

namespace {

constexpr unsigned int kExtentsAtOnce = 256;
// Not on the disk yet, or inside of the file's own record: their numbers mean nothing.
constexpr unsigned int kWithoutPlace =
    FIEMAP_EXTENT_UNKNOWN | FIEMAP_EXTENT_DELALLOC | FIEMAP_EXTENT_DATA_INLINE;

// File systems without the call answer in several ways. Another failure leaves open what the blocks
// are.
void NoteUnlessUnsupported(int file) {
  const bool isUnsupported = errno == EOPNOTSUPP || errno == ENOTTY || errno == EINVAL ||
                             errno == ENOSYS || errno == EBADR;
  if (!isUnsupported) QUIRVA::NoteReadFailure(file);
}

}  // namespace

std::vector<BlockRange> BlocksOf(int file) {
  std::vector<BlockRange> blocks;
  std::vector<std::max_align_t> room(
      (sizeof(fiemap) + kExtentsAtOnce * sizeof(fiemap_extent)) / sizeof(std::max_align_t) + 1);
  unsigned long long at = 0;
  for (bool last = false; !last;) {
    auto* const map = new (room.data()) fiemap{};
    map->fm_start = at;
    map->fm_length = FIEMAP_MAX_OFFSET - at;
    // What was written a moment ago has no place until it is flushed.
    map->fm_flags = FIEMAP_FLAG_SYNC;
    map->fm_extent_count = kExtentsAtOnce;
    if (::ioctl(file, FS_IOC_FIEMAP, map) != 0) {
      NoteUnlessUnsupported(file);
      return blocks;
    }
    if (map->fm_mapped_extents == 0) return blocks;
    for (unsigned int i = 0; i < map->fm_mapped_extents; ++i) {
      fiemap_extent extent;
      std::memcpy(&extent, reinterpret_cast<const char*>(map) + sizeof(fiemap) + i * sizeof extent,
                  sizeof extent);
      const unsigned long long next = extent.fe_logical + extent.fe_length;
      // A file system that goes back would keep the loop going.
      last = (extent.fe_flags & FIEMAP_EXTENT_LAST) != 0 || next <= at;
      at = std::max(at, next);
      if ((extent.fe_flags & kWithoutPlace) != 0) continue;
      blocks.push_back({extent.fe_physical, extent.fe_physical + extent.fe_length,
                        (extent.fe_flags & FIEMAP_EXTENT_SHARED) != 0});
    }
  }
  return blocks;
}

bool MayLieBeneath(int file) {
  struct statfs system;
  if (::fstatfs(file, &system) != 0) {
    NoteUnlessUnsupported(file);
    return false;
  }
  if (system.f_type != OVERLAYFS_SUPER_MAGIC) return false;
  fiemap map{};
  map.fm_length = FIEMAP_MAX_OFFSET;
  return ::ioctl(file, FS_IOC_FIEMAP, &map) != 0;
}

void SharedBlocks::Add(const FileStamp& stamp, const std::vector<BlockRange>& blocks) {
  for (const BlockRange& range : blocks) ranges_.push_back({range, stamp.identity.device});
  if (!blocks.empty())
    files_.emplace(FileKey{NumberBeneath(stamp), stamp.size},
                   CardBlocks{stamp.identity.device, blocks});
  sorted_ = false;
}

bool SharedBlocks::Show(const FileStamp& stamp, const std::vector<BlockRange>& blocks) const {
  const auto [first, behind] = files_.equal_range(FileKey{NumberBeneath(stamp), stamp.size});
  const dev_t device = stamp.identity.device;
  return std::any_of(first, behind, [&](const auto& file) {
    // An overlay shows the file beneath it under its own device, which is none of the machine's
    // (major number 0): same number, same size, same blocks are one file.
    return file.second.device != device && (major(file.second.device) == 0 || major(device) == 0) &&
           file.second.blocks == blocks;
  });
}

void SharedBlocks::Sort() {
  std::sort(ranges_.begin(), ranges_.end(),
            [](const CardRange& a, const CardRange& b) { return a.range.begin < b.range.begin; });
  farthest_.clear();
  unsigned long long end = 0;
  // How far any range up to here reaches, so that a search backwards knows when none before it can.
  for (const CardRange& range : ranges_) farthest_.push_back(end = std::max(end, range.range.end));
  sorted_ = true;
}

bool SharedBlocks::Touch(const FileStamp& stamp, const std::vector<BlockRange>& blocks) {
  if (Show(stamp, blocks)) return true;
  if (!sorted_) Sort();
  for (const BlockRange& mine : blocks) {
    const auto behind = std::lower_bound(
        ranges_.begin(), ranges_.end(), mine.end,
        [](const CardRange& range, unsigned long long end) { return range.range.begin < end; });
    for (auto range = behind; range != ranges_.begin();) {
      --range;
      if (farthest_[static_cast<std::size_t>(range - ranges_.begin())] <= mine.begin) break;
      const bool together =
          // Places on two disks have the same numbers; blocks that a file system marks as shared
          // may be of one disk under two devices.
          range->device == stamp.identity.device || (range->range.shared && mine.shared);
      if (together && range->range.end > mine.begin) return true;
    }
  }
  return false;
}

}  // namespace clipchain
