// Finds what earlier joins have left in a folder: which of its files are results, and of which
// recording.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "foundation/guid.h"
#include "workflow/sequence_scan.h"

namespace clipchain {

// The bytes of a file's media; 0 if it has none, or can't be read.
std::uint64_t MediaSizeOf(const std::string& path);
// A clip as far as its results show which it is.
SequenceClip ClipWithIdentifier(const std::string& path);

// A result is known by what stands in it, never by its name alone: it carries the identifier of its
// first clip and names the clip behind its last one. Without identifiers its media begins with its
// first clip's.
class ExistingResults {
 public:
  // Lists the folder, which need not be there. Files are read when they are asked about.
  explicit ExistingResults(const std::string& folder);

  // The names of the files there that differ from `name` by a count alone, upper and lower case
  // aside, shortest first.
  std::vector<std::string> NamedLike(const std::string& name) const;

  enum class Owner { kNobody, kThisClip, kAnotherClip };
  // Whose result the file of that name is: one that begins with that clip, or with another one.
  // Nobody's: it is not there, or it can't be read.
  Owner OwnerOf(const std::string& name, const SequenceClip& clip) const;
  // The same for a clip of which nothing but its path is known.
  Owner OwnerOf(const std::string& name, const std::string& clip) const;

  // The names of the files there that begin with that clip and are called as its results are.
  std::vector<std::string> ResultsOf(const SequenceClip& clip) const;

  // The identifier of the clip behind the last one that is in that result; zero for none.
  _GUID NextOf(const std::string& name) const;

  std::string PathFor(const std::string& name) const;

 private:
  std::string folder_;
  // By their names without a count, in lower case.
  std::map<std::string, std::vector<std::string>> names_;
};

}  // namespace clipchain
