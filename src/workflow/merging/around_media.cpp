#include "workflow/merging/around_media.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

namespace clipchain {

namespace {

using Number = unsigned long long;

constexpr std::size_t kBlock = 1024 * 1024;

std::optional<ByteFault> CompareAt(FileBytes& output, Number position,
                                   const std::vector<unsigned char>& expected) {
  std::vector<unsigned char> found(std::min(expected.size(), kBlock));
  for (std::size_t done = 0; done < expected.size(); done += kBlock) {
    const std::size_t size = std::min(expected.size() - done, kBlock);
    if (!output.Read(position + done, found.data(), size))
      return ByteFault{"can't be read back", position + done};
    const auto begin = expected.begin() + static_cast<std::ptrdiff_t>(done);
    const auto end = begin + static_cast<std::ptrdiff_t>(size);
    const auto [theirs, mine] = std::mismatch(begin, end, found.begin());
    if (theirs == end) continue;
    const Number at = position + static_cast<Number>(theirs - expected.begin());
    return ByteFault{
        fmt::format("has a byte {:02X} at {}; its clips give {:02X} there", *mine, at, *theirs),
        at};
  }
  return std::nullopt;
}

// Between the media of clips stands nothing but zeros.
std::optional<ByteFault> CompareGaps(FileBytes& output, Number begin,
                                     const std::vector<MediaStretch>& media) {
  for (const MediaStretch& stretch : media) {
    const auto gap = static_cast<std::size_t>(stretch.begin - begin);
    if (auto fault = CompareAt(output, begin, std::vector<unsigned char>(gap))) return fault;
    begin = stretch.end;
  }
  return std::nullopt;
}

}  // namespace

std::optional<ByteFault> CompareAroundMedia(FileBytes& output, const TopLevel& boxes,
                                            const ExpectedFile& expected) {
  const std::vector<unsigned char>& movie = expected.Movie();
  const bool inFront = boxes.layout.movieInFront;
  const Number wanted = expected.Head().size() + (inFront ? 0 : movie.size());
  const Number found = boxes.media.position + (inFront ? 0 : boxes.movie.size);
  if (found != wanted || boxes.movie.size != movie.size())
    return ByteFault{fmt::format("has {} bytes around its media; the clips give {}", found, wanted),
                     boxes.movie.position};
  if (auto fault = CompareAt(output, 0, expected.Head())) return fault;
  if (auto fault = CompareGaps(output, boxes.media.position, expected.Media())) return fault;
  return inFront ? std::nullopt : CompareAt(output, boxes.movie.position, movie);
}

}  // namespace clipchain
