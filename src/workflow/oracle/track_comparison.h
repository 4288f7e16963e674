// Compares one track of a result with the tracks of the clips that it is made of.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "workflow/oracle/byte_ranges.h"
#include "workflow/oracle/declared_rates.h"
#include "workflow/oracle/extras_comparison.h"
#include "workflow/oracle/oracle_findings.h"
#include "workflow/oracle/sample_description.h"
#include "workflow/oracle/sample_stream.h"
#include "workflow/oracle/shown_times.h"
#include "workflow/oracle/table_forms.h"

namespace clipchain::samples {

struct TrackRules {
  // Else only what samples themselves are is compared.
  bool adapted;
  const std::set<unsigned int>& dropped;
};

// What the comparison with a clip is about.
struct ClipAtWork {
  const std::string& path;
  const SampleFile& file;
  // Takes where the samples lie.
  ByteRanges& ranges;
};

class TrackComparison {
 public:
  // All must outlive the comparison.
  TrackComparison(const SampleFile& result, const TrackView& track, std::size_t index,
                  const TrackRules& rules, OracleFindings& findings);

  const TrackView& Track() const { return track_; }
  // Reads what stands beside the tables; false, with a finding, where that fails.
  bool Open(GroupNames& names);

  // Compares the samples that follow with those of the track. The last one may be shown `longer`
  // by so many ticks. False where nothing more can be compared; a finding says why.
  bool Add(const ClipAtWork& clip, const TrackView& track, Number longer, GroupNames& names);
  // Behind the last clip.
  void Finish();

  // Of the clip added last: by how much its track is shown later than in the clip, in seconds.
  // It has samples, and edit lists leave them in a row.
  bool IsShown() const { return shown_; }
  // Its samples are other than the clips', as a finding says.
  bool Differs() const { return differs_; }
  Seconds Shift() const { return shift_; }
  // For how long the sample before the clip's first one is shown longer than its clip says.
  Seconds Waited() const { return waited_; }
  // How much of that its pictures need to be shown behind those of the clips before, and not among
  // them: up to the longest one of the clip before behind the last.
  Seconds Ordered() const { return ordered_; }
  // When the clip's first sample, of those in the order in which they are shown, is shown in the
  // result; where it has none, when it would be.
  Seconds Begins() const;
  // Where the media of the result's track ends as it is shown.
  Seconds MediaEnd() const;
  // By how much the durations that the clips' headers state are no sums of their samples, together.
  Seconds Loose() const { return loose_; }

 private:
  // Both go through the samples of the clip. False where one differs, which is told then.
  bool AddRuns(const ClipAtWork& clip, const TrackView& track, SampleStream& stream,
               TrackClock& alone, Number longer);
  bool AddRun(const ClipAtWork& clip, const TrackView& track, SampleRun& mine, SampleRun& theirs,
              const SampleStream& stream, Number longer);
  bool IsEqual(const TrackView& track, const SampleRun& mine, const SampleRun& theirs) const;
  std::optional<WrongTable> CompareSample(const ClipAtWork& clip, const TrackView& track,
                                          const SampleRun& mine, const SampleRun& theirs);
  std::optional<WrongTable> CompareStep(const ClipAtWork& clip, const TrackView& track,
                                        const SampleRun& mine, const SampleRun& theirs,
                                        Number longer);
  // What is noted about a sample beside what it is: dependencies, partial sync.
  std::optional<WrongTable> CompareNotes(const ClipAtWork& clip, const SampleRun& mine,
                                         const SampleRun& theirs, bool tables);
  std::optional<WrongTable> CompareDescription(const ClipAtWork& clip, const TrackView& track,
                                               std::uint32_t mine, std::uint32_t theirs);
  std::optional<WrongTable> AddPlace(const ClipAtWork& clip, const SampleRun& mine,
                                     const SampleRun& theirs, Number count);
  void CompareShown(const ClipAtWork& clip, const TrackView& track, const TrackClock& alone);
  void AddLoose(const SampleFile& clip, const TrackView& track, const Showing& showing,
                const TrackClock& alone);
  // What no sample is of, too.
  void DeclareAll();
  void Declare(std::uint32_t index, const Description& clips);
  void FindOrder(const TrackView& track, const TrackClock& alone);
  void CompareRates();
  void CompareShifts();
  void CompareDuration();
  // Adds a finding, and ends the comparison of this track.
  void Tell(const WrongTable& wrong);

  const SampleFile& result_;
  const TrackView& track_;
  std::size_t index_;
  const TrackRules& rules_;
  OracleFindings& findings_;
  SampleStream stream_;
  TrackClock clock_;
  // The same of the clip at work alone.
  TrackClock here_;
  Showing showing_;
  std::vector<Description> descriptions_;
  // By index of the description.
  std::map<std::uint32_t, DeclaredRates> declared_;
  std::vector<Description> ofClip_;
  // Of the clip at work.
  std::set<std::pair<std::uint32_t, std::uint32_t>> compared_;
  // What most samples are like.
  std::optional<std::pair<std::uint32_t, std::uint32_t>> comparedLast_;
  ExtrasComparison extras_{rules_.dropped};
  bool differs_ = false;
  bool shown_ = false;
  Seconds shift_ = 0;
  Seconds waited_ = 0;
  Seconds ordered_ = 0;
  // When the last sample of the clips so far is shown, and how long their longest is.
  std::optional<Seconds> lastShown_;
  Seconds longest_ = 0;
  // The same of the last sample so far.
  Seconds wait_ = 0;
  Seconds loose_ = 0;
};

}  // namespace clipchain::samples
