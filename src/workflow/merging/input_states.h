// Tells whether the clips of a merge are still what they were when it began.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <ctime>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

namespace clipchain {

// By which a file is known again, and by which it is seen to have changed.
struct FileState {
  dev_t device;
  ino_t inode;
  off_t size;
  timespec modified;
  // By a new mode, name or link, too.
  timespec changed;

  bool IsSameFile(const struct stat& status) const;
};

class InputStates {
 public:
  // Outlives this object.
  explicit InputStates(const std::vector<std::string>& inputs) : inputs_(inputs) {}

  // An input that can't be looked at, and what the system says.
  struct Fault {
    const std::string& input;
    std::error_code error;
  };

  // Takes the states of now, up to the first input that can't be looked at. Without that all else
  // may be called.
  std::optional<Fault> Note();

  // The first input that is another file, or has other bytes or another time, than in the
  // beginning; or, where `touched` says so, that somebody may have written to and set its time
  // back.
  const std::string* Changed(bool touched) const;
  // The input that the file is; null without one.
  const std::string* SameAs(const struct stat& status) const;
  // Of the last input.
  timespec LastModified() const { return states_.back().modified; }

 private:
  const std::vector<std::string>& inputs_;
  std::vector<FileState> states_;
};

}  // namespace clipchain
