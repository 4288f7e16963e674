#include "workflow/rescue/clip_identity.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <span>

#include "foundation/fourcc.h"
#include "workflow/evidence/clip_names.h"

namespace clipchain::rescue {

namespace {

constexpr std::size_t kName = 16;
constexpr std::size_t kBoxHead = 8;
constexpr std::size_t kFullBox = 12;
// The usertype of the box that holds the others, as it stands in a file.
constexpr unsigned char kUserType[16] = {0x85, 0xC0, 0xB6, 0x87, 0x82, 0x0F, 0x11, 0xE0,
                                         0x81, 0x11, 0xF4, 0xCE, 0x46, 0x2B, 0x6A, 0x48};

std::uint32_t Number(std::span<const unsigned char> bytes) {
  return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 |
         std::uint32_t{bytes[2]} << 8 | bytes[3];
}

// Where in a run of boxes the body of the first one of a type stands; nothing
// without one.
std::optional<std::size_t> FindIn(std::span<const unsigned char> bytes, std::size_t from,
                                  std::size_t end, unsigned int type) {
  while (end - from >= kBoxHead) {
    const std::uint32_t size = Number(bytes.subspan(from));
    if (size < kBoxHead || size > end - from) return std::nullopt;
    if (Number(bytes.subspan(from + 4)) == type) return from + kBoxHead;
    from += size;
  }
  return std::nullopt;
}

// Where the three identifiers stand in the body of the camera's box.
std::optional<std::size_t> FindNames(const Bytes& body) {
  if (body.size() < sizeof kUserType ||
      !std::equal(std::begin(kUserType), std::end(kUserType), body.begin()))
    return std::nullopt;
  const auto place = FindIn(body, sizeof kUserType, body.size(), FourCc("VROP"));
  if (!place) return std::nullopt;
  const auto names = FindIn(body, *place, body.size(), FourCc("VRFB"));
  if (!names) return std::nullopt;
  const std::size_t first = *names - kBoxHead + kFullBox;
  if (body.size() < first || body.size() - first < 3 * kName) return std::nullopt;
  return first;
}

std::string StemOf(const std::string& path) { return std::filesystem::path(path).stem().string(); }

bool IsBehind(const std::string& stem, const std::string& other, unsigned int step) {
  const std::vector<NextName> names = NamesBehind(stem, step);
  return std::any_of(names.begin(), names.end(),
                     [&](const NextName& next) { return next.name == other; });
}

// By the names of their files: whether the broken clip is the next one behind the other, or surely
// is not; nothing where they do not tell.
std::optional<bool> IsNext(const std::string& clip, const std::string& broken) {
  constexpr unsigned int kNear = 9;
  const std::string before = StemOf(clip);
  const std::string behind = StemOf(broken);
  if (IsBehind(before, behind, 1)) return true;
  for (unsigned int step = 1; step <= kNear; ++step) {
    if (IsBehind(before, behind, step) || IsBehind(behind, before, step)) return false;
  }
  return std::nullopt;
}

RawBox* FindBox(RawBox& movie) {
  for (RawBox& box : movie.children) {
    if (box.type == FourCc("uuid") && FindNames(box.data)) return &box;
  }
  return nullptr;
}

}  // namespace

std::optional<ClipNames> ReadNames(const RawBox& movie) {
  const RawBox* box = FindBox(const_cast<RawBox&>(movie));
  if (box == nullptr) return std::nullopt;
  const auto at = box->data.begin() + static_cast<std::ptrdiff_t>(*FindNames(box->data));
  constexpr auto kStep = static_cast<std::ptrdiff_t>(kName);
  return ClipNames{
      {at, at + kStep}, {at + kStep, at + 2 * kStep}, {at + 2 * kStep, at + 3 * kStep}};
}

void WriteNames(RawBox& movie, const ClipNames& names) {
  RawBox* box = FindBox(movie);
  if (box == nullptr) return;
  std::size_t at = *FindNames(box->data);
  for (const Bytes* name : {&names.own, &names.next, &names.previous}) {
    std::copy(name->begin(), name->end(), box->data.begin() + static_cast<std::ptrdiff_t>(at));
    at += kName;
  }
}

ClipNames NoNames() { return {Bytes(kName), Bytes(kName), Bytes(kName)}; }

bool IsName(const Bytes& name) {
  return std::any_of(name.begin(), name.end(), [](unsigned char byte) { return byte != 0; });
}

ClipNames NamesOfMissing(const std::string& broken, const std::vector<NamedClip>& clips) {
  std::vector<const NamedClip*> open;
  bool isSure = false;
  for (const NamedClip& clip : clips) {
    const bool isThere = std::any_of(clips.begin(), clips.end(), [&](const NamedClip& other) {
      return other.names.own == clip.names.next;
    });
    if (!IsName(clip.names.next) || isThere) continue;
    const auto isNext = IsNext(clip.path, broken);
    if (isNext == true && !isSure) open.clear();
    isSure = isSure || isNext == true;
    if (isNext == true || !isSure) open.push_back(&clip);
  }
  const bool areOne = std::all_of(open.begin(), open.end(), [&](const NamedClip* clip) {
    return clip->names.next == open.front()->names.next &&
           (isSure || IsNext(clip->path, broken) != false);
  });
  if (open.empty() || !areOne) return NoNames();
  ClipNames names = NoNames();
  names.own = open.front()->names.next;
  names.previous = open.front()->names.own;
  return names;
}

}  // namespace clipchain::rescue
