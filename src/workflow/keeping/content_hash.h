// Computes the hashes by which a clip that was made again is known to be the one it was.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace clipchain {

// In hexadecimal digits, lower case.
struct ContentHashes {
  std::string xxh128;
  // Empty where it was not asked for.
  std::string sha256;
  bool operator==(const ContentHashes&) const = default;
};

// Takes bytes as they come.
class ContentHash {
 public:
  explicit ContentHash(bool withSha256 = false);
  ~ContentHash();
  ContentHash(ContentHash&&) noexcept;
  ContentHash& operator=(ContentHash&&) noexcept;

  void Update(const void* bytes, std::size_t size);
  // Of all bytes so far.
  ContentHashes Value() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace clipchain
