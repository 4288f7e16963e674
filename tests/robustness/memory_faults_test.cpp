// Memory that runs out at any allocation. The exception reaches the caller, or the call says no;
// nothing leaks, and a new object then works.
#include <gtest/gtest.h>

#include <new>

#include "clip/sequence_engine.h"
#include "foundation/com_ptr.h"
#include "merge/m4lm.h"
#include "support/allocation_meter.h"
#include "support/movie_builder.h"
#include "support/result_matchers.h"
#include "support/sequences.h"
#include "support/temp_dir.h"

namespace {

using support::AllocationMeter;
using support::Bytes;
using support::TempDir;

// The job with allocation 0, 1, 2… refused until there are fewer. A job answers 0 for success.
template <class Job>
void ExpectStandsRefusedMemory(Job job) {
  ASSERT_OK(job());
  std::size_t refused = 0;
  for (bool reached = true; reached; ++refused) {
    SCOPED_TRACE(testing::Message() << "allocation number " << refused);
    bool thrown = false;
    HRESULT result = S_OK;
    long long held = 0;
    {
      AllocationMeter meter;
      meter.Refuse(refused);
      try {
        result = job();
      } catch (const std::bad_alloc&) {
        thrown = true;
      }
      reached = meter.Count() > refused;
      held = meter.Held();
    }
    EXPECT_EQ(0, held);
    EXPECT_EQ(reached, thrown || result != S_OK);
    ASSERT_OK(job());
    if (testing::Test::HasFailure()) return;
  }
  EXPECT_GT(refused, 1u);
}

// The handle goes whatever happens.
struct Handle {
  void* merge = nullptr;
  Handle() = default;
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() { static_cast<void>(m4lm_deleteHandle(merge)); }
};

TEST(MemoryFaults, OfAMergeReachTheCallerAndLeaveNothing) {
  const TempDir folder;
  const Bytes first = support::Clip(3, 1).Build();
  support::WriteFile(folder / "second.mp4", support::Clip(3, 2).Build());
  const std::string second = folder / "second.mp4";
  ExpectStandsRefusedMemory([&]() -> HRESULT {
    Handle handle;
    RETURN_IF_NOT_OK(m4lm_createHandle(&handle.merge));
    RETURN_IF_NOT_OK(m4lm_setOutputPath(handle.merge, "/dev/null"));
    RETURN_IF_NOT_OK(
        m4lm_inputMp4Data(handle.merge, first.data(), static_cast<unsigned int>(first.size())));
    RETURN_IF_NOT_OK(m4lm_inputMp4File(handle.merge, second.c_str()));
    return m4lm_finalize(handle.merge);
  });
}

TEST(MemoryFaults, OfRegisteringClipsReachTheCallerAndLeaveNothing) {
  const TempDir folder;
  std::vector<std::wstring> paths;
  // The one between comes last, so that it joins what is there on both of its sides.
  for (const unsigned int number : {1u, 3u, 2u}) {
    const auto path = folder / (std::to_string(number) + ".mp4");
    support::WriteFile(path, support::TinyClip(support::ChainLink(number, 3)));
    paths.push_back(path.wstring());
  }
  ExpectStandsRefusedMemory([&]() -> HRESULT {
    QUIRVA::ComPtr<MP4G::IMp4SequenceCreator> creator;
    RETURN_IF_NOT_OK(MP4G::CVireoMp4AnalyzerFactory::CreateInstance(MP4G::IID_IMp4SequenceCreator,
                                                                    creator.Receive()));
    for (const std::wstring& path : paths) RETURN_IF_NOT_OK(creator->RegisterMp4(path.c_str()));
    return creator->GetSequenceCount() == 1 ? S_OK : E_UNEXPECTED;
  });
}

TEST(MemoryFaults, OfDividingASequenceReachTheCallerAndLeaveNothing) {
  const TempDir folder;
  std::vector<std::wstring> paths;
  for (unsigned int number = 1; number <= 8; ++number) {
    const auto path = folder / (std::to_string(number) + ".mp4");
    support::WriteFile(
        path, support::TinyClip(support::ChainLink((number - 1) % 2 + 1, 2, (number - 1) / 2 * 2)));
    paths.push_back(path.wstring());
  }
  ExpectStandsRefusedMemory([&]() -> HRESULT {
    QUIRVA::ComPtr<MP4G::IMp4SequenceCreator> creator;
    RETURN_IF_NOT_OK(MP4G::CVireoMp4AnalyzerFactory::CreateInstance(MP4G::IID_IMp4SequenceCreator,
                                                                    creator.Receive()));
    for (const std::wstring& path : paths) {
      RETURN_IF_NOT_OK(creator->RegisterMp4(path.c_str()));
      creator->NotifyNewVolume();
    }
    return creator->DivideRelaySequenceExceptFirstOne();
  });
}

}  // namespace
