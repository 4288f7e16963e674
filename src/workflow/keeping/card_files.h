// Holds the files of cards, and what was found out so far about where each one is kept.
#pragma once

#include <array>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "foundation/guid.h"
#include "workflow/card_proof.h"
#include "workflow/keeping/clip_layout.h"
#include "workflow/keeping/file_list.h"
#include "workflow/keeping/shared_blocks.h"
#include "workflow/keeping/storage.h"

namespace clipchain {

enum class Keeping {
  kNot,
  // A result has the samples, and not the rest.
  kSamples,
  // An identical file, or a result with its archive of originals.
  kEveryByte
};

struct CardFile {
  ListedFile file;
  // Index.
  std::size_t card = 0;
  bool isClip = false;
  // What it is could not be found out.
  bool isUnread = false;
  // Of a clip.
  std::vector<Extent> media;
  // By which other clips know it; zero without one.
  _GUID id{};
  _GUID previous{};
  _GUID next{};
  Keeping keeping = Keeping::kNot;
  // Why it is not kept, as far as that is known.
  std::string reason;
};

class CardFiles {
 public:
  // Lists the cards and looks at each file. What speaks against it, if anything does: a card that
  // is no folder, can't be read or has no file.
  Findings Read(const std::vector<std::string>& cards, const SearchProgress& goOn = {});

  std::vector<CardFile>& Files() { return files_; }
  const std::vector<ListedPath>& LeftAside() const { return leftAside_; }
  const std::vector<ListedPath>& Unreadable() const { return unreadable_; }
  // Whether it is a file of a card, by whatever path, and by whatever device or file system that
  // shows the files of another one.
  bool Has(const FileStamp& stamp) const;
  // The first card that has a file on the file system of that folder.
  std::optional<std::size_t> CardBeside(const std::string& folder) const;
  SharedBlocks& Blocks() { return blocks_; }
  // Lists the cards once more; what is not as it was.
  std::vector<ListedPath> Changes(const std::vector<std::string>& cards,
                                  const SearchProgress& goOn = {}) const;

 private:
  // Size, times and the file's number, as an overlay, a network or a user's file system passes them
  // on from the file system beneath.
  using Shade = std::array<long long, 6>;
  static Shade ShadeOf(const FileStamp& stamp);

  void Look(CardFile& file);
  bool ShowsACard(dev_t device) const;

  std::vector<CardFile> files_;
  std::vector<ListedPath> leftAside_;
  std::vector<ListedPath> unreadable_;
  std::set<FileIdentity> identities_;
  // With a folder on each.
  std::map<dev_t, std::string> devices_;
  // Of the devices.
  std::set<Storage> storages_;
  std::map<Shade, dev_t> shades_;
  SharedBlocks blocks_;
};

// What differs between two looks at the same folders.
std::vector<ListedPath> Differences(const std::vector<ListedFile>& before,
                                    const std::vector<ListedFile>& after);

}  // namespace clipchain
