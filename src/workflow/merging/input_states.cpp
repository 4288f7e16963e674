#include "workflow/merging/input_states.h"

#include "workflow/system/same_time.h"
#include "workflow/system/system_error.h"

namespace clipchain {

bool FileState::IsSameFile(const struct stat& status) const {
  // A number of a file is given again once the file is gone: sizes and times tell such files apart.
  return device == status.st_dev && inode == status.st_ino;
}

std::optional<InputStates::Fault> InputStates::Note() {
  for (const std::string& input : inputs_) {
    struct stat status;
    if (::stat(input.c_str(), &status) != 0) return Fault{input, LastError()};
    states_.push_back(
        {status.st_dev, status.st_ino, status.st_size, status.st_mtim, status.st_ctim});
  }
  return std::nullopt;
}

const std::string* InputStates::Changed(bool touched) const {
  for (std::size_t i = 0; i < inputs_.size(); ++i) {
    const FileState& state = states_[i];
    struct stat status;
    // A new link or another mode touches a clip and leaves its bytes alone: the caller says whether
    // that counts.
    if (::stat(inputs_[i].c_str(), &status) != 0 || !state.IsSameFile(status) ||
        state.size != status.st_size || !IsSameTime(state.modified, status.st_mtim) ||
        (touched && !IsSameTime(state.changed, status.st_ctim)))
      return &inputs_[i];
  }
  return nullptr;
}

const std::string* InputStates::SameAs(const struct stat& status) const {
  for (std::size_t i = 0; i < inputs_.size(); ++i) {
    if (states_[i].IsSameFile(status)) return &inputs_[i];
  }
  return nullptr;
}

}  // namespace clipchain
