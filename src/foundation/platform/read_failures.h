// Keeps which files could not be opened or read. Whoever reads on after a failure, and answers with
// less, does not tell: a proof that rests on such answers asks here.
#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <utility>

namespace QUIRVA {

// Collects the failures of all threads while it is there.
class ReadFailures {
 public:
  ReadFailures();
  ~ReadFailures();
  ReadFailures(const ReadFailures&) = delete;
  ReadFailures& operator=(const ReadFailures&) = delete;

  // The errno of the first failure that may be one of that file, which was opened by `path`; 0 for
  // none.
  int Of(const std::string& path, dev_t device, ino_t inode) const;

 private:
  friend void NoteReadFailure(const char* path);
  friend void NoteReadFailure(int descriptor);

  // The errno of the first failure each.
  std::map<std::string, int> paths_;
  std::map<std::pair<dev_t, ino_t>, int> files_;
  // Where the system did not tell which file it was.
  int unknown_ = 0;
};

// Tells of a call that failed just now; errno says why, and stays.
void NoteReadFailure(const char* path);
void NoteReadFailure(int descriptor);

}  // namespace QUIRVA
