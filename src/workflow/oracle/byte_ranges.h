// Compares the bytes that a clip and the result must share.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "workflow/oracle/oracle_findings.h"
#include "workflow/oracle/sample_reader.h"

namespace clipchain::samples {

// `size` bytes at one position in the clip and at another one in the result.
struct ByteRange {
  Number inClip;
  Number inResult;
  Number size;
};

// Where the samples of one clip lie.
class ByteRanges {
 public:
  // Samples in decode order of their track; what continues the range before is one with it.
  void Add(const ByteRange& samples);
  // To be compared whole, whatever else is.
  void AddWhole(const ByteRange& sample) { whole_.push_back(sample); }

  // Makes ranges of what was moved by the same distance. Whether they lie in the result in the
  // order in which they lie in the clip, none over another: only then do their ends speak for what
  // is between them.
  bool Gather();
  const std::vector<ByteRange>& Gathered() const { return ranges_; }
  const std::vector<ByteRange>& Whole() const { return whole_; }
  void Clear();

 private:
  std::vector<ByteRange> ranges_;
  std::vector<ByteRange> whole_;
};

// Compares, with findings about what is not the same. Told after each block how many bytes were
// compared since the last time; false ends the work without a finding.
class RangeComparison {
 public:
  RangeComparison(FileBytes& result, OracleFindings& findings,
                  std::function<bool(Number bytes)> progress);

  // All bytes of each range, or those at its ends.
  bool Compare(FileBytes& clip, const std::string& path, const std::vector<ByteRange>& ranges,
               bool everyByte);

 private:
  bool CompareEnds(FileBytes& clip, const std::string& path, const ByteRange& range);
  bool CompareAll(FileBytes& clip, const std::string& path, const ByteRange& range);
  bool CompareBlock(FileBytes& clip, const std::string& path, const ByteRange& block);

  FileBytes& result_;
  OracleFindings& findings_;
  std::function<bool(Number bytes)> progress_;
  std::vector<unsigned char> fromClip_;
  std::vector<unsigned char> fromResult_;
};

}  // namespace clipchain::samples
