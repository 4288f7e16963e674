#include "workflow/keeping/card_files.h"

#include <sys/sysmacros.h>

#include <algorithm>

#include "workflow/clip_info.h"
#include "workflow/clip_search.h"
#include "workflow/keeping/listed_bytes.h"
#include "workflow/system/files.h"
#include "workflow/system/part_name.h"

namespace clipchain {

namespace {

std::vector<ListedFile> Listed(const std::vector<CardFile>& files) {
  std::vector<ListedFile> listed;
  for (const CardFile& file : files) listed.push_back(file.file);
  return listed;
}

}  // namespace

std::vector<ListedPath> Differences(const std::vector<ListedFile>& before,
                                    const std::vector<ListedFile>& after) {
  std::map<FilePlace, const ListedFile*> left;
  for (const ListedFile& file : before) left.emplace(PlaceOf(file), &file);
  std::vector<ListedPath> differences;
  for (const ListedFile& file : after) {
    const auto same = left.find(PlaceOf(file));
    if (same == left.end()) {
      differences.push_back({file.path, "appeared while the cards were looked at"});
      // By times and size: to read all of it again would take as long as the proof.
    } else if (!(same->second->stamp == file.stamp)) {
      differences.push_back({file.path, "changed while the cards were looked at"});
    } else if (same->second->path != file.path) {
      // A folder above it has another name: the file has not changed, and was looked for elsewhere.
      differences.push_back({same->second->path, "is now " + PrintablePath(file.path)});
    }
    if (same != left.end()) left.erase(same);
  }
  for (const auto& [place, file] : left)
    differences.push_back({file->path, "is not there any more"});
  return differences;
}

Findings CardFiles::Read(const std::vector<std::string>& cards, const SearchProgress& goOn) {
  std::set<FilePlace> places;
  for (std::size_t card = 0; card < cards.size(); ++card) {
    const FileList list = ListFiles(cards[card], goOn);
    if (!list.unreadable.empty() && list.unreadable.front().path == cards[card])
      return {MakeFinding(Message::kFolderUnusable, cards[card], list.unreadable.front().reason,
                          "name the folder of the card as it is mounted")};
    // An empty mount point would be kept whole by anything.
    if (list.files.empty() && list.unreadable.empty())
      return {MakeFinding(Message::kFolderUnusable, cards[card], "has no file below it",
                          "see whether the card is mounted there")};
    for (const ListedFile& file : list.files) {
      identities_.insert(file.stamp.identity);
      if (devices_.emplace(file.stamp.identity.device, FolderOf(file.path)).second)
        storages_.insert(StorageOf(file.stamp.identity.device));
      shades_.emplace(ShadeOf(file.stamp), file.stamp.identity.device);
      if (places.insert(PlaceOf(file)).second) {
        files_.emplace_back();
        files_.back().file = file;
        files_.back().card = card;
      }
    }
    leftAside_.insert(leftAside_.end(), list.leftAside.begin(), list.leftAside.end());
    unreadable_.insert(unreadable_.end(), list.unreadable.begin(), list.unreadable.end());
  }
  for (CardFile& file : files_) {
    if (goOn && !goOn(files_.size())) break;
    Look(file);
  }
  return {};
}

CardFiles::Shade CardFiles::ShadeOf(const FileStamp& stamp) {
  return {static_cast<long long>(NumberBeneath(stamp)),
          stamp.size,
          stamp.modified.tv_sec,
          stamp.modified.tv_nsec,
          stamp.changed.tv_sec,
          stamp.changed.tv_nsec};
}

// A card may be mounted a second time by another device that shows its own.
bool CardFiles::ShowsACard(dev_t device) const {
  return !devices_.contains(device) && storages_.contains(StorageOf(device));
}

// File systems without a device of their own have the major number 0. No copy can be made to have
// the time of the last change that another file has.
bool CardFiles::Has(const FileStamp& stamp) const {
  if (identities_.contains(stamp.identity) || ShowsACard(stamp.identity.device)) return true;
  const auto shade = shades_.find(ShadeOf(stamp));
  return shade != shades_.end() && shade->second != stamp.identity.device &&
         (major(shade->second) == 0 || major(stamp.identity.device) == 0);
}

std::optional<std::size_t> CardFiles::CardBeside(const std::string& folder) const {
  std::set<dev_t> beside;
  for (const auto& [device, place] : devices_) {
    if (IsOneFileSystem(place, folder)) beside.insert(device);
  }
  for (const CardFile& file : files_) {
    if (beside.contains(file.file.stamp.identity.device)) return file.card;
  }
  return std::nullopt;
}

void CardFiles::Look(CardFile& file) {
  // Nothing in it says what it is; by its name it may be a clip that was never written.
  if (file.file.stamp.size == 0) {
    file.isClip = HasClipName(file.file.path);
    return;
  }
  ListedBytes bytes(file.file);
  file.isUnread = bytes.Why().has_value();
  if (file.isUnread) {
    file.reason = *bytes.Why();
    return;
  }
  // Ahead of its bytes: what shares them with it is no second copy, whatever they say.
  blocks_.Add(file.file.stamp, BlocksOf(bytes.descriptor()));
  const ClipLayout layout = ReadClipLayout(bytes.Bytes());
  file.isClip = layout.isClip;
  file.isUnread = static_cast<bool>(bytes.Bytes().error());
  if (file.isUnread) file.reason = "can't be read";
  if (!layout.isClip) return;
  // Places alone: media of a whole card fits in no memory.
  file.media = layout.media;
  ClipInfo info;
  // A clip without a movie that can be read has no identifiers. If the system would not let it be
  // read it is not kept: its clips could stand in any order.
  if (ReadClipInfo(file.file.path, info) != S_OK) info = {};
  file.id = info.uniqueID;
  file.previous = info.previousID;
  file.next = info.nextID;
}

std::vector<ListedPath> CardFiles::Changes(const std::vector<std::string>& cards,
                                           const SearchProgress& goOn) const {
  std::vector<ListedFile> now;
  std::set<FilePlace> places;
  std::vector<ListedPath> changes;
  std::set<std::string> aside;
  for (const std::string& card : cards) {
    const FileList list = ListFiles(card, goOn);
    for (const ListedFile& file : list.files) {
      if (places.insert(PlaceOf(file)).second) now.push_back(file);
    }
    for (const ListedPath& path : list.unreadable) changes.push_back(path);
    for (const ListedPath& path : list.leftAside) aside.insert(path.path);
  }
  for (const ListedPath& path : leftAside_) aside.erase(path.path);
  for (const std::string& path : aside)
    changes.push_back({path, "appeared while the cards were looked at"});
  const std::vector<ListedPath> differences = Differences(Listed(files_), now);
  changes.insert(changes.end(), differences.begin(), differences.end());
  return changes;
}

}  // namespace clipchain
