// Reads what clips say about their order, and which of them make a recording.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <vector>

#include "workflow/keeping/card_files.h"

namespace clipchain {

class CardOrder {
 public:
  explicit CardOrder(const std::vector<CardFile>& files);

  // Whether the identifiers of those clips allow that order: none leads to one that stands before
  // it in the row.
  bool Allows(const std::vector<std::size_t>& clips) const;

  // Notes that clips belong to one recording.
  void Unite(std::size_t a, std::size_t b);
  // How many recordings the clips make, by their identifiers and by what was noted.
  std::size_t Recordings();

 private:
  struct Less {
    bool operator()(const _GUID& a, const _GUID& b) const;
  };
  using Ids = std::set<_GUID, Less>;

  // Where an identifier stands in a row of them that has neither branch nor circle.
  struct Rank {
    std::size_t row;
    std::size_t place;
  };

  void RankRows();
  std::optional<Rank> RankOf(const _GUID& id) const;
  bool LeadsToAny(const _GUID& from, const Ids& targets) const;
  std::size_t Root(std::size_t clip);

  const std::vector<CardFile>& files_;
  // What comes behind a clip, as clips say.
  std::map<_GUID, Ids, Less> next_;
  std::map<_GUID, Ids, Less> previous_;
  std::map<_GUID, Rank, Less> ranks_;
  std::vector<std::size_t> parent_;
};

}  // namespace clipchain
