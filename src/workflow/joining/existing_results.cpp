#include "workflow/joining/existing_results.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <optional>
#include <system_error>

#include "adapt/clips/fit_clip.h"
#include "adapt/clips/media_map.h"
#include "workflow/clips/clip_file.h"
#include "workflow/clips/order_facts.h"
#include "workflow/joining/output_name.h"
#include "workflow/system/open_file.h"
#include "workflow/system/read_folder.h"

namespace clipchain {

namespace {

// Enough to tell two recordings apart: sensors have noise.
constexpr std::uint64_t kBeginning = 64 * 1024;

std::optional<OrderFacts> FactsOf(const std::string& path) {
  ClipFile file(path);
  if (file.WhyUnreadable() || file.Parse() != S_OK || file.Movie() == nullptr) return std::nullopt;
  return OrderFactsOf(file);
}

// The first bytes of a file's media; none if it has no media, or can't be read.
Bytes BeginningOf(const std::string& path) {
  FitClip clip(path);
  FitReport unsaid;
  MemoryBudget unlimited;
  if (!clip.Open(0, unsaid, unlimited)) return {};
  // A result has nothing of an empty media box.
  const auto first = std::find_if(clip.media.begin(), clip.media.end(),
                                  [](const MediaRange& media) { return media.size != 0; });
  if (first == clip.media.end()) return {};
  return clip.Read(first->position, std::min(first->size, kBeginning));
}

}  // namespace

std::uint64_t MediaSizeOf(const std::string& path) {
  FitClip clip(path);
  FitReport unsaid;
  MemoryBudget unlimited;
  if (!clip.Open(0, unsaid, unlimited)) return 0;
  return MediaMap(clip.media, 0).Size();
}

SequenceClip ClipWithIdentifier(const std::string& path) {
  SequenceClip clip;
  clip.path = path;
  if (const auto facts = FactsOf(path)) clip.id = facts->id;
  return clip;
}

ExistingResults::ExistingResults(const std::string& folder) : folder_(folder) {
  const Descriptor descriptor = OpenToRead(folder, O_DIRECTORY);
  // A result that is not seen here is made once more under another name, and never replaced.
  [[maybe_unused]] const std::error_code untold =
      ReadFolder(descriptor, [this](const FolderEntry& entry) {
        names_[InLowerCase(WithoutCount(entry.name))].emplace_back(entry.name);
        return true;
      });
  for (auto& [base, names] : names_) {
    std::sort(names.begin(), names.end(), [](const std::string& a, const std::string& b) {
      // "_10" comes behind "_9": names get counts in that order.
      return a.size() != b.size() ? a.size() < b.size() : a < b;
    });
  }
}

std::vector<std::string> ExistingResults::NamedLike(const std::string& name) const {
  const std::string wanted = InLowerCase(name);
  std::vector<std::string> found;
  // A clip's own name may end like a count.
  const auto alike = names_.find(InLowerCase(WithoutCount(name)));
  if (alike != names_.end() && alike->first != wanted) {
    std::copy_if(alike->second.begin(), alike->second.end(), std::back_inserter(found),
                 [&](const std::string& there) { return InLowerCase(there) == wanted; });
  }
  if (const auto counted = names_.find(wanted); counted != names_.end())
    found.insert(found.end(), counted->second.begin(), counted->second.end());
  return found;
}

ExistingResults::Owner ExistingResults::OwnerOf(const std::string& name,
                                                const SequenceClip& clip) const {
  const std::optional<OrderFacts> facts = FactsOf(PathFor(name));
  if (!facts) return Owner::kNobody;
  // Identifiers decide where there are any; the media is for clips that have none.
  if (facts->id != _GUID{} || clip.id != _GUID{})
    return facts->id == clip.id ? Owner::kThisClip : Owner::kAnotherClip;
  const Bytes result = BeginningOf(PathFor(name));
  const Bytes own = BeginningOf(clip.path);
  // What can't be compared belongs to nobody, so that nothing is taken for done.
  if (result.empty() || own.empty()) return Owner::kNobody;
  return std::equal(own.begin(),
                    own.begin() + static_cast<std::ptrdiff_t>(std::min(own.size(), result.size())),
                    result.begin())
             ? Owner::kThisClip
             : Owner::kAnotherClip;
}

ExistingResults::Owner ExistingResults::OwnerOf(const std::string& name,
                                                const std::string& clip) const {
  return OwnerOf(name, ClipWithIdentifier(clip));
}

std::vector<std::string> ExistingResults::ResultsOf(const SequenceClip& clip) const {
  std::vector<std::string> results;
  for (const Extent extent : {Extent::kWhole, Extent::kIncomplete}) {
    for (const std::string& there : NamedLike(OutputName(clip.date, clip.path, extent))) {
      if (OwnerOf(there, clip) == Owner::kThisClip) results.push_back(there);
    }
  }
  return results;
}

_GUID ExistingResults::NextOf(const std::string& name) const {
  const std::optional<OrderFacts> facts = FactsOf(PathFor(name));
  return facts ? facts->next : _GUID{};
}

std::string ExistingResults::PathFor(const std::string& name) const {
  return (std::filesystem::path(folder_) / name).string();
}

}  // namespace clipchain
