#include "workflow/keeping/kept_files.h"

#include <system_error>
#include <utility>

#include "workflow/system/files.h"
#include "workflow/system/open_file.h"
#include "workflow/system/part_file.h"
#include "workflow/system/part_name.h"
#include "workflow/system/system_error.h"

namespace clipchain {

Findings KeptFiles::Read(const std::vector<std::string>& folders, const CardFiles& cards,
                         const SearchProgress& goOn) {
  std::set<FilePlace> places;
  for (std::size_t index = 0; index < folders.size(); ++index) {
    const std::string& folder = folders[index];
    const FileList list = ListFiles(folder, goOn);
    if (!list.unreadable.empty() && list.unreadable.front().path == folder)
      // A folder that can't be read must not look like one without copies.
      return {MakeFinding(Message::kFolderUnusable, folder, list.unreadable.front().reason,
                          "name a folder with results or copies")};
    unreadable_.insert(unreadable_.end(), list.unreadable.begin(), list.unreadable.end());
    for (const ListedFile& file : list.files) {
      // Folders may be named twice, or one inside of the other.
      if (!places.insert(PlaceOf(file)).second) continue;
      all_.push_back(file);
      against_.emplace(file.folder, index);
      // A file of a card is no second copy of itself, and a hidden file may go at any moment.
      if (cards.Has(file.stamp) || IsAnyPartName(NameOf(file.path))) continue;
      byPath_.emplace(file.path, files_.size());
      if (file.stamp.size == 0) emptyByName_[NameOf(file.path)].push_back(files_.size());
      files_.push_back({.file = file});
    }
  }
  return {};
}

const std::vector<std::size_t>& KeptFiles::EmptyOnesOf(const std::string& name) {
  return emptyByName_[name];
}

KeptFile* KeptFiles::At(const std::string& path) {
  const auto found = byPath_.find(path);
  return found != byPath_.end() ? &files_[found->second] : nullptr;
}

bool KeptFiles::Hides(const std::string& path) const {
  return !byPath_.contains(path) && Exists(path);
}

std::unique_ptr<ListedBytes> KeptFiles::Open(KeptFile& file, CardFiles& cards, Reason& why) {
  // One that is no proof for one clip is none for any other.
  if (why = file.whyNot; why) return nullptr;
  auto bytes = std::make_unique<ListedBytes>(file.file);
  why = bytes->Why();
  // Asked of the open file: the name may have come to stand for another one.
  if (!why && cards.Blocks().Touch(file.file.stamp, BlocksOf(bytes->descriptor())))
    why = "shares its blocks on the disk with a file of a card";
  if (!why && MayLieBeneath(bytes->descriptor()))
    why = "lies on an overlay that does not tell its blocks, and may be a file of a card";
  if (!why) why = WhyUnflushed(*bytes, file.file);
  file.whyNot = why;
  if (why) bytes.reset();
  return bytes;
}

// Somebody may have copied it there a moment ago.
Reason KeptFiles::WhyUnflushed(const ListedBytes& bytes, const ListedFile& file) {
  std::error_code error = Flush(bytes.descriptor());
  // The name of a file is lost with its folder's blocks, however safe its own are.
  if (!error && !flushed_.contains(file.folder)) {
    const Descriptor folder = OpenToRead(FolderOf(file.path));
    error = folder < 0 ? LastError() : Flush(folder);
    if (!error) error = FlushAbove(folder, flushedAbove_);
    if (!error) flushed_.insert(file.folder);
  }
  if (!error) return std::nullopt;
  return "can't be flushed to its disk: " + ErrorText(error);
}

void KeptFiles::Count(KeptFile& file) {
  file.counts = true;
  counted_.emplace(file.file.folder, FolderOf(file.file.path));
}

std::map<std::size_t, std::size_t> KeptFiles::BesideCards(const CardFiles& cards) const {
  std::map<std::size_t, std::size_t> beside;
  for (const auto& [folder, path] : counted_) {
    if (const auto card = cards.CardBeside(path)) beside.emplace(against_.at(folder), *card);
  }
  return beside;
}

std::vector<ListedPath> KeptFiles::WhereAnythingCounts(
    const std::vector<ListedPath>& unreadable) const {
  std::set<std::string> folders;
  for (const auto& [folder, path] : counted_) folders.insert(path);
  std::vector<ListedPath> found;
  for (const ListedPath& path : unreadable) {
    std::string folder = path.path;
    while (folder.size() > 1 && folder.ends_with('/')) folder.pop_back();
    // Only what counts must be seen to be unchanged.
    if (folders.contains(folder)) found.push_back(path);
  }
  return found;
}

std::vector<ListedPath> KeptFiles::Failures(const QUIRVA::ReadFailures& failures) const {
  std::vector<ListedPath> failed = WhereAnythingCounts(unreadable_);
  for (const KeptFile& file : files_) {
    // What proves nothing may fail: nobody relies on it.
    if (!file.counts) continue;
    if (const Reason why = WhyDoubtful(file.file, failures))
      failed.push_back({file.file.path, *why});
  }
  return failed;
}

std::vector<ListedPath> KeptFiles::Changes(const std::vector<std::string>& folders,
                                           const SearchProgress& goOn) const {
  const auto thatCount = [this](const std::vector<ListedFile>& files) {
    std::vector<ListedFile> some;
    for (const ListedFile& file : files) {
      if (counted_.contains(file.folder)) some.push_back(file);
    }
    return some;
  };
  std::vector<ListedFile> now;
  std::set<FilePlace> places;
  std::vector<ListedPath> unreadable;
  for (const std::string& folder : folders) {
    const FileList list = ListFiles(folder, goOn);
    for (const ListedFile& file : list.files) {
      if (places.insert(PlaceOf(file)).second) now.push_back(file);
    }
    unreadable.insert(unreadable.end(), list.unreadable.begin(), list.unreadable.end());
  }
  std::vector<ListedPath> changes = WhereAnythingCounts(unreadable);
  const std::vector<ListedPath> differences = Differences(thatCount(all_), thatCount(now));
  changes.insert(changes.end(), differences.begin(), differences.end());
  return changes;
}

}  // namespace clipchain
