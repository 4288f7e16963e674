// Makes the hidden file in which an output comes into being, beside the place that it will take.
//
// While a process works on the file it holds a lock on it (flock), which the
// system drops when the process ends, however it ends: what bears such a name and no lock was left
// behind.
#pragma once

#include <string>
#include <system_error>
#include <vector>

#include "workflow/system/descriptor.h"

namespace clipchain {

// Calls that can fail answer the error of the system.
class PartFile {
 public:
  PartFile() = default;
  // Removes the file, unless it was published.
  ~PartFile();
  PartFile(const PartFile&) = delete;
  PartFile& operator=(const PartFile&) = delete;

  // Creates the file, empty, under a name that nobody has, and finds out how it can be renamed:
  // what can't be is an error now, and not when all is written. To be called once.
  [[nodiscard]] std::error_code Create(const std::string& output);
  const std::string& path() const { return path_; }
  // To read, and held for the lock.
  int descriptor() const { return file_; }

  // Takes all out of it that was written.
  [[nodiscard]] std::error_code Empty() const;
  // The block that its file system shares between files, if it shares any; a power of two. 0 where
  // it tells none that is of use.
  unsigned int BlockSize() const;

  // Gives the file the output's name. Without `overwrite` std::errc::file_exists if something has
  // that name by now. Where the file system can neither rename without replacing nor link, that is
  // looked up first, with the folder locked against other processes that do the same;
  // std::errc::operation_would_block if one holds the lock for very long.
  [[nodiscard]] std::error_code Publish(bool overwrite);
  // Gives the file the output's name and what has that name the hidden one, in one step. Once more
  // takes it back. An error, and nothing done, where the file system can't.
  [[nodiscard]] std::error_code Exchange();
  // Removes the file. What is not there any more is removed.
  [[nodiscard]] std::error_code Discard();
  // Makes the name last.
  [[nodiscard]] std::error_code FlushFolder();

 private:
  [[nodiscard]] std::error_code TryToCreate();
  [[nodiscard]] std::error_code Lock() const;
  [[nodiscard]] std::error_code FindNaming();
  [[nodiscard]] std::error_code RenameToFreeName();
  [[nodiscard]] std::error_code LookAndRename();

  // How a name is taken that nothing has.
  enum class Naming { kRename, kLink, kLook };

  std::string output_;
  // Empty while there is no such file.
  std::string path_;
  Descriptor folder_;
  Descriptor file_;
  Naming naming_ = Naming::kRename;
};

// Flushes a file or a folder to the disk. What knows no flushing has nothing to flush.
[[nodiscard]] std::error_code Flush(int descriptor);

}  // namespace clipchain
