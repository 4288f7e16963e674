// Two clips in a folder, and a merge of them.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "support/movie_builder.h"
#include "support/temp_dir.h"
#include "workflow/safe_merge.h"

namespace support {

class SafeMergeFixture : public testing::Test {
 protected:
  SafeMergeFixture() {
    options.check.output = folder / "out.mp4";
    Put("a.mp4", Clip(30, 1).Build());
    Put("b.mp4", Clip(25, 7).Build());
    inputs = {folder / "a.mp4", folder / "b.mp4"};
  }

  std::string Put(const std::string& name, const Bytes& bytes) {
    WriteFile(folder / name, bytes);
    return folder / name;
  }
  // Everything that has a name in the folder, the clips aside.
  std::vector<std::string> Left() const {
    std::vector<std::string> names;
    for (const std::filesystem::directory_entry& entry :
         std::filesystem::directory_iterator(folder.path())) {
      const std::string name = entry.path().filename();
      if (name != "a.mp4" && name != "b.mp4") names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  std::string PartName() const {
    for (const std::string& name : Left()) {
      if (name.front() == '.') return name;
    }
    return "";
  }

  // Fails with that message, about that file, as the last thing that is found.
  clipchain::SafeMergeReport ExpectFailure(clipchain::Message message, const std::string& path) {
    clipchain::SafeMergeReport report = clipchain::SafeMerge(inputs, options);
    EXPECT_FALSE(report.done);
    EXPECT_FALSE(report.findings.empty());
    if (!report.findings.empty()) {
      const clipchain::Finding& last = report.findings.back();
      EXPECT_EQ(MessageName(message), MessageName(last.message)) << last.text;
      EXPECT_EQ(path, last.path);
      EXPECT_NE("", last.text);
    }
    return report;
  }

  // Does something when that phase is entered for the first time.
  void At(clipchain::Step::Phase phase, std::function<void()> action) {
    options.check.progress = [phase, action, once = true](const clipchain::Step& step) mutable {
      if (step.phase == phase && once) {
        once = false;
        action();
      }
      return true;
    };
  }

  TempDir folder;
  std::vector<std::string> inputs;
  clipchain::SafeMergeOptions options;
};

}  // namespace support
