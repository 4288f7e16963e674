// The two doors to the merge, its life cycle, and the order of its effects.
#include "merge/live_merge.h"

#include "box/top_level_boxes.h"
#include "foundation/com_ptr.h"
#include "foundation/file_reader.h"
#include "foundation/guid.h"
#include "foundation/qv_file.h"
#include "foundation/reader_wrapper.h"
#include "merge/m4lm.h"
#include "merge/merge_core.h"
#include "merge/merge_fixture.h"
#include "support/movie_builder.h"

using namespace MP4G;
using namespace support;

namespace fs = std::filesystem;

TEST_F(LiveMerge, MergesTwoClipsIntoOne) {
  const Bytes a = Clip(30, 1).Build();
  const Bytes b = Clip(25, 2).Build();
  ExpectSamplesInOrder(Merge({a, b}), {a, b});
}

TEST_F(LiveMerge, MergesManyClipsOfEveryLayout) {
  MovieBuilder front = Clip(31, 2);
  front.movieFirst = true;
  MovieBuilder large = Clip(29, 3);
  large.largeMediaHeader = true;
  MovieBuilder wide = Clip(28, 4);
  wide.wideMovieHeader = true;
  for (Track& track : wide.tracks) track.co64 = track.wideHeaders = true;
  MovieBuilder open = Clip(27, 5);
  open.movieFirst = open.mediaToEnd = true;
  const Bytes a = Clip(30, 1).Build();
  ExpectSamplesInOrder(Merge({a, front.Build(), large.Build(), wide.Build(), open.Build()}),
                       {a, front.Build(), large.Build(), wide.Build(), open.Build()});
}

TEST_F(LiveMerge, FilesAndMemoryGiveTheSameBytes) {
  const Bytes a = Clip(30, 1).Build();
  const Bytes b = Clip(25, 2).Build();
  const Bytes fromMemory = Merge({a, b});
  ASSERT_OK(InputFile(a));
  ASSERT_OK(InputFile(b));
  ASSERT_OK(merge->Finalize());
  EXPECT_EQ(fromMemory, ReadFile(output));
}

TEST_F(LiveMerge, OneInputGivesAValidOutput) {
  const Bytes a = Clip(30, 1).Build();
  ExpectSamplesInOrder(Merge({a}), {a});
}

TEST_F(LiveMerge, FinalizeWithoutAnInputCreatesNothing) {
  EXPECT_RESULT(E_POINTER, merge->Finalize());
  EXPECT_FALSE(OutputExists());
}

TEST_F(LiveMerge, ASecondFinalizeHasNothingToDo) {
  Merge({Clip(10).Build()});
  EXPECT_RESULT(E_POINTER, merge->Finalize());
  EXPECT_TRUE(OutputExists());
}

TEST_F(LiveMerge, ASecondMergeReplacesTheFirstResultAtItsFirstWrite) {
  const Bytes a = Clip(30, 1).Build();
  const Bytes b = Clip(12, 2).Build();
  Merge({a});
  ExpectSamplesInOrder(Merge({b}), {b});
}

TEST_F(LiveMerge, ReplacesAnExistingFileAtTheFirstWriteAndNotBefore) {
  WriteFile(output, Text("old contents that are longer than nothing"));
  EXPECT_RESULT(E_INVALIDARG, merge->InputMp4Data(nullptr, 5));
  const Bytes a = Clip(30, 1).Build();
  EXPECT_RESULT(E_INVALIDARG, merge->InputMp4Data(a.data(), 0));
  EXPECT_RESULT(MP4G_E_INPUT_OPEN, merge->InputMp4File((folder / "missing.mp4").wstring().c_str()));
  EXPECT_EQ(Text("old contents that are longer than nothing"), ReadFile(output));
  ExpectSamplesInOrder(Merge({a}), {a});
}

TEST_F(LiveMerge, AFailedInputDeletesWhatLiesAtTheOutputPath) {
  WriteFile(output, Text("old"));
  EXPECT_RESULT(E_BAD_DATA, Input(Box("moov")));
  EXPECT_FALSE(OutputExists());
}

TEST_F(LiveMerge, AFailedLaterInputDeletesTheOutput) {
  ASSERT_OK(Input(Clip(30, 1).Build()));
  EXPECT_TRUE(OutputExists());
  EXPECT_RESULT(E_BAD_TYPE, Input(Box("uuid", {Zeros(16)})));
  EXPECT_FALSE(OutputExists());
}

TEST_F(LiveMerge, AnInputThatCannotBeOpenedLeavesTheMergeUsable) {
  const Bytes a = Clip(30, 1).Build();
  const Bytes b = Clip(25, 2).Build();
  ASSERT_OK(Input(a));
  EXPECT_RESULT(MP4G_E_INPUT_OPEN, merge->InputMp4File((folder / "missing.mp4").wstring().c_str()));
  EXPECT_RESULT(MP4G_E_INPUT_OPEN, merge->InputMp4File(nullptr));
  ExpectSamplesInOrder(Merge({b}), {a, b});
}

TEST_F(LiveMerge, ADirectoryIsNoInput) {
  EXPECT_RESULT(MP4G_E_INPUT_OPEN, merge->InputMp4File(folder.path().wstring().c_str()));
}

TEST_F(LiveMerge, AnotherInputAfterAFailedFirstOneIsALaterInput) {
  EXPECT_RESULT(E_BAD_DATA, Input(Box("ftyp", {Zeros(8)})));
  EXPECT_RESULT(E_BAD_DATA, Input(Clip(30, 1).Build()));
}

TEST_F(LiveMerge, GoingOnAfterAFailureWritesFromPositionZero) {
  const Bytes a = Clip(30, 1).Build();
  ASSERT_OK(Input(a));
  EXPECT_RESULT(E_BAD_TYPE, Input(Box("uuid", {Zeros(16)})));
  const MovieBuilder next = Clip(25, 2);
  ASSERT_OK(Input(next.Build()));
  EXPECT_EQ(next.Media(), ReadFile(output));
}

TEST_F(LiveMerge, FinalizeAfterAFailureWritesANewFile) {
  const Bytes a = Clip(30, 1).Build();
  ASSERT_OK(Input(a));
  EXPECT_RESULT(E_BAD_TYPE, Input(Box("uuid", {Zeros(16)})));
  EXPECT_OK(merge->Finalize());
  // The movie box from position 0, with the media header written over it behind where "ftyp" had
  // ended.
  const Bytes left = ReadFile(output);
  const std::size_t head = ReadU32(a, 0);
  EXPECT_EQ(Text("moov"), Bytes(left.begin() + 4, left.begin() + 8));
  EXPECT_EQ(8u, ReadU32(left, head));
  EXPECT_EQ(Text("mdat"), Bytes(left.begin() + static_cast<long>(head) + 12,
                                left.begin() + static_cast<long>(head) + 16));
}

TEST_F(LiveMerge, DestroyingAnUnfinishedMergeLeavesTheOutputWithoutAMovie) {
  const MovieBuilder clip = Clip(30, 1);
  ASSERT_OK(Input(clip.Build()));
  merge->Release();
  const Bytes left = ReadFile(output);
  EXPECT_EQ(kNotFound, FindBox(left, "moov"));
  EXPECT_EQ(clip.fileType + Box("free", {Zeros(8)}) + clip.Media(), left);
  void* object = nullptr;
  ASSERT_OK(CMp4LiveMerge_Factory::CreateInstance(IID_IMp4LiveMerge, &object));
  merge = static_cast<IMp4LiveMerge*>(object);
}

TEST_F(LiveMerge, AnOutputPathNeverSetFailsAtTheFirstWrite) {
  ASSERT_OK(merge->SetOutputPath(L""));
  // Both first writes fail, and the answer is their sum.
  EXPECT_RESULT(MP4G_E_OUTPUT_OPEN | MP4G_E_OUTPUT_WRITE, Input(Clip(30, 1).Build()));
}

TEST(LiveMergeObject, WithoutAnOutputPathFailsAtTheFirstWriteAndTouchesNothing) {
  const TempDir folder;
  const fs::path before = fs::current_path();
  fs::current_path(folder.path());
  CMp4LiveMerge* merge = nullptr;
  ASSERT_OK(CMp4LiveMerge::CreateInstance(&merge));
  const Bytes clip = Clip(30, 1).Build();
  EXPECT_RESULT(MP4G_E_OUTPUT_OPEN | MP4G_E_OUTPUT_WRITE,
                merge->InputMp4Data(clip.data(), static_cast<unsigned int>(clip.size())));
  EXPECT_RESULT(MP4G_E_OUTPUT_OPEN, merge->Finalize());
  merge->Release();
  EXPECT_TRUE(fs::is_empty(folder.path()));
  fs::current_path(before);
}

TEST(LiveMergeObject, ForgetsItsWorkAtTheEndAndKeepsPathAndDelegate) {
  const TempDir folder;
  const std::wstring path = (folder / "out.mp4").wstring();
  RecordingDelegate listener;
  IMp4LiveMergeDelegate* delegate = &listener;
  CMp4LiveMerge* merge = nullptr;
  ASSERT_OK(CMp4LiveMerge::CreateInstance(&merge));
  ASSERT_OK(merge->SetOutputPath(path.c_str()));
  ASSERT_OK(merge->SetDelegate(IID_IMp4LiveMergeDelegate, delegate));
  const Bytes clip = Clip(30, 1).Build();
  for (const bool fails : {false, true}) {
    ASSERT_OK(merge->InputMp4Data(clip.data(), static_cast<unsigned int>(clip.size())));
    if (fails) merge->core->firstFile->GetMovieBox()->restSize = 0xFFFFFFFF;
    EXPECT_EQ(fails, merge->Finalize() != S_OK);
    EXPECT_EQ(nullptr, merge->core->writer);
    EXPECT_EQ(nullptr, merge->core->merge);
    EXPECT_EQ(nullptr, merge->core->firstFile);
    const std::size_t calls = listener.calls.size();
    ASSERT_OK(merge->InputMp4Data(clip.data(), static_cast<unsigned int>(clip.size())));
    EXPECT_LT(calls, listener.calls.size());
    EXPECT_TRUE(fs::exists(folder / "out.mp4"));
    EXPECT_OK(merge->Finalize());
  }
  merge->Release();
}

TEST(LiveMergeIdentifiers, HaveTheRightBytes) {
  EXPECT_EQ("7f2df4f6-deac-49ef-8f0e-dd44e63e2d40", QUIRVA::GuidText(IID_IMp4LiveMerge));
  EXPECT_EQ("96672b0f-2c0d-4a55-960c-a703253b38bb", QUIRVA::GuidText(IID_IMp4LiveMergeDelegate));
  EXPECT_EQ("1c44a25b-5fec-4176-bab4-9729bc657b00", QUIRVA::GuidText(QUIRVA::IID_IQvFileReader));
  EXPECT_EQ("00000000-0000-0000-c000-000000000046", QUIRVA::GuidText(IID_IUnknown));
}

// Media in front and a small media box behind: the last one alone is copied, and what points into
// the other one cannot point anywhere.
TEST_F(LiveMerge, ChunksInAnEarlierMediaBoxAreMovedAsIfTheyWereInTheLast) {
  MovieBuilder clip = Clip(30, 1);
  clip.tail = Box("mdat", {Zeros(50)});
  const Bytes merged = Merge({clip.Build()});
  const std::size_t media = FindBox(merged, "mdat");
  EXPECT_EQ(58u, ReadU32(merged, media));
  for (unsigned int track = 0; track < 2; ++track) {
    const std::size_t offsets = FindBox(merged, "stco", track);
    for (std::uint32_t i = 0; i < ReadU32(merged, offsets + 12); ++i)
      EXPECT_EQ(0u, ReadU32(merged, offsets + 16 + 4 * i));
  }
}

TEST_F(LiveMerge, AnOutputInAMissingFolderFailsAtTheFirstWrite) {
  ASSERT_OK(merge->SetOutputPath((folder / "missing" / "out.mp4").wstring().c_str()));
  EXPECT_RESULT(MP4G_E_OUTPUT_OPEN | MP4G_E_OUTPUT_WRITE, Input(Clip(30, 1).Build()));
}

TEST_F(LiveMerge, AFullDeviceFailsTheWriteAndIsNotDeleted) {
  ASSERT_TRUE(fs::exists("/dev/full"));
  ASSERT_OK(merge->SetOutputPath(L"/dev/full"));
  EXPECT_RESULT(MP4G_E_OUTPUT_WRITE, Input(Clip(30, 1).Build()));
  EXPECT_TRUE(fs::is_character_file("/dev/full"));
}

TEST_F(LiveMerge, NullOutputPathIsRefused) {
  EXPECT_RESULT(E_POINTER, merge->SetOutputPath(nullptr));
}

TEST_F(LiveMerge, ReportsProgressBeforeTheFirstBlockAndAfterEach) {
  RecordingDelegate delegate;
  ASSERT_OK(merge->SetDelegate(IID_IMp4LiveMergeDelegate, &delegate));
  const MovieBuilder clip = Clip(30, 1);
  const long long media = static_cast<long long>(clip.Media().size());
  const Bytes file = clip.Build();
  ASSERT_OK(Input(file));
  // The movie box lies behind the media, and the reader delivers it with the last block.
  const long long delivered =
      static_cast<long long>(file.size()) - static_cast<long long>(clip.fileType.size()) - 8;
  EXPECT_EQ((std::vector<std::pair<long long, long long>>{{0, media}, {delivered, media}}),
            delegate.calls);
  EXPECT_GT(delivered, media);

  delegate.calls.clear();
  MovieBuilder front = Clip(20, 2);
  front.movieFirst = true;
  ASSERT_OK(InputFile(front.Build()));
  const long long frontMedia = static_cast<long long>(front.Media().size());
  EXPECT_EQ(
      (std::vector<std::pair<long long, long long>>{{0, frontMedia}, {frontMedia, frontMedia}}),
      delegate.calls);
}

TEST_F(LiveMerge, AnInputWithoutMediaReportsOnce) {
  RecordingDelegate delegate;
  ASSERT_OK(merge->SetDelegate(IID_IMp4LiveMergeDelegate, &delegate));
  MovieBuilder clip;
  ASSERT_OK(Input(clip.Build()));
  EXPECT_EQ((std::vector<std::pair<long long, long long>>{{0, 0}}), delegate.calls);
}

TEST_F(LiveMerge, ADelegatesRefusalIsTheResultAndDeletesTheOutput) {
  RecordingDelegate delegate;
  delegate.refuseAt = 0;
  ASSERT_OK(merge->SetDelegate(IID_IMp4LiveMergeDelegate, &delegate));
  EXPECT_RESULT(S_FALSE, InputFile(Clip(30, 1).Build()));
  EXPECT_FALSE(OutputExists());
}

TEST_F(LiveMerge, ARefusalOfOneBecomesBadDataForMemory) {
  RecordingDelegate delegate;
  delegate.refuseAt = 0;
  ASSERT_OK(merge->SetDelegate(IID_IMp4LiveMergeDelegate, &delegate));
  EXPECT_RESULT(E_BAD_DATA, Input(Clip(30, 1).Build()));
}

TEST_F(LiveMerge, AnyOtherRefusalPassesUnchanged) {
  RecordingDelegate delegate;
  delegate.refuseAt = 1;
  delegate.refusal = 42;
  ASSERT_OK(merge->SetDelegate(IID_IMp4LiveMergeDelegate, &delegate));
  EXPECT_RESULT(42, Input(Clip(30, 1).Build()));
  EXPECT_FALSE(OutputExists());
}

TEST_F(LiveMerge, KeepsTheOldDelegateWhenTheIdentifierIsWrong) {
  RecordingDelegate delegate;
  RecordingDelegate other;
  ASSERT_OK(merge->SetDelegate(IID_IMp4LiveMergeDelegate, &delegate));
  EXPECT_RESULT(E_NOINTERFACE, merge->SetDelegate(IID_IMp4LiveMerge, &other));
  ASSERT_OK(Input(Clip(30, 1).Build()));
  EXPECT_FALSE(delegate.calls.empty());
  EXPECT_TRUE(other.calls.empty());
}

TEST_F(LiveMerge, ANullDelegateTurnsNotificationOff) {
  RecordingDelegate delegate;
  ASSERT_OK(merge->SetDelegate(IID_IMp4LiveMergeDelegate, &delegate));
  ASSERT_OK(merge->SetDelegate(IID_IMp4LiveMergeDelegate, nullptr));
  ASSERT_OK(Input(Clip(30, 1).Build()));
  EXPECT_TRUE(delegate.calls.empty());
}

namespace {

Bytes ClipWithMissingMedia() {
  MovieBuilder clip = Clip(30, 1);
  clip.movieFirst = true;
  Bytes bytes = clip.Build();
  const std::size_t mdat = FindBox(bytes, "mdat");
  return WithU32(bytes, mdat, ReadU32(bytes, mdat) + 100);
}

}  // namespace

TEST_F(LiveMerge, AStandingCopyEndsByTheDelegateAlone) {
  RecordingDelegate delegate;
  delegate.refuseAt = 20;
  delegate.refusal = 7;
  ASSERT_OK(merge->SetDelegate(IID_IMp4LiveMergeDelegate, &delegate));
  EXPECT_RESULT(7, Input(ClipWithMissingMedia()));
  ASSERT_EQ(21u, delegate.calls.size());
  EXPECT_EQ(delegate.calls[1], delegate.calls[20]);
}

TEST_F(LiveMerge, AStandingCopyWithNobodyListeningIsAReadFailure) {
  EXPECT_RESULT(MP4G_E_INPUT_READ, Input(ClipWithMissingMedia()));
  EXPECT_FALSE(OutputExists());
}

TEST_F(LiveMerge, AStandingCopyFromAFileIsAReadFailureToo) {
  ASSERT_OK(InputFile(Clip(30, 1).Build()));
  EXPECT_RESULT(MP4G_E_INPUT_READ, InputFile(ClipWithMissingMedia()));
  EXPECT_FALSE(OutputExists());
}

TEST_F(LiveMerge, AnswersToItsOwnIdentifierAlone) {
  void* object = nullptr;
  EXPECT_RESULT(E_POINTER, merge->QueryInterface(IID_IMp4LiveMerge, nullptr));
  EXPECT_RESULT(E_NOINTERFACE, merge->QueryInterface(IID_IUnknown, &object));
  ASSERT_OK(merge->QueryInterface(IID_IMp4LiveMerge, &object));
  EXPECT_EQ(merge, object);
  EXPECT_EQ(1u, merge->Release());
  EXPECT_EQ(2u, merge->AddRef());
  EXPECT_EQ(1u, merge->Release());
}

TEST(LiveMergeFactory, ServesOneInterface) {
  void* object = nullptr;
  EXPECT_RESULT(E_POINTER, CMp4LiveMerge_Factory::CreateInstance(IID_IMp4LiveMerge, nullptr));
  EXPECT_RESULT(E_NOINTERFACE, CMp4LiveMerge_Factory::CreateInstance(IID_IUnknown, &object));
  EXPECT_EQ(nullptr, object);
  EXPECT_RESULT(E_POINTER, CMp4LiveMerge::CreateInstance(nullptr));
}

TEST(LiveMergeObject, HasNoCoreAfterAReset) {
  CMp4LiveMerge* object = nullptr;
  ASSERT_OK(CMp4LiveMerge::CreateInstance(&object));
  object->Reset();
  const Bytes clip = Clip(5).Build();
  EXPECT_RESULT(E_POINTER, object->InputMp4File(L"x"));
  EXPECT_RESULT(E_POINTER,
                object->InputMp4Data(clip.data(), static_cast<unsigned int>(clip.size())));
  EXPECT_RESULT(E_POINTER, object->Finalize());
  EXPECT_OK(object->Init());
  EXPECT_RESULT(E_POINTER, object->Finalize());
  EXPECT_EQ(0u, object->Release());
}

TEST(MergeCore, NeedsAnOwnerAndAReader) {
  CMergeCore orphan(nullptr);
  EXPECT_RESULT(E_POINTER, orphan.ProcessReader(nullptr));
  const Bytes clip = Clip(5).Build();
  EXPECT_RESULT(E_POINTER, orphan.ProcessData(clip.data(), static_cast<unsigned int>(clip.size())));
}

// The flat functions.

namespace {

class FlatMerge : public testing::Test {
 protected:
  FlatMerge() { EXPECT_OK(m4lm_createHandle(&handle)); }
  ~FlatMerge() override { EXPECT_OK(m4lm_deleteHandle(handle)); }

  TempDir folder;
  void* handle = nullptr;
};

}  // namespace

TEST_F(FlatMerge, MergesFilesAndMemory) {
  const Bytes a = Clip(30, 1).Build();
  const Bytes b = Clip(25, 2).Build();
  const std::string out = (folder / "out.mp4").string();
  WriteFile(folder / "a.mp4", a);
  ASSERT_OK(m4lm_setOutputPath(handle, out.c_str()));
  ASSERT_OK(m4lm_inputMp4File(handle, (folder / "a.mp4").c_str()));
  ASSERT_OK(m4lm_inputMp4Data(handle, b.data(), static_cast<unsigned int>(b.size())));
  ASSERT_OK(m4lm_finalize(handle));
  ExpectSamplesInOrder(ReadFile(out), {a, b});
}

TEST_F(FlatMerge, FinalizeOnAFreshHandleCreatesNoFile) {
  const std::string out = (folder / "out.mp4").string();
  ASSERT_OK(m4lm_setOutputPath(handle, out.c_str()));
  EXPECT_RESULT(E_POINTER, m4lm_finalize(handle));
  EXPECT_FALSE(fs::exists(out));
}

TEST_F(FlatMerge, AnOutputThatIsNotAskedForStaysInPlace) {
  const fs::path out = folder / "out.mp4";
  WriteFile(out, Text("old"));
  ASSERT_OK(m4lm_setOutputPath(handle, out.c_str()));
  EXPECT_RESULT(E_INVALIDARG, m4lm_inputMp4Data(handle, nullptr, 0));
  EXPECT_RESULT(MP4G_E_INPUT_OPEN, m4lm_inputMp4File(handle, (folder / "missing").c_str()));
  EXPECT_EQ(Text("old"), ReadFile(out));
}

TEST_F(FlatMerge, NullPathsAreRefused) {
  EXPECT_RESULT(E_POINTER, m4lm_setOutputPath(handle, nullptr));
  EXPECT_RESULT(E_POINTER, m4lm_inputMp4File(handle, nullptr));
}

TEST(FlatMergeHandle, NullIsAnsweredEverywhere) {
  EXPECT_RESULT(E_POINTER, m4lm_createHandle(nullptr));
  EXPECT_OK(m4lm_deleteHandle(nullptr));
  EXPECT_RESULT(E_HANDLE, m4lm_setOutputPath(nullptr, "x"));
  EXPECT_RESULT(E_HANDLE, m4lm_inputMp4File(nullptr, "x"));
  EXPECT_RESULT(E_HANDLE, m4lm_inputMp4Data(nullptr, nullptr, 0));
  EXPECT_RESULT(E_HANDLE, m4lm_finalize(nullptr));
}

TEST(FlatMergeHandle, DeletesWhateverTheReferenceCount) {
  void* handle = nullptr;
  ASSERT_OK(m4lm_createHandle(&handle));
  static_cast<CMp4LiveMerge*>(handle)->AddRef();
  EXPECT_OK(m4lm_deleteHandle(handle));
}
