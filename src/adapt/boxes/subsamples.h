// Joins tables of subsamples of parts that follow each other ("subs", ISO/IEC 14496-12, 8.7.7).
#pragma once

#include <cstdint>
#include <map>

#include "adapt/boxes/raw_boxes.h"

namespace clipchain {

// Grows part by part: the samples of each part count on behind those of the one before. A table
// that can't be read leaves out all of its flags' tables.
class Subsamples {
 public:
  // Takes the tables among the children of "stbl" or "traf", for so many samples.
  void Append(const RawBox& parent, std::uint32_t samples);

  bool IsLeftOut() const { return isLeftOut_; }
  // Puts them into "stbl" in place of all that are there.
  void Write(RawBox& table) const;

 private:
  // One for each value of the flags, which say what the codec's parameters mean.
  struct Table {
    // Version 1, in which sizes have 32 bits.
    bool isWide = false;
    std::uint32_t entries = 0;
    // Sample, counted from 1.
    std::uint64_t last = 0;
    Bytes data;
  };

  bool Take(const RawBox& box, std::uint32_t samples);

  std::map<std::uint32_t, Table> tables_;
  std::uint64_t samples_ = 0;
  bool isLeftOut_ = false;
};

}  // namespace clipchain
