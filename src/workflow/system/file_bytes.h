// Reads parts of a file, and says why where that fails.
#pragma once

#include <cstddef>
#include <string>

namespace clipchain {

class FileBytes {
 public:
  // Opens the file to read it, without waiting for whoever writes to a pipe of that name; error()
  // says why it can't be.
  explicit FileBytes(const std::string& path);
  // Reads through a descriptor that stays the caller's, whatever its position.
  explicit FileBytes(int descriptor);
  virtual ~FileBytes();
  FileBytes(const FileBytes&) = delete;
  FileBytes& operator=(const FileBytes&) = delete;

  int descriptor() const { return file_; }
  // The system's number of the last failure, 0 if there was none. A file that is too short is none:
  // Read says false all the same.
  int error() const { return error_; }
  virtual unsigned long long Size();  // 0 on failure
  bool IsFile();                      // and nothing else that can be opened
  virtual bool Read(unsigned long long position, void* buffer, std::size_t size);
  // Makes the next reads come from the disk, as far as the system lets it. What was written must be
  // flushed before.
  void ForgetCached();

 protected:
  // Of bytes that stand in no one file.
  FileBytes() : file_(-1), owned_(false) {}
  void SetError(int error) { error_ = error; }

 private:
  int file_;
  bool owned_;
  int error_ = 0;
};

}  // namespace clipchain
