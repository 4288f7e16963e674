// Objects on different threads share nothing: two merges and two sequence creators at once give
// what each gives alone. Under the thread sanitizer a shared byte would be told.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "clip/sequence_engine.h"
#include "foundation/com_ptr.h"
#include "merge/live_merge.h"
#include "merge/m4lm.h"
#include "support/exif.h"
#include "support/movie_builder.h"
#include "support/result_matchers.h"
#include "support/sequences.h"
#include "support/temp_dir.h"

namespace {

using support::Bytes;
using support::TempDir;

constexpr int kRounds = 20;

// A job gives its result as bytes, which are the same each time.
using Job = std::function<Bytes()>;

// Runs each job again and again on a thread of its own, all at the same time.
std::vector<std::vector<Bytes>> AtOnce(const std::vector<Job>& jobs) {
  std::vector<std::vector<Bytes>> results(jobs.size());
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < jobs.size(); ++i) {
    threads.emplace_back([&job = jobs[i], &result = results[i]] {
      for (int round = 0; round < kRounds; ++round) result.push_back(job());
    });
  }
  for (std::thread& thread : threads) thread.join();
  return results;
}

Bytes MergeByObject(const TempDir& folder, unsigned char seed, const std::string& name) {
  const auto output = folder / name;
  QUIRVA::ComPtr<MP4G::IMp4LiveMerge> merge;
  EXPECT_OK(MP4G::CMp4LiveMerge_Factory::CreateInstance(MP4G::IID_IMp4LiveMerge, merge.Receive()));
  EXPECT_OK(merge->SetOutputPath(output.wstring().c_str()));
  for (const unsigned char part : {seed, static_cast<unsigned char>(seed + 1)}) {
    const Bytes clip = support::Clip(5, part).Build();
    EXPECT_OK(merge->InputMp4Data(clip.data(), static_cast<unsigned int>(clip.size())));
  }
  EXPECT_OK(merge->Finalize());
  return support::ReadFile(output);
}

Bytes MergeByHandle(const TempDir& folder, const std::string& input, const std::string& name) {
  const std::string output = folder / name;
  void* handle = nullptr;
  EXPECT_OK(m4lm_createHandle(&handle));
  EXPECT_OK(m4lm_setOutputPath(handle, output.c_str()));
  for (int i = 0; i < 2; ++i) EXPECT_OK(m4lm_inputMp4File(handle, input.c_str()));
  EXPECT_OK(m4lm_finalize(handle));
  EXPECT_OK(m4lm_deleteHandle(handle));
  return support::ReadFile(output);
}

// The paths of the one sequence that the clips form, one behind the other.
Bytes Chain(const std::vector<std::wstring>& paths) {
  QUIRVA::ComPtr<MP4G::IMp4SequenceCreator> creator;
  EXPECT_OK(MP4G::CVireoMp4AnalyzerFactory::CreateInstance(MP4G::IID_IMp4SequenceCreator,
                                                           creator.Receive()));
  for (const std::wstring& path : paths) EXPECT_OK(creator->RegisterMp4(path.c_str()));
  EXPECT_EQ(1u, creator->GetSequenceCount());
  QUIRVA::ComPtr<MP4G::IMp4Sequence> sequence;
  EXPECT_OK(creator->GetSequenceAtIndex(0, sequence.Receive()));
  Bytes listed;
  for (unsigned int i = 0; i < sequence->GetFileCount(); ++i) {
    for (const wchar_t* c = sequence->GetFilePathAtIndex(i); *c != 0; ++c)
      listed.push_back(static_cast<unsigned char>(*c));
  }
  return listed;
}

std::vector<std::wstring> WriteChain(const TempDir& folder, const std::string& name,
                                     unsigned int base) {
  std::vector<std::wstring> paths;
  for (const unsigned int number : {1u, 3u, 2u}) {
    support::VendorBox box = support::ChainLink(number, 3, base);
    box.tiff = support::ExifWithDate("2024:06:01 10:00:0" + std::to_string(number));
    const auto path = folder / (name + std::to_string(number) + ".mp4");
    support::WriteFile(path, support::TinyClip(box));
    paths.push_back(path.wstring());
  }
  return paths;
}

TEST(Threads, MergesAndSequenceCreatorsShareNothing) {
  const TempDir folder;
  const std::string input = folder / "input.mp4";
  support::WriteFile(input, support::Clip(7, 9).Build());
  const std::vector<std::wstring> one = WriteChain(folder, "one", 0);
  const std::vector<std::wstring> two = WriteChain(folder, "two", 100);
  const std::vector<Job> jobs = {
      [&] { return MergeByObject(folder, 1, "by_object.mp4"); },
      [&] { return MergeByHandle(folder, input, "by_handle.mp4"); },
      [&] { return Chain(one); },
      [&] { return Chain(two); },
  };
  std::vector<Bytes> alone;
  for (const Job& job : jobs) alone.push_back(job());
  const auto together = AtOnce(jobs);
  for (std::size_t i = 0; i < jobs.size(); ++i) {
    EXPECT_FALSE(alone[i].empty());
    EXPECT_EQ(std::vector<Bytes>(kRounds, alone[i]), together[i]) << "job " << i;
  }
}

}  // namespace
