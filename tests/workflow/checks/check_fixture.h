// Clips in a folder, checked; and what the check is held against: a real merge.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "foundation/com_ptr.h"
#include "foundation/strings.h"
#include "merge/live_merge.h"
#include "support/movie_builder.h"
#include "support/temp_dir.h"
#include "workflow/check.h"

namespace support {

class CheckTest : public testing::Test {
 protected:
  std::string Put(const std::string& name, const Bytes& bytes) {
    WriteFile(folder / name, bytes);
    return (folder / name).string();
  }
  std::string Put(const std::string& name, const MovieBuilder& movie) {
    return Put(name, movie.Build());
  }

  static clipchain::CheckReport CheckAll(const std::vector<std::string>& inputs) {
    return clipchain::Check(inputs, Exactly());
  }
  // What the engine itself takes.
  static clipchain::CheckOptions Exactly() {
    clipchain::CheckOptions options;
    options.fitting.exact = true;
    return options;
  }

  // The findings of that kind.
  static clipchain::Findings Of(const clipchain::CheckReport& report, clipchain::Message message) {
    clipchain::Findings found;
    std::copy_if(report.findings.begin(), report.findings.end(), std::back_inserter(found),
                 [message](const clipchain::Finding& f) { return f.message == message; });
    return found;
  }
  static std::vector<std::string> NamesOf(const clipchain::CheckReport& report) {
    std::vector<std::string> names;
    for (const clipchain::Finding& finding : report.findings)
      names.emplace_back(clipchain::MessageName(finding.message));
    return names;
  }
  // The one finding of that kind, or an empty one and a failure.
  static clipchain::Finding Only(const clipchain::CheckReport& report, clipchain::Message message) {
    const clipchain::Findings found = Of(report, message);
    EXPECT_EQ(1u, found.size()) << clipchain::MessageName(message) << " in "
                                << testing::PrintToString(NamesOf(report));
    return found.size() == 1 ? found.front() : clipchain::Finding{};
  }
  static bool IsRefused(const clipchain::CheckReport& report) {
    return clipchain::HoldsUp(report.findings, true);
  }

  // Frames of 20 ms, so that picture and sound of a clip are equally long: nothing is wrong with
  // it.
  static MovieBuilder EvenClip(unsigned char seed = 1) {
    MovieBuilder clip;
    clip.Add(VideoTrack(48)).Add(AudioTrack(75));
    clip.tracks[0].stts = {{48, 1000}};
    for (Track& track : clip.tracks) track.mediaSeed = seed;
    return clip;
  }

  // Whether the engine merges the files.
  HRESULT Merge(const std::vector<std::string>& inputs) {
    QUIRVA::ComPtr<MP4G::IMp4LiveMerge> merge;
    RETURN_IF_NOT_OK(
        MP4G::CMp4LiveMerge_Factory::CreateInstance(MP4G::IID_IMp4LiveMerge, merge.Receive()));
    RETURN_IF_NOT_OK(merge->SetOutputPath(QUIRVA::WidePathFromBytes(output).c_str()));
    for (const std::string& input : inputs)
      RETURN_IF_NOT_OK(merge->InputMp4File(QUIRVA::WidePathFromBytes(input).c_str()));
    return merge->Finalize();
  }

  TempDir folder;
  std::string output = (folder / "out.mp4").string();
};

}  // namespace support
