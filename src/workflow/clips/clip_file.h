// Opens one input of a merge to read it.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "adapt/reason.h"
#include "foundation/com_ptr.h"
#include "foundation/file_reader.h"
#include "reader/mp4_file.h"

namespace clipchain {

struct FileIdentity {
  dev_t device;
  ino_t inode;
  bool operator==(const FileIdentity&) const = default;
  bool operator<(const FileIdentity& other) const {
    return device != other.device ? device < other.device : inode < other.inode;
  }
};

// Through links. Nothing for a file that is not there.
std::optional<FileIdentity> IdentityOf(const std::string& path);

// A top-level box by its header.
struct TopLevelBox {
  unsigned int type;
  long long position;
  unsigned int headerSize;
  // Of the whole box; one that goes to the end of the file ends there.
  long long size;

  long long Body() const { return position + headerSize; }
  long long End() const { return position + size; }
};

// How far the top level of a file is walked.
enum class TopLevelWalk {
  // As the engine does: to the first box that it refuses, which is the last that is told.
  kOfTheEngine,
  // Whatever boxes there are.
  kOfAnyBox,
};

// The top level of a file by its headers alone, and the tree that the engine makes of it.
class ClipFile {
 public:
  explicit ClipFile(std::string path, TopLevelWalk walk = TopLevelWalk::kOfTheEngine);
  // The same of a source that stands for the file; positions are those of the source.
  ClipFile(std::string path, QUIRVA::ComPtr<QUIRVA::IQvFileReader> source);

  const std::string& Path() const { return path_; }
  // Why the file can't be opened.
  [[nodiscard]] const Reason& WhyUnreadable() const { return whyUnreadable_; }
  long long Size() const { return reader_ ? reader_->GetFileSize() : 0; }

  // The top level, up to where the walk ends, be it at the end of the file or at a box that the
  // engine refuses.
  const std::vector<TopLevelBox>& Layout() const { return layout_; }
  // Where the walk stopped ahead of the end of the file, because there is no header; else -1.
  long long BrokenHeader() const { return brokenHeader_; }

  // Parses the boxes as a merge does and answers with the merge's code.
  [[nodiscard]] HRESULT Parse();
  // Of a file that was parsed without a failure, else null.
  MP4G::CMovieBox* Movie() const { return parsed_ ? file.GetMovieBox() : nullptr; }
  // Where the movie box stands; null if it is not there.
  const TopLevelBox* MoviePlace() const { return Place(FourCc("moov")); }

  // The media box that holds that byte of the file; null if none does.
  const TopLevelBox* MediaAt(std::uint64_t offset) const;

  // Bytes of the file; fewer than `size` where it ends, none after a failure. Lent until the file
  // is read again.
  std::span<const unsigned char> Lend(long long position, unsigned int size) const;
  // The same to keep.
  std::vector<unsigned char> Read(long long position, unsigned int size) const;

  // What the tree takes in memory, about, with what a merge makes of it: for the bytes of the
  // boxes, and for the boxes by themselves, which are read once to be counted.
  long long MemoryOfBytes() const;
  long long MemoryOfBoxes() const;

  MP4G::CMp4File file;

 private:
  // Bytes of the boxes that the tree will hold.
  long long TreeBytes() const;
  // Boxes inside of the movie boxes and these themselves, for which those are read.
  long long TreeBoxes() const;
  void WalkTopLevel(TopLevelWalk walk);
  long long LoadedBytes(const TopLevelBox& box) const;
  const TopLevelBox* Place(unsigned int type) const;

  std::string path_;
  Reason whyUnreadable_;
  QUIRVA::ComPtr<QUIRVA::IQvFileReader> reader_;
  std::vector<TopLevelBox> layout_;
  // Those of the layout that hold media, in its order.
  std::vector<TopLevelBox> media_;
  long long brokenHeader_ = -1;
  bool parsed_ = false;
  mutable std::optional<long long> treeBoxes_;
};

}  // namespace clipchain
