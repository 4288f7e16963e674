// A disk that fails at any operation, once or for good, while clips are merged or analysed.
#include <gtest/gtest.h>

#include <optional>

#include "clip/vireo_mp4.h"
#include "foundation/com_ptr.h"
#include "merge/live_merge.h"
#include "support/memory_disk.h"
#include "support/movie_builder.h"
#include "support/result_matchers.h"
#include "support/vendor_box.h"

namespace {

using MP4G::IMp4LiveMerge;
using support::Bytes;
using support::DiskCall;
using support::MemoryDisk;

constexpr char kOutput[] = "output.mp4";
constexpr char kOldOutput[] = "somebody's";

struct Fault {
  DiskCall call;
  bool forEver;
  const char* name;
};

struct Outcome {
  HRESULT inputs = S_OK;          // of the first input that failed
  std::optional<HRESULT> finish;  // if no input failed
  std::optional<Bytes> output;

  bool SaysYes() const { return finish == S_OK; }
};

class DiskFaults : public testing::TestWithParam<Fault> {
 protected:
  void SetUp() override {
    MemoryDisk::Get().Clear();
    Prepare();
    expected_ = Merge();
    ASSERT_TRUE(expected_.SaysYes());
  }

  static void Prepare() {
    MemoryDisk& disk = MemoryDisk::Get();
    disk.Clear();
    disk.Put("first.mp4", support::Clip(6, 1).Build());
    disk.Put("second.mp4", support::Clip(6, 2).Build());
    disk.Put(kOutput, support::Text(kOldOutput));
  }

  static Outcome Merge() {
    Outcome outcome;
    {
      QUIRVA::ComPtr<IMp4LiveMerge> merge;
      EXPECT_OK(
          MP4G::CMp4LiveMerge_Factory::CreateInstance(MP4G::IID_IMp4LiveMerge, merge.Receive()));
      EXPECT_OK(merge->SetOutputPath(L"output.mp4"));
      for (const wchar_t* path : {L"first.mp4", L"second.mp4"}) {
        outcome.inputs = merge->InputMp4File(path);
        if (outcome.inputs != S_OK) break;
      }
      if (outcome.inputs == S_OK) outcome.finish = merge->Finalize();
    }
    if (const Bytes* written = MemoryDisk::Get().Find(kOutput)) outcome.output = *written;
    EXPECT_EQ(0u, MemoryDisk::Get().OpenHandles());
    return outcome;
  }

  // Merges with operation 0, 1, 2… failing until one is not reached any more, and gives each
  // outcome to `check`.
  template <class Check>
  void ForEachFault(Check check) {
    const Fault fault = GetParam();
    unsigned int index = 0;
    for (;; ++index) {
      SCOPED_TRACE(testing::Message() << fault.name << " number " << index);
      Prepare();
      MemoryDisk::Get().Fail(fault.call, index, fault.forEver);
      const Outcome outcome = Merge();
      if (MemoryDisk::Get().Calls(fault.call) <= index) {
        EXPECT_EQ(expected_.output, outcome.output);
        break;
      }
      check(outcome);
      ExpectTheNextMergeWorks();
    }
    EXPECT_GT(index, 0u) << "no operation ever failed";
  }

  void ExpectTheNextMergeWorks() {
    Prepare();
    const Outcome outcome = Merge();
    EXPECT_TRUE(outcome.SaysYes());
    EXPECT_EQ(expected_.output, outcome.output);
  }

  Outcome expected_;
};

using FailingReadsAndOpens = DiskFaults;

// What was refused has left no output, or the one that was there before if nothing was written yet.
TEST_P(FailingReadsAndOpens, FailTheMergeAndLeaveNoHalfOfIt) {
  ForEachFault([&](const Outcome& outcome) {
    EXPECT_FALSE(outcome.SaysYes());
    ASSERT_NE(S_OK, outcome.inputs);
    // An input that could not be opened touches nothing: what the first one wrote is there still.
    if (outcome.output.has_value() && outcome.inputs != MP4G_E_INPUT_OPEN) {
      EXPECT_EQ(support::Text(kOldOutput), *outcome.output);
    }
  });
}

INSTANTIATE_TEST_SUITE_P(Disk, FailingReadsAndOpens,
                         testing::Values(Fault{DiskCall::kRead, false, "a read"},
                                         Fault{DiskCall::kRead, true, "all reads"},
                                         Fault{DiskCall::kOpen, false, "an open"},
                                         Fault{DiskCall::kOpen, true, "all opens"}));

using FailingWrites = DiskFaults;

TEST_P(FailingWrites, AreTold) {
  ForEachFault([&](const Outcome& outcome) {
    EXPECT_FALSE(outcome.SaysYes());
    if (outcome.inputs != S_OK) {
      EXPECT_RESULT(MP4G_E_OUTPUT_WRITE, outcome.inputs);
      EXPECT_FALSE(outcome.output.has_value());
    } else {
      EXPECT_RESULT(MP4G_E_OUTPUT_WRITE, *outcome.finish);
    }
  });
}

INSTANTIATE_TEST_SUITE_P(Disk, FailingWrites,
                         testing::Values(Fault{DiskCall::kWrite, false, "a write"},
                                         Fault{DiskCall::kWrite, true, "all writes"}));

using FailingSeeks = DiskFaults;

// The one seek of the output goes back to the head of its media. Applications know that its failure
// is not told: then the head lands behind the movie box, so that a player finds no media. Whoever
// has to be sure looks at the result.
TEST_P(FailingSeeks, AreToldByTheInputs) {
  unsigned int untold = 0;
  ForEachFault([&](const Outcome& outcome) {
    if (!outcome.SaysYes()) {
      EXPECT_NE(S_OK, outcome.inputs);
      return;
    }
    ++untold;
    EXPECT_NE(expected_.output, outcome.output);
  });
  EXPECT_EQ(1u, untold);
}

INSTANTIATE_TEST_SUITE_P(Disk, FailingSeeks,
                         testing::Values(Fault{DiskCall::kSeek, false, "a seek"},
                                         Fault{DiskCall::kSeek, true, "all seeks"}));

using FailingFlushes = DiskFaults;

// The object has no word for it: the bytes were all accepted.
TEST_P(FailingFlushes, LeaveTheResultAsItWasWritten) {
  ForEachFault([&](const Outcome& outcome) {
    EXPECT_TRUE(outcome.SaysYes());
    EXPECT_EQ(expected_.output, outcome.output);
  });
}

INSTANTIATE_TEST_SUITE_P(Disk, FailingFlushes,
                         testing::Values(Fault{DiskCall::kClose, false, "a flush"},
                                         Fault{DiskCall::kClose, true, "all flushes"}));

class AnalysisFaults : public testing::TestWithParam<Fault> {};

TEST_P(AnalysisFaults, AreTold) {
  const Fault fault = GetParam();
  support::MovieBuilder movie = support::Clip(4);
  movie.Add(support::TimecodeTrack({support::U32(0x0A000000), support::U32(0x0A000001)}));
  const Bytes clip = support::WithVendorBox(
      movie.Build(), support::VendorBox{support::Id(1), support::Id(2), {}, {}});
  unsigned int index = 0;
  for (;; ++index) {
    SCOPED_TRACE(testing::Message() << fault.name << " number " << index);
    MemoryDisk& disk = MemoryDisk::Get();
    disk.Clear();
    disk.Put("clip.mp4", clip);
    disk.Fail(fault.call, index, fault.forEver);
    MP4G::CVireoMp4 analysed(0);
    const HRESULT parsed = analysed.ParseFile(L"clip.mp4");
    const HRESULT timecode = parsed == S_OK ? analysed.ParseTimecodeTrack() : parsed;
    EXPECT_EQ(0u, disk.OpenHandles());
    if (disk.Calls(fault.call) <= index) {
      EXPECT_OK(parsed);
      EXPECT_OK(timecode);
      break;
    }
    EXPECT_NE(S_OK, timecode);
  }
  EXPECT_GT(index, 0u) << "no operation ever failed";
}

INSTANTIATE_TEST_SUITE_P(Disk, AnalysisFaults,
                         testing::Values(Fault{DiskCall::kOpen, false, "an open"},
                                         Fault{DiskCall::kOpen, true, "all opens"},
                                         Fault{DiskCall::kRead, false, "a read"},
                                         Fault{DiskCall::kRead, true, "all reads"}));

}  // namespace
