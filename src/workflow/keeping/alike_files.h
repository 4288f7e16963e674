// Chooses which files are worth comparing with another one, so that thousands of files of one size
// are not compared each with each.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "workflow/keeping/file_list.h"
#include "workflow/system/file_bytes.h"

namespace clipchain {

// How a file fared that was compared with the wanted one.
enum class Likeness {
  kSame,
  kOther,
  // It keeps nothing, whatever is wanted, and was not read.
  kUseless
};

// Knows files by indexes. Sizes, names, ends and hashes only say which of them are compared.
class AlikeFiles {
 public:
  using FileOf = std::function<const ListedFile&(std::size_t index)>;
  using IsUseless = std::function<bool(std::size_t index)>;
  using Compare = std::function<Likeness(std::size_t index)>;

  // Both are asked as long as this lives.
  AlikeFiles(FileOf fileOf, IsUseless isUseless);

  void Add(std::size_t index);

  // Compares files that have the size of the wanted one and begin and end like it, the likeliest
  // first, until one is the same: it gives its index. Each file is probed once and hashed once,
  // however many are wanted.
  std::optional<std::size_t> Find(const ListedFile& wanted, FileBytes& bytes,
                                  const Compare& compare);

 private:
  // In the order in which they were added.
  struct Row {
    std::vector<std::size_t> files;
    // Those in front of it are useless.
    std::size_t first = 0;
  };
  struct Group {
    Row all;
    std::map<std::string, Row> byName;
    // Of those that were hashed so far.
    std::map<std::string, Row> byHash;
    std::size_t hashed = 0;
  };
  using Ends = std::pair<long long, std::uint64_t>;

  Group* GroupOf(const ListedFile& wanted, FileBytes& bytes);
  void Probe(long long size);
  // Of a row of useless files with the last one, so that whoever asks hears why it is of no use.
  static Likeness CompareFirst(Row& row, const Compare& compare);
  bool HashMore(const std::string& hash, Group& group);
  std::optional<std::size_t> FindByHash(const std::string& hash, Group& group,
                                        const Compare& compare);

  const FileOf fileOf_;
  const IsUseless isUseless_;
  // Not yet probed.
  std::map<long long, std::vector<std::size_t>> bySize_;
  std::map<Ends, Group> groups_;
};

}  // namespace clipchain
