// Makes the movie box of a file whose samples stand in fragments: that of the file, with all
// samples in its tables (ISO/IEC 14496-12, 8.8).
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "adapt/boxes/fragment_run.h"
#include "adapt/boxes/protection_boxes.h"
#include "adapt/boxes/raw_boxes.h"
#include "adapt/boxes/sample_groups.h"
#include "adapt/boxes/sample_protection.h"
#include "adapt/boxes/subsamples.h"
#include "adapt/boxes/table_builder.h"
#include "adapt/clips/fit_report.h"
#include "adapt/clips/media_map.h"

namespace clipchain {

// One track while its fragments are read.
struct FragmentedTrack {
  std::uint32_t id = 0;
  // Entries of "stsd".
  std::uint32_t descriptions = 0;
  std::optional<SampleDefaults> defaults;
  TableBuilder tables;
  SampleGroups groups;
  Subsamples subsamples;
  ProtectionScheme scheme;
  SampleProtection protection;
  // When the first sample is decoded, in the track's time scale.
  std::uint64_t origin = 0;
  // What fragments without samples add to the time before the next one.
  std::uint64_t emptyTime = 0;
};

// Takes the movie, its fragments in the order of the file, and gives a movie box without "mvex".
// The chunks are the runs of the fragments; their offsets are positions in the file. What does not
// follow from the boxes without doubt is refused.
class FragmentedMovie {
 public:
  // `media` are the bodies of the media boxes. What protected samples need may lie outside of the
  // fragments, where `bytesAt` reads; without it, it must not.
  FragmentedMovie(RawBox movie, std::vector<MediaRange> media, BytesAt bytesAt = {});

  // Whether the movie itself can be read; a problem says why not. To be asked first.
  [[nodiscard]] bool Begin();
  // Takes one "moof", which stands at that place. False: a problem says why.
  [[nodiscard]] bool Add(const RawBox& moof, std::uint64_t position);
  // The movie box, once; nothing, and a problem, where it can't be made.
  std::optional<RawBox> Finish();

  // Of clip 0, without an offset where it is about the movie.
  const FitProblem& Problem() const { return problem_; }
  // Boxes of fragments that are left out, and what samples say that no table can, by their types.
  const std::set<unsigned int>& LeftOut() const { return leftOut_; }
  bool HasUntoldFlags() const;

 private:
  // Where the data of runs is, as it goes from one to the next in a fragment.
  struct DataPlace {
    std::uint64_t fragment;
    std::uint64_t next;
    bool isFirstTrack;
  };

  // These answer what speaks against it, if anything does.
  std::optional<FitProblem> BeginAll();
  std::optional<FitProblem> BeginTrack(const RawBox& track);
  std::optional<FitProblem> AddFragment(const RawBox& moof, std::uint64_t position);
  std::optional<FitProblem> AddTrackFragment(const RawBox& fragment, DataPlace& place);
  std::optional<FitProblem> AddRuns(const RawBox& fragment, const SampleDefaults& defaults,
                                    std::uint64_t base, DataPlace& place, FragmentedTrack& track);
  std::optional<FitProblem> SetTime(const RawBox& fragment, const FragmentHeader& header,
                                    const SampleDefaults& defaults, FragmentedTrack& track);
  std::optional<FitProblem> CheckData(const FragmentedTrack& track, std::uint64_t& position,
                                      std::uint64_t size);
  std::optional<FitProblem> TakeTables(const RawBox& fragment, std::uint32_t samples,
                                       FragmentedTrack& track);
  std::optional<FitProblem> TakeProtection(const RawBox& fragment, std::uint32_t samples,
                                           std::uint64_t base, FragmentedTrack& track);
  void TakeSystem(const RawBox& box);
  Bytes BytesOfFile(std::uint64_t position, std::uint64_t size);
  std::optional<FitProblem> TakeDependencies(const RawBox& fragment, std::uint32_t samples,
                                             FragmentedTrack& track);
  FragmentedTrack* TrackOf(std::uint32_t id);
  FitProblem Refused(FitProblemKind kind, std::uint32_t track, std::string text) const;
  FitProblem Damaged(std::uint32_t track, std::string text) const;
  // Whether there is no problem; one that is there is kept.
  bool IsDone(std::optional<FitProblem> problem);

  RawBox movie_;
  std::vector<MediaRange> media_;
  std::uint64_t mediaSize_ = 0;
  // Bytes of media that samples of fragments have.
  std::uint64_t used_ = 0;
  std::vector<FragmentedTrack> tracks_;
  std::set<unsigned int> leftOut_;
  BytesAt bytesAt_;
  // How many samples each run of the track fragment has.
  std::vector<std::uint32_t> runs_;
  // The fragment at work, and its bytes once somebody asked for them.
  const RawBox* fragment_ = nullptr;
  Bytes fragmentBytes_;
  // Of all fragments so far.
  std::uint64_t fragmentsSize_ = 0;
  // Of protected samples, in the fragments.
  std::uint64_t fragmentsTold_ = 0;
  // What was told to the systems that have the keys.
  std::set<Bytes> systems_;
  // Of which problems tell: where in the file it stands, -1 for the movie.
  std::string box_;
  long long offset_ = -1;
  FitProblem problem_{};
};

}  // namespace clipchain
