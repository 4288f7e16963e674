// Works out the hashes of clips while they are merged.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "workflow/keeping/content_hash.h"

namespace clipchain {

// Hashes the bytes of clips that somebody else reads, so that each comes off the medium once, and
// reads what lies between them and behind.
class ClipHashes {
 public:
  ClipHashes(const std::vector<std::string>& clips, bool withSha256);
  ~ClipHashes();
  ClipHashes(const ClipHashes&) = delete;
  ClipHashes& operator=(const ClipHashes&) = delete;

  // These bytes stand there in that clip. Those of one clip, each behind the other, and then the
  // next clip's cost no reading; in another order they may be of no use.
  void See(std::size_t clip, unsigned long long position, std::span<const unsigned char> bytes);
  // False if that clip can't be read.
  bool Finish(std::size_t clip, ContentHashes& hashes);

 private:
  struct Work;

  // Lets go of another clip at work.
  Work& WorkOn(std::size_t clip);
  void Complete();

  const std::vector<std::string> clips_;
  const bool withSha256_;
  // Of a clip that can't be read, empty.
  std::vector<std::optional<ContentHashes>> hashes_;
  // Null between clips.
  std::unique_ptr<Work> work_;
};

}  // namespace clipchain
