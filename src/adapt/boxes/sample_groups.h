// Joins the sample groups of parts that follow each other (ISO/IEC 14496-12, 8.9).
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "adapt/boxes/raw_boxes.h"

namespace clipchain {

// "sgpd" without its type. Entries are the bytes of each description.
struct GroupDescriptions {
  unsigned int version = 0;
  std::uint32_t flags = 0;
  // Of the samples that no table speaks of; 0 for none.
  std::uint32_t defaultIndex = 0;
  // Nothing where version 0 does not say how long each is.
  std::optional<std::vector<Bytes>> entries;
  std::uint32_t count = 0;
};

// "sbgp": that many samples are of the group with that description, counted from 1; 0 for none.
struct GroupRun {
  std::uint32_t count = 0;
  std::uint32_t index = 0;
  bool operator==(const GroupRun&) const = default;
};

// Each takes the grouping type too, and gives nothing where the box is no such table.
std::optional<GroupDescriptions> ReadGroupDescriptions(const RawBox& sgpd, unsigned int& type);

// Grows part by part. Descriptions that are there already are used again, others are appended. What
// can't be read or joined is left out for all parts, and its grouping type is told.
class SampleGroups {
 public:
  // Takes the groups among the children of "stbl", for so many samples.
  void Append(const RawBox& table, std::uint32_t samples);
  // The same of a "traf", whose indexes above 65,536 count descriptions of its own, and others
  // those of the part that was appended first.
  void AppendFragment(const RawBox& fragment, std::uint32_t samples);

  const std::set<unsigned int>& LeftOut() const { return leftOut_; }
  // Puts them into "stbl" in place of all that are there.
  void Write(RawBox& table) const;

 private:
  using Indexes = std::vector<std::uint32_t>;

  struct Runs {
    std::vector<GroupRun> entries;
    std::uint64_t samples = 0;

    void Append(std::uint64_t count, std::uint32_t index);
    bool IsAny() const;
  };

  // An order of entries that costs little.
  struct Shorter {
    bool operator()(const Bytes& a, const Bytes& b) const {
      return a.size() != b.size()
                 ? a.size() < b.size()
                 : std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end());
    }
  };

  struct Kind {
    GroupDescriptions descriptions;
    // Of entries that were looked for.
    std::map<Bytes, std::uint32_t, Shorter> places;
    // How many of them are those of the movie box, which a fragment may speak of.
    std::size_t ofMovie = 0;
    // The box as it was, while nothing was added to it.
    RawBox asRead;
    // Of the last box, to know one that says the same again.
    Bytes lastRead;
    Indexes lastIndexes;
    // By parameter, where there is one.
    std::map<std::optional<std::uint32_t>, Runs> runs;
  };

  // What the boxes of a part mean here: by grouping type, where each description is.
  struct Part {
    std::map<unsigned int, Indexes> indexes;
    std::map<unsigned int, std::uint32_t> defaults;
  };

  void TakeDescriptions(const RawBox& box, bool isFragment, Part& part);
  bool Join(Kind& kind, const GroupDescriptions& added, Indexes& indexes);
  void TakeRuns(const RawBox& box, const Part& own, bool isFragment, std::uint32_t samples);
  bool IndexOf(const Indexes* own, const Kind& kind, bool isFragment, std::uint32_t& index) const;
  void FillUp(const Part& part, std::uint32_t samples);
  void LeaveOut(unsigned int type);

  std::map<unsigned int, Kind> kinds_;
  std::set<unsigned int> leftOut_;
  // Of all parts so far.
  std::uint64_t samples_ = 0;
};

}  // namespace clipchain
