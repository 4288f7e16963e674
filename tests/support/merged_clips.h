// Clips in a folder, and what the engine makes of them.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "foundation/com_ptr.h"
#include "merge/live_merge.h"
#include "support/movie_builder.h"
#include "support/result_matchers.h"
#include "support/temp_dir.h"
#include "workflow/system/files.h"

namespace support {

class MergedClips : public testing::Test {
 protected:
  std::string Put(const std::string& name, const Bytes& bytes) {
    WriteFile(folder / name, bytes);
    return folder / name;
  }
  void Clips(const std::vector<Bytes>& clips) {
    inputs.clear();
    for (const Bytes& clip : clips)
      inputs.push_back(Put("clip" + std::to_string(inputs.size()), clip));
  }
  Bytes Merge(const std::vector<Bytes>& clips) {
    Clips(clips);
    QUIRVA::ComPtr<MP4G::IMp4LiveMerge> merge;
    EXPECT_OK(
        MP4G::CMp4LiveMerge_Factory::CreateInstance(MP4G::IID_IMp4LiveMerge, merge.Receive()));
    const std::string output = folder / "merged";
    EXPECT_OK(merge->SetOutputPath(clipchain::Wide(output).c_str()));
    for (const std::string& input : inputs)
      EXPECT_OK(merge->InputMp4File(clipchain::Wide(input).c_str()));
    EXPECT_OK(merge->Finalize());
    return ReadFile(output);
  }
  Bytes MergeTwo() { return Merge({Clip(30, 1).Build(), Clip(25, 7).Build()}); }

  TempDir folder;
  std::vector<std::string> inputs;
};

}  // namespace support
