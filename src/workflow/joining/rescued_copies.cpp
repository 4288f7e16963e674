#include "workflow/joining/rescued_copies.h"

#include <algorithm>

#include "adapt/clips/fit_clip.h"
#include "adapt/clips/media_map.h"
#include "foundation/guid.h"
#include "workflow/clips/clip_file.h"
#include "workflow/clips/order_facts.h"
#include "workflow/rescue/movie_maker.h"
#include "workflow/system/file_bytes.h"

namespace clipchain {

namespace {

_GUID IdentifierOf(const std::string& path) {
  ClipFile file(path);
  if (file.WhyUnreadable() || file.Parse() != S_OK || file.Movie() == nullptr) return {};
  return OrderFactsOf(file).id;
}

// The media of a clip, its boxes in a row.
class Media {
 public:
  explicit Media(const std::string& path) : clip_(path) {
    FitReport unsaid;
    if (!clip_.Open(0, unsaid, unlimited_)) clip_.media.clear();
  }

  bool IsRescued() const { return rescue::IsRescued(clip_.movie); }
  std::uint64_t Size() const { return MediaMap(clip_.media, 0).Size(); }
  // Up to the end of a box, and no more than so many; none if they can't be read.
  Bytes Read(std::uint64_t at, std::uint64_t most) const {
    for (const MediaRange& media : clip_.media) {
      if (at < media.size) return clip_.Read(media.position + at, std::min(most, media.size - at));
      at -= media.size;
    }
    return {};
  }

 private:
  MemoryBudget unlimited_;
  FitClip clip_;
};

bool BeginsWith(const Media& whole, const Media& part) {
  constexpr std::uint64_t kBlock = 1 << 20;
  for (std::uint64_t at = 0; at < part.Size();) {
    const Bytes own = part.Read(at, kBlock);
    const Bytes other = whole.Read(at, own.size());
    if (other.empty() || !std::equal(other.begin(), other.end(), own.begin())) return false;
    at += other.size();
  }
  return part.Size() != 0;
}

// The first one that begins with the rescued clip and that the caller takes.
template <typename MayTake>
const IdentifiedClip* FirstWith(const IdentifiedClip& rescued,
                                const std::vector<IdentifiedClip>& clips, const MayTake& mayTake) {
  if (rescued.id == _GUID{}) return nullptr;
  const Media part(rescued.path);
  for (const IdentifiedClip& clip : clips) {
    if (clip.path == rescued.path || clip.id != rescued.id) continue;
    const Media whole(clip.path);
    if (mayTake(whole, part) && BeginsWith(whole, part)) return &clip;
  }
  return nullptr;
}

}  // namespace

std::vector<IdentifiedClip> Identify(const std::vector<std::string>& clips) {
  std::vector<IdentifiedClip> identified;
  for (const std::string& clip : clips) identified.push_back({clip, IdentifierOf(clip)});
  return identified;
}

std::optional<std::string> WholeOf(const IdentifiedClip& rescued,
                                   const std::vector<IdentifiedClip>& clips) {
  const IdentifiedClip* clip = FirstWith(
      rescued, clips, [](const Media& whole, const Media&) { return !whole.IsRescued(); });
  return clip != nullptr ? std::optional(clip->path) : std::nullopt;
}

std::optional<std::string> LongestOf(const IdentifiedClip& rescued,
                                     const std::vector<IdentifiedClip>& others) {
  const auto isLonger = [](const Media& longer, const Media& part) {
    return longer.Size() > part.Size();
  };
  const IdentifiedClip* longest = nullptr;
  for (const IdentifiedClip* next = &rescued; (next = FirstWith(*next, others, isLonger));)
    longest = next;
  return longest != nullptr ? std::optional(longest->path) : std::nullopt;
}

bool BeginsWithBytesOf(const std::string& whole, const std::string& part) {
  FileBytes file(whole);
  FileBytes begin(part);
  const std::uint64_t size = begin.Size();
  if (file.error() || begin.error() || file.Size() < size) return false;
  std::vector<unsigned char> bytes(1 << 20);
  std::vector<unsigned char> others(bytes.size());
  for (std::uint64_t at = 0; at < size; at += bytes.size()) {
    bytes.resize(static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), size - at)));
    others.resize(bytes.size());
    if (!begin.Read(at, bytes.data(), bytes.size()) ||
        !file.Read(at, others.data(), others.size()) || bytes != others)
      return false;
  }
  return true;
}

}  // namespace clipchain
