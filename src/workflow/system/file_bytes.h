// Reads parts of a file, and says why where that fails.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <system_error>

#include "workflow/system/descriptor.h"

namespace clipchain {

class FileBytes {
 public:
  // Opens the file to read it, without waiting for whoever writes to a pipe of that name; error()
  // says why it can't be.
  explicit FileBytes(const std::string& path);
  // Reads through a descriptor that stays the caller's, whatever its position.
  explicit FileBytes(int descriptor);
  virtual ~FileBytes() = default;
  FileBytes(const FileBytes&) = delete;
  FileBytes& operator=(const FileBytes&) = delete;

  int descriptor() const { return file_; }
  // Of the system, at the last failure. A file that is too short is none: Read says false all the
  // same.
  const std::error_code& error() const { return error_; }
  // 0 on failure.
  virtual unsigned long long Size();
  // And nothing else that can be opened.
  bool IsFile();
  virtual bool Read(unsigned long long position, void* buffer, std::size_t size);
  // The same where they are in memory anyway, for as long as this object lives; else nothing.
  virtual std::span<const unsigned char> Lend(unsigned long long position, std::size_t size);
  // Makes the next reads come from the disk, as far as the system lets it. What was written must be
  // flushed before.
  void ForgetCached();

 protected:
  // Of bytes that stand in no one file.
  FileBytes() = default;
  void SetError(const std::error_code& error) { error_ = error; }

 private:
  // Of the call before; errno says why.
  void Fail();

  Descriptor owned_;
  int file_ = -1;
  std::error_code error_;
};

}  // namespace clipchain
