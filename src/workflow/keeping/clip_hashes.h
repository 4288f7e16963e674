// Works out the hashes of clips while they are merged.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "workflow/keeping/content_hash.h"

namespace clipchain {

// Owns a thread that reads the clips one behind the other, while somebody else does: it keeps close
// to that reading, so that each byte comes off the medium once. It touches nothing but what is in
// here. Driven by one other thread.
class ClipHashes {
 public:
  ClipHashes(const std::vector<std::string>& clips, bool withSha256);
  ~ClipHashes();
  ClipHashes(const ClipHashes&) = delete;
  ClipHashes& operator=(const ClipHashes&) = delete;

  // So many bytes of all clips were read elsewhere.
  void Follow(long long bytes);
  // Waits for the end. False if that clip can't be read.
  bool Finish(std::size_t clip, ContentHashes& hashes);

 private:
  void Work();
  bool HashClip(std::size_t clip);
  bool MayRead(long long upTo);

  const std::vector<std::string> clips_;
  const bool withSha256_;
  // Of a clip that can't be read, empty.
  std::vector<ContentHashes> hashes_;
  // Bytes.
  long long done_ = 0;
  std::mutex mutex_;
  std::condition_variable changed_;
  // Bytes that may be read.
  long long limit_;
  bool ends_ = false;
  // None where the system gives no more: all is worked out at the end.
  std::thread thread_;
};

}  // namespace clipchain
