// Knows the files below folders that may keep what is on cards.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "adapt/reason.h"
#include "workflow/finding.h"
#include "workflow/keeping/card_files.h"
#include "workflow/keeping/listed_bytes.h"
#include "workflow/system/flush_folders.h"

namespace clipchain {

struct KeptFile {
  ListedFile file;
  // The rest of a sentence that begins with its path: why it keeps nothing, once that is known.
  Reason whyNot{};
  // That proves clips by itself.
  bool mayBeResult = true;
  // Something on a card is kept by it.
  bool counts = false;
};

class KeptFiles {
 public:
  // Lists the folders. Files of the cards are left out, and so are hidden ones that a merge has not
  // completed. What speaks against it, if anything does: a folder that is missing or unreadable.
  Findings Read(const std::vector<std::string>& folders, const CardFiles& cards,
                const SearchProgress& goOn = {});

  std::vector<KeptFile>& Files() { return files_; }
  // Empty ones of that name.
  const std::vector<std::size_t>& EmptyOnesOf(const std::string& name);
  // One by its path; null if there is none.
  KeptFile* At(const std::string& path);

  // Whether something has that path that is not among the files: a link, or a file of a card.
  bool Hides(const std::string& path) const;

  // Opens a file whose bytes are to count: it is what was listed, is on its disk, and shares no
  // block with a card. Null, and why, else, from then on.
  std::unique_ptr<ListedBytes> Open(KeptFile& file, CardFiles& cards, Reason& why);

  // From now on the file, and what else lies in its folder, must stay what it is.
  void Count(KeptFile& file);
  // Of those that count: what could not be opened or read at some time, or listed at first.
  std::vector<ListedPath> Failures(const QUIRVA::ReadFailures& failures) const;
  // Which of the folders, by index, have something that counted on the file system of a card, and
  // of which one.
  std::map<std::size_t, std::size_t> BesideCards(const CardFiles& cards) const;
  // Lists the folders once more; what is not as it was where anything counted.
  std::vector<ListedPath> Changes(const std::vector<std::string>& folders,
                                  const SearchProgress& goOn = {}) const;

 private:
  [[nodiscard]] Reason WhyUnflushed(const ListedBytes& bytes, const ListedFile& file);
  // Of what could not be listed the folders that something counts in. Others may always be closed
  // to whoever asks, as those of the system on a disk.
  std::vector<ListedPath> WhereAnythingCounts(const std::vector<ListedPath>& unreadable) const;

  // With those left out.
  std::vector<ListedFile> all_;
  std::vector<ListedPath> unreadable_;
  // Folders.
  std::set<FileIdentity> flushed_;
  FlushedFolders flushedAbove_;
  std::vector<KeptFile> files_;
  std::map<std::string, std::vector<std::size_t>> emptyByName_;
  std::map<std::string, std::size_t> byPath_;
  // Folders, and paths of them.
  std::map<FileIdentity, std::string> counted_;
  // Below which of the folders one lies.
  std::map<FileIdentity, std::size_t> against_;
};

}  // namespace clipchain
