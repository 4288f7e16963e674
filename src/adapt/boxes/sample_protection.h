// Joins what protected samples need beside their bytes: for each of them its initialization vector
// and which of its bytes are in the clear (ISO/IEC 23001-7, 7).
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <vector>

#include "adapt/boxes/raw_boxes.h"
#include "adapt/reason.h"

namespace clipchain {

// What the descriptions of a track's samples, and groups of them, say about how they are protected.
struct ProtectionScheme {
  // Of all protected descriptions; 0 where none is, or where they differ.
  unsigned int type = 0;
  // Of protected samples' vectors, in bytes; nothing among them: it is not known.
  std::set<std::optional<unsigned int>> vectorSizes{};
  // By description, from the first one on.
  std::vector<bool> isProtected{};
  // Groups of samples have keys of their own, or none ("seig").
  bool hasGroups = false;

  // The one that all have; nothing where that is not known.
  std::optional<unsigned int> VectorSize() const;
  // Takes what the groups among the children of "stbl" or "traf" say.
  void AddGroups(const RawBox& parent);
};

// Of a "trak".
ProtectionScheme ProtectionSchemeOf(const RawBox& track);

class SampleProtection {
 public:
  // That many samples, with so many bytes each.
  struct Run {
    std::uint64_t count;
    std::uint8_t size;
  };

  void AddSizes(std::uint64_t count, std::uint8_t size);
  void AddBytes(const Bytes& bytes) { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); }
  void Append(const SampleProtection& behind);

  bool IsAny() const { return !bytes_.empty(); }
  std::uint64_t Size() const { return bytes_.size(); }
  const std::vector<Run>& Sizes() const { return sizes_; }

  // Why these bytes can't stand in one box "senc", where readers find those of each sample by what
  // the scheme says: the rest of a sentence that begins with "samples". To be asked before they are
  // written.
  [[nodiscard]] Reason Settle(const ProtectionScheme& scheme);

  // Puts "saiz" into the "stbl" and "senc" into the "trak" in place of what is there of them;
  // nothing where there are no bytes. With `withPlace` "saio" too, whose offset is 0 as long as
  // nobody knows where in the file the movie box is.
  void Write(RawBox& track, bool withPlace) const;

 private:
  RawBox SizesBox() const;

  std::vector<Run> sizes_;
  std::uint64_t samples_ = 0;
  Bytes bytes_;
  // Each sample says which parts of it are in the clear.
  bool hasSubsamples_ = false;
};

}  // namespace clipchain
