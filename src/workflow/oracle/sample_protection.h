// Reads what a track says of its protected samples beside their bytes (ISO/IEC 23001-7, clause 7;
// ISO/IEC 14496-12, clauses 8.7.8 and 8.7.9).
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "workflow/oracle/sample_reader.h"

namespace clipchain::samples {

struct ToldProtection {
  // So many samples, with so many bytes each.
  struct Run {
    Number count;
    std::uint32_t size;
  };

  // Of the samples from the first one on; those behind the last run have nothing.
  std::vector<Run> runs{};
  std::vector<unsigned char> bytes{};
  // Why that is not all there is, or not what every reader finds: the rest of a sentence that
  // begins with the file's name.
  Reason wrong{};
};

class ProtectionReader {
 public:
  // The file and what is told must outlive the reader.
  ProtectionReader(const SampleFile& file, const TrackView& track, ToldProtection& told);

  // The boxes beside the sample table, or those of a fragment, of so many samples. `own` may have
  // the box "senc" too; `base` is where offsets count from.
  void Take(View boxes, View own, Number samples, Number base);

 private:
  struct Part;
  void TakeSizes(Part& part);
  void TakePlaced(Part& part, Number base);
  void CompareOwn(Part& part);
  bool WalkOwn(Part& part, std::vector<std::uint32_t>& sizes) const;
  std::vector<Number> GroupsIn(View boxes) const;
  void AddRun(Number count, std::uint32_t size);
  void Fail(std::string why);

  const SampleFile& file_;
  ToldProtection& told_;
  // Of all descriptions that are protected; nothing where they differ.
  std::optional<std::size_t> vectorSize_;
};

}  // namespace clipchain::samples
