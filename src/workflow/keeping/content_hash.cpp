#include "workflow/keeping/content_hash.h"

#include <fmt/format.h>
#include <nettle/sha2.h>
#include <xxhash.h>
#ifdef __x86_64__
// Takes the widest instructions that the machine has.
#include <xxh_x86dispatch.h>
#endif

#include <new>

namespace clipchain {

namespace {

template <class Bytes>
std::string Digits(const Bytes& bytes) {
  std::string digits;
  for (const unsigned char byte : bytes) digits += fmt::format("{:02x}", byte);
  return digits;
}

struct FreeState {
  void operator()(XXH3_state_t* state) const { XXH3_freeState(state); }
};

}  // namespace

struct ContentHash::State {
  std::unique_ptr<XXH3_state_t, FreeState> fast{XXH3_createState()};
  bool withSha256 = false;
  sha256_ctx slow{};
};

ContentHash::ContentHash(bool withSha256) : state_(std::make_unique<State>()) {
  // The library allocates it by itself and tells of a lack of memory with null.
  if (state_->fast == nullptr) throw std::bad_alloc();
  XXH3_128bits_reset(state_->fast.get());
  state_->withSha256 = withSha256;
  sha256_init(&state_->slow);
}

ContentHash::~ContentHash() = default;
ContentHash::ContentHash(ContentHash&&) noexcept = default;
ContentHash& ContentHash::operator=(ContentHash&&) noexcept = default;

void ContentHash::Update(const void* bytes, std::size_t size) {
  XXH3_128bits_update(state_->fast.get(), bytes, size);
  if (state_->withSha256)
    sha256_update(&state_->slow, size, static_cast<const std::uint8_t*>(bytes));
}

ContentHashes ContentHash::Value() const {
  ContentHashes hashes;
  XXH128_canonical_t canonical;
  // The order of bytes that the tools for it print, whatever the machine has.
  XXH128_canonicalFromHash(&canonical, XXH3_128bits_digest(state_->fast.get()));
  hashes.xxh128 = Digits(canonical.digest);
  if (!state_->withSha256) return hashes;
  // To ask for the digest ends the state, and more may follow.
  sha256_ctx copy = state_->slow;
  std::uint8_t digest[SHA256_DIGEST_SIZE];
  sha256_digest(&copy, sizeof digest, digest);
  hashes.sha256 = Digits(digest);
  return hashes;
}

}  // namespace clipchain
