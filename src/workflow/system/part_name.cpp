#include "workflow/system/part_name.h"

#include <fmt/format.h>
#include <sys/random.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>

namespace clipchain {

namespace {

constexpr std::string_view kMark = ".clipchain-";
constexpr std::string_view kEnd = ".part";
constexpr std::size_t kRandomDigits = 16;
// The dot in front, the mark, a process identifier, a hyphen, the random digits and the end.
constexpr std::size_t kMostAroundName = 1 + kMark.size() + 20 + 1 + kRandomDigits + kEnd.size();
constexpr long kUsualNameLimit = 255;

// Only has to differ from the names of other runs: that nobody has the name, creating the file
// tells.
std::uint64_t Random() {
  auto number =
      static_cast<std::uint64_t>(std::chrono::system_clock::now().time_since_epoch().count());
  [[maybe_unused]] const ssize_t unneeded = ::getrandom(&number, sizeof number, GRND_NONBLOCK);
  return number;
}

// A name is cut between characters, not within one.
std::string_view Cut(std::string_view name, std::size_t length) {
  if (name.size() <= length) return name;
  const auto continues = [&] { return (static_cast<unsigned char>(name[length]) & 0xC0) == 0x80; };
  const std::size_t least = length - std::min<std::size_t>(length, 3);
  while (length > least && continues()) --length;
  return name.substr(0, length);
}

}  // namespace

std::string NameOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return path.substr(0, std::max<std::size_t>(slash, 1));
}

std::string PartPrefix(const std::string& output) {
  const long limit = ::pathconf(FolderOf(output).c_str(), _PC_NAME_MAX);
  const auto most = static_cast<std::size_t>(limit > 0 ? limit : kUsualNameLimit);
  const std::string name = NameOf(output);
  return fmt::format(".{}{}", Cut(name, most - std::min(most, kMostAroundName)), kMark);
}

bool IsPartName(std::string_view name, std::string_view prefix) {
  if (!name.starts_with(prefix) || !name.ends_with(kEnd)) return false;
  name.remove_prefix(prefix.size());
  if (name.size() <= kEnd.size() + kRandomDigits + 1) return false;
  name.remove_suffix(kEnd.size());
  const std::string_view process = name.substr(0, name.size() - kRandomDigits - 1);
  const std::string_view random = name.substr(process.size() + 1);
  return name[process.size()] == '-' &&
         process.find_first_not_of("0123456789") == std::string_view::npos &&
         random.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

bool IsAnyPartName(std::string_view name) {
  const std::size_t mark = name.rfind(kMark);
  return name.starts_with('.') && mark != std::string_view::npos &&
         IsPartName(name, name.substr(0, mark + kMark.size()));
}

std::string BesideOf(const std::string& path, const std::string& name) {
  return path.substr(0, path.size() - NameOf(path).size()) + name;
}

std::string NewPartPath(const std::string& output) {
  return BesideOf(output,
                  fmt::format("{}{}-{:016x}{}", PartPrefix(output), ::getpid(), Random(), kEnd));
}

}  // namespace clipchain
