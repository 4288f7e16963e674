// The hidden file in which an output comes into being, beside the place that it will take.
//
// While a process works on the file it holds a lock on it (flock), which the
// system drops when the process ends, however it ends: what bears such a name and no lock was left
// behind.
#pragma once

#include <string>
#include <vector>

namespace clipchain {

// Calls that can fail answer an error number of the system, 0 for success.
class PartFile {
 public:
  PartFile() = default;
  ~PartFile();  // removes the file, unless it was published
  PartFile(const PartFile&) = delete;
  PartFile& operator=(const PartFile&) = delete;

  // Creates the file, empty, under a name that nobody has, and finds out how it can be renamed:
  // what can't be is an error now, and not when all is written. To be called once.
  [[nodiscard]] int Create(const std::string& output);
  const std::string& path() const { return path_; }
  int descriptor() const { return file_; }  // to read, and held for the lock

  // Takes all out of it that was written.
  [[nodiscard]] int Empty() const;
  // The block that its file system shares between files, if it shares any; a power of two. 0 where
  // it tells none that is of use.
  unsigned int BlockSize() const;

  // Gives the file the output's name. Without `overwrite` EEXIST if something has that name by now.
  // Where the file system can neither rename without replacing nor link, that is looked up first,
  // with the folder locked against other processes that do the same; EWOULDBLOCK if one holds the
  // lock for very long.
  [[nodiscard]] int Publish(bool overwrite);
  // Gives the file the output's name and what has that name the hidden one, in one step. Once more
  // takes it back. An error, and nothing done, where the file system can't.
  [[nodiscard]] int Exchange();
  // Removes the file. What is not there any more is removed.
  [[nodiscard]] int Discard();
  // Makes the name last.
  [[nodiscard]] int FlushFolder();

 private:
  [[nodiscard]] int TryToCreate();
  [[nodiscard]] int Lock() const;
  [[nodiscard]] int FindNaming();
  [[nodiscard]] int RenameToFreeName();
  [[nodiscard]] int LookAndRename();

  // How a name is taken that nothing has.
  enum class Naming { kRename, kLink, kLook };

  std::string output_;
  std::string path_;  // empty while there is no such file
  int folder_ = -1;
  int file_ = -1;
  Naming naming_ = Naming::kRename;
};

// Flushes a file or a folder to the disk. What knows no flushing has nothing to flush.
[[nodiscard]] int Flush(int descriptor);

}  // namespace clipchain
