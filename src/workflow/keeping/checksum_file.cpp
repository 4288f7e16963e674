#include "workflow/keeping/checksum_file.h"

#include <algorithm>

#include "workflow/keeping/content_hash.h"

namespace clipchain {

namespace {

constexpr std::size_t kBlock = 256 * 1024;
constexpr std::size_t kDigits = 32;
constexpr std::string_view kBetween = "  ";

}  // namespace

std::string ChecksumText(const std::vector<Checksum>& sums) {
  std::string text;
  for (const Checksum& sum : sums) text.append(sum.hash).append(kBetween).append(sum.name) += '\n';
  return text;
}

bool ReadChecksums(std::string_view text, std::vector<Checksum>& sums) {
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    // Cut off, or by another program: what is not wholly understood proves nothing.
    if (end == std::string_view::npos || end <= kDigits + kBetween.size()) return false;
    const std::string_view digits = text.substr(0, kDigits);
    if (digits.find_first_not_of("0123456789abcdef") != std::string_view::npos ||
        text.substr(kDigits, kBetween.size()) != kBetween)
      return false;
    const std::size_t name = kDigits + kBetween.size();
    sums.push_back({std::string(digits), std::string(text.substr(name, end - name))});
    text.remove_prefix(end + 1);
  }
  return !sums.empty();
}

std::optional<std::string> HashFile(FileBytes& file,
                                    const std::function<bool(unsigned long long)>& progress) {
  ContentHash hash;
  std::vector<unsigned char> block(kBlock);
  const unsigned long long size = file.Size();
  if (file.error()) return std::nullopt;
  for (unsigned long long at = 0; at < size;) {
    const auto part = static_cast<std::size_t>(std::min<unsigned long long>(kBlock, size - at));
    if (!file.Read(at, block.data(), part)) return std::nullopt;
    hash.Update(block.data(), part);
    at += part;
    if (progress && !progress(at)) return std::nullopt;
  }
  return hash.Value().xxh128;
}

}  // namespace clipchain
