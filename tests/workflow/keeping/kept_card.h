// A card of small clips, results beside it, and what is said about erasing it.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/movie_builder.h"
#include "support/temp_dir.h"
#include "support/vendor_box.h"
#include "workflow/card_proof.h"
#include "workflow/keep_originals.h"
#include "workflow/safe_merge.h"
#include "workflow/split.h"

namespace support {

class KeptCard : public testing::Test {
 protected:
  KeptCard() {
    for (const char* name : {"card", "kept"}) std::filesystem::create_directory(folder / name);
    for (unsigned int i = 0; i < 3; ++i)
      clips.push_back(PutOnCard("clip" + std::to_string(i + 1) + ".mp4", ClipBytes(i)));
    options.cards = {folder / "card"};
    options.against = {folder / "kept"};
  }

  // Clips of one kind, each with other media.
  static Bytes ClipBytes(unsigned int number) {
    return Clip(25 + number, static_cast<unsigned char>(number + 1)).Build();
  }

  std::string PutOnCard(const std::string& name, const Bytes& bytes) {
    const std::filesystem::path path = folder.path() / "card" / name;
    std::filesystem::create_directories(path.parent_path());
    WriteFile(path, bytes);
    return path;
  }
  std::string PutBeside(const std::string& name, const Bytes& bytes) {
    const std::filesystem::path path = folder.path() / "kept" / name;
    std::filesystem::create_directories(path.parent_path());
    WriteFile(path, bytes);
    return path;
  }

  // Merges into the folder of results.
  std::string Merge(const std::vector<std::string>& inputs, const std::string& name,
                    const clipchain::KeepOptions& keep = {}) {
    clipchain::SafeMergeOptions merge;
    merge.check.output = folder.path() / "kept" / name;
    merge.force = true;
    const auto companion = clipchain::MakeCompanion(keep);
    if (keep.Any()) merge.companion = companion.get();
    const clipchain::SafeMergeReport report = clipchain::SafeMerge(inputs, merge);
    EXPECT_TRUE(report.done) << (report.findings.empty() ? "" : report.findings.back().text);
    return merge.check.output;
  }
  static clipchain::KeepOptions Originals() { return {true, false, false}; }

  clipchain::CardProof Prove() const {
    clipchain::CardProof proof = clipchain::ProveCards(options);
    EXPECT_FALSE(proof.failed) << (proof.findings.empty() ? "" : proof.findings.back().text);
    return proof;
  }
  // The paths that are not kept, by name.
  std::vector<std::string> NotKept() const {
    std::vector<std::string> names;
    const clipchain::CardProof proof = Prove();
    for (const clipchain::PathAndReason& path : proof.notKept)
      names.push_back(std::filesystem::path(path.path).filename());
    EXPECT_EQ(proof.kept, names.empty());
    return names;
  }

  static void ChangeByte(const std::string& path, std::size_t at) {
    Bytes bytes = ReadFile(path);
    ASSERT_LT(at, bytes.size());
    bytes[at] = static_cast<unsigned char>(bytes[at] ^ 1);
    WriteFile(path, bytes);
  }

  TempDir folder;
  std::vector<std::string> clips;
  clipchain::CardProofOptions options;
};

}  // namespace support
