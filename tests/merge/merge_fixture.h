// A live merge on a folder of its own, driven through its interface.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "merge/live_merge.h"
#include "support/bytes.h"
#include "support/movie_oracle.h"
#include "support/result_matchers.h"
#include "support/temp_dir.h"

namespace support {

// Notes every call; answers `answer`, or `refusal` at call number `refuseAt` and after.
class RecordingDelegate : public MP4G::IMp4LiveMergeDelegate {
 public:
  HRESULT NotifyProgress(long long current, long long total) override {
    calls.emplace_back(current, total);
    return refuseAt >= 0 && static_cast<int>(calls.size()) > refuseAt ? refusal : S_OK;
  }

  std::vector<std::pair<long long, long long>> calls;
  int refuseAt = -1;
  HRESULT refusal = S_FALSE;
};

class LiveMerge : public testing::Test {
 protected:
  LiveMerge() {
    void* object = nullptr;
    EXPECT_OK(MP4G::CMp4LiveMerge_Factory::CreateInstance(MP4G::IID_IMp4LiveMerge, &object));
    merge = static_cast<MP4G::IMp4LiveMerge*>(object);
    EXPECT_OK(merge->SetOutputPath(output.wstring().c_str()));
  }
  ~LiveMerge() override { merge->Release(); }

  HRESULT Input(const Bytes& bytes) {
    return merge->InputMp4Data(bytes.data(), static_cast<unsigned int>(bytes.size()));
  }
  HRESULT InputFile(const Bytes& bytes) {
    const auto path = folder / ("input" + std::to_string(++inputs) + ".mp4");
    WriteFile(path, bytes);
    return merge->InputMp4File(path.wstring().c_str());
  }
  // Merges all inputs, which must succeed, and gives the output.
  Bytes Merge(std::initializer_list<Bytes> clips) {
    for (const Bytes& clip : clips) EXPECT_OK(Input(clip));
    EXPECT_OK(merge->Finalize());
    return ReadFile(output);
  }
  bool OutputExists() const { return std::filesystem::exists(output); }

  TempDir folder;
  std::filesystem::path output = folder / "merged.mp4";
  MP4G::IMp4LiveMerge* merge = nullptr;
  int inputs = 0;
};

// Every track of `merged` holds the samples of the inputs' tracks of the same entry type, in order,
// and its durations are the sums.
inline void ExpectSamplesInOrder(const Bytes& merged, std::initializer_list<Bytes> clips) {
  const OracleMovie result = ReadMovie(merged);
  std::uint64_t movieDuration = 0;
  std::vector<OracleMovie> inputs;
  for (const Bytes& clip : clips) {
    inputs.push_back(ReadMovie(clip));
    movieDuration += inputs.back().duration;
  }
  EXPECT_EQ(movieDuration, result.duration);
  for (const OracleTrack& track : result.tracks) {
    std::vector<OracleSample> expected;
    std::uint64_t mediaDuration = 0;
    for (const OracleMovie& input : inputs) {
      for (const OracleTrack& part : input.tracks) {
        if (part.entryType != track.entryType) continue;
        expected.insert(expected.end(), part.samples.begin(), part.samples.end());
        mediaDuration += part.mediaDuration;
      }
    }
    EXPECT_EQ(mediaDuration, track.mediaDuration) << track.entryType;
    EXPECT_EQ(expected.size(), track.samples.size()) << track.entryType;
    EXPECT_TRUE(expected == track.samples) << track.entryType;
  }
}

}  // namespace support
