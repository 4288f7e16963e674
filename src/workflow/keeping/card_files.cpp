#include "workflow/keeping/card_files.h"

#include <algorithm>
#include <map>

#include "workflow/clip_info.h"
#include "workflow/clip_search.h"
#include "workflow/keeping/listed_bytes.h"

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
    } else if (!(same->second->stamp == file.stamp)) {
      differences.push_back({file.path, "changed while the cards were looked at"});
    }
    if (same != left.end()) left.erase(same);
  }
  for (const auto& [place, file] : left)
    differences.push_back({file->path, "is not there any more"});
  return differences;
}

Findings CardFiles::Read(const std::vector<std::string>& cards) {
  std::set<FilePlace> places;
  for (std::size_t card = 0; card < cards.size(); ++card) {
    const FileList list = ListFiles(cards[card]);
    if (!list.unreadable.empty() && list.unreadable.front().path == cards[card])
      return {MakeFinding(Message::kFolderUnusable, cards[card], list.unreadable.front().reason,
                          "name the folder of the card as it is mounted")};
    if (list.files.empty() && list.unreadable.empty())
      return {MakeFinding(Message::kFolderUnusable, cards[card], "has no file below it",
                          "see whether the card is mounted there")};
    for (const ListedFile& file : list.files) {
      identities_.insert(file.stamp.identity);
      if (places.insert(PlaceOf(file)).second) {
        files_.emplace_back();
        files_.back().file = file;
        files_.back().card = card;
      }
    }
    leftAside_.insert(leftAside_.end(), list.leftAside.begin(), list.leftAside.end());
    unreadable_.insert(unreadable_.end(), list.unreadable.begin(), list.unreadable.end());
  }
  for (CardFile& file : files_) Look(file);
  return {};
}

void CardFiles::Look(CardFile& file) {
  if (file.file.stamp.size == 0) {
    file.isClip = HasClipName(file.file.path);
    return;
  }
  ListedBytes bytes(file.file);
  file.reason = bytes.Why();
  file.isUnread = !bytes.Why().empty();
  if (file.isUnread) return;
  blocks_.Add(file.file.stamp, BlocksOf(bytes.descriptor()));
  const ClipLayout layout = ReadClipLayout(bytes.Bytes());
  file.isClip = layout.isClip;
  file.isUnread = bytes.Bytes().error() != 0;
  if (file.isUnread) file.reason = "can't be read";
  if (!layout.isClip) return;
  file.media = layout.media;
  ClipInfo info;
  static_cast<void>(ReadClipInfo(file.file.path, info));
  file.id = info.uniqueID;
  file.previous = info.previousID;
  file.next = info.nextID;
}

std::vector<ListedPath> CardFiles::Changes(const std::vector<std::string>& cards) const {
  std::vector<ListedFile> now;
  std::set<FilePlace> places;
  std::vector<ListedPath> changes;
  for (const std::string& card : cards) {
    const FileList list = ListFiles(card);
    for (const ListedFile& file : list.files) {
      if (places.insert(PlaceOf(file)).second) now.push_back(file);
    }
    for (const ListedPath& path : list.unreadable) changes.push_back(path);
  }
  const std::vector<ListedPath> differences = Differences(Listed(files_), now);
  changes.insert(changes.end(), differences.begin(), differences.end());
  return changes;
}

}  // namespace clipchain
