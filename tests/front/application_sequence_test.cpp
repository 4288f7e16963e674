// Chaining clips as an application does it: through the front object, on files.
#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "front/creator.h"
#include "support/bytes.h"
#include "support/movie_builder.h"
#include "support/result_matchers.h"
#include "support/temp_dir.h"
#include "support/vendor_box.h"

namespace {

using support::Bytes;
using support::Id;
using support::VendorBox;

bool Same(const _tagQVGUID& a, const _GUID& b) { return MP4G::QVGUIDtoGUID(a) == b; }

class ChainingApplication : public testing::Test {
 protected:
  ChainingApplication() { EXPECT_EQ(&creator, creator.init()); }

  // A clip that calls itself `unique`, of which the camera says what stands before and behind it.
  std::string Write(const std::string& name, std::uint8_t unique, std::uint8_t pre,
                    std::uint8_t next) {
    VendorBox box;
    box.unique = Id(unique);
    box.pre = Id(pre);
    box.next = Id(next);
    return WriteBytes(name, support::WithVendorBox(support::Clip(4).Build(), box));
  }

  std::string WriteBytes(const std::string& name, const Bytes& bytes) {
    support::WriteFile(folder / name, bytes);
    return (folder / name).string();
  }

  void ExpectNoSequenceAt(int index) {
    const _tagQVTimeDate date = creator.timedateOfSequenceAt(index);
    EXPECT_EQ(0, date.year | date.month | date.day | date.hour | date.minute | date.second);
    EXPECT_EQ(0u, creator.filecountOfSequenceAt(index));
    EXPECT_EQ(std::nullopt, creator.filepathOfSequenceAt(index, 0));
    EXPECT_EQ(0, creator.sequenceIsUnclosed(index));
    EXPECT_EQ(0, creator.sequenceConsistsOfVireoStreams(index));
    EXPECT_EQ(0, creator.sequenceIsRelaySequence(index));
    EXPECT_TRUE(Same(creator.sequenceHeadUniqueID(index), _GUID{}));
    EXPECT_TRUE(Same(creator.sequenceTailUniqueID(index), _GUID{}));
  }

  support::TempDir folder;
  QVMp4SequenceCreator creator;
};

TEST_F(ChainingApplication, ClipsOfOneRecordingBecomeOneSequence) {
  const std::string one = Write("one.mp4", 1, 0, 2);
  const std::string two = Write("two.mp4", 2, 1, 3);
  const std::string three = Write("three.mp4", 3, 2, 0);
  EXPECT_OK(creator.registerMp4(one.c_str()));
  EXPECT_OK(creator.registerMp4(three.c_str()));
  EXPECT_EQ(2u, creator.sequenceCount());
  EXPECT_EQ(2u, creator.unclosedSequenceCount());
  EXPECT_EQ(1, creator.sequenceIsUnclosed(0));
  EXPECT_OK(creator.registerMp4(two.c_str()));
  ASSERT_EQ(1u, creator.sequenceCount());
  EXPECT_EQ(0u, creator.unclosedSequenceCount());
  EXPECT_EQ(0, creator.sequenceIsUnclosed(0));
  ASSERT_EQ(3u, creator.filecountOfSequenceAt(0));
  EXPECT_EQ(one, creator.filepathOfSequenceAt(0, 0));
  EXPECT_EQ(two, creator.filepathOfSequenceAt(0, 1));
  EXPECT_EQ(three, creator.filepathOfSequenceAt(0, 2));
  EXPECT_TRUE(Same(creator.sequenceHeadUniqueID(0), Id(1)));
  EXPECT_TRUE(Same(creator.sequenceTailUniqueID(0), Id(3)));
  EXPECT_EQ(1, creator.sequenceConsistsOfVireoStreams(0));
}

TEST_F(ChainingApplication, AFileWithoutTheCamerasBoxIsASequenceOfItsOwn) {
  EXPECT_OK(creator.registerMp4(WriteBytes("plain.mp4", support::Clip(4).Build()).c_str()));
  EXPECT_EQ(1u, creator.sequenceCount());
  EXPECT_EQ(0, creator.sequenceConsistsOfVireoStreams(0));
  EXPECT_EQ(0, creator.sequenceIsUnclosed(0));
}

TEST_F(ChainingApplication, ClearingLeavesNoSequence) {
  EXPECT_OK(creator.registerMp4(Write("one.mp4", 1, 0, 2).c_str()));
  EXPECT_EQ(1u, creator.filecountOfSequenceAt(0));
  creator.clearSequences();
  EXPECT_EQ(0u, creator.sequenceCount());
  EXPECT_EQ(0u, creator.unclosedSequenceCount());
  EXPECT_EQ(0u, creator.relaySequnceCount());
  ExpectNoSequenceAt(0);
}

TEST_F(ChainingApplication, IndexesOutOfRangeHaveNoSequence) {
  EXPECT_OK(creator.registerMp4(Write("one.mp4", 1, 2, 3).c_str()));
  EXPECT_EQ(1, creator.sequenceIsUnclosed(0));
  ExpectNoSequenceAt(1);
  ExpectNoSequenceAt(-1);
  ExpectNoSequenceAt(std::numeric_limits<int>::min());
  ExpectNoSequenceAt(std::numeric_limits<int>::max());
}

TEST_F(ChainingApplication, AFileIndexPastTheEndGivesAnEmptyPath) {
  EXPECT_OK(creator.registerMp4(Write("one.mp4", 1, 0, 0).c_str()));
  EXPECT_NE("", creator.filepathOfSequenceAt(0, 0));
  EXPECT_EQ("", creator.filepathOfSequenceAt(0, 1));
  EXPECT_EQ("", creator.filepathOfSequenceAt(0, -1));
  EXPECT_EQ(std::nullopt, creator.filepathOfSequenceAt(1, 0));
}

TEST_F(ChainingApplication, ThePathComesBackAsItWasRegistered) {
  const std::string odd =
      "./e\xCC\x81 \xE6\x98\xA0\xE7\x94\xBB \xF0\x9F\x8E\xAC\xF4\x8F\xBF\xBD.mp4";
  const std::string path = Write(odd, 1, 0, 0);
  EXPECT_OK(creator.registerMp4(path.c_str()));
  EXPECT_EQ(path, creator.filepathOfSequenceAt(0, 0));
}

TEST_F(ChainingApplication, APathOutlivesTheSequenceThatItCameFrom) {
  const std::string path = Write("one.mp4", 1, 0, 0);
  EXPECT_OK(creator.registerMp4(path.c_str()));
  const std::optional<std::string> kept = creator.filepathOfSequenceAt(0, 0);
  creator.clearSequences();
  EXPECT_EQ(path, kept);
}

TEST_F(ChainingApplication, TheDateIsThatOfTheMovieHeader) {
  support::MovieBuilder clip = support::Clip(4);
  clip.creationTime = 3'000'000'000;
  EXPECT_OK(creator.registerMp4(WriteBytes("dated.mp4", clip.Build()).c_str()));
  const _tagQVTimeDate date = creator.timedateOfSequenceAt(0);
  EXPECT_EQ(1999, date.year);
  EXPECT_EQ(1, date.month);
  EXPECT_EQ(24, date.day);
  EXPECT_EQ(5, date.hour);
  EXPECT_EQ(20, date.minute);
  EXPECT_EQ(0, date.second);
}

TEST_F(ChainingApplication, AnUnknownDateIsAllZeroWithoutAnError) {
  support::MovieBuilder clip = support::Clip(4);
  clip.withMovieHeader = false;
  EXPECT_OK(creator.registerMp4(WriteBytes("undated.mp4", clip.Build()).c_str()));
  ASSERT_EQ(1u, creator.sequenceCount());
  const _tagQVTimeDate date = creator.timedateOfSequenceAt(0);
  EXPECT_EQ(0, date.year | date.month | date.day | date.hour | date.minute | date.second);
}

TEST_F(ChainingApplication, TwoZeroIdentifiersRegisterLikeNone) {
  const _tagQVGUID none{};
  EXPECT_OK(creator.registerMp4WithID(Write("one.mp4", 1, 0, 2).c_str(), none, none));
  EXPECT_TRUE(Same(creator.sequenceHeadUniqueID(0), Id(1)));
  EXPECT_TRUE(Same(creator.sequenceTailUniqueID(0), Id(1)));
}

TEST_F(ChainingApplication, GivenIdentifiersReplaceTheClipsOwn) {
  const _tagQVGUID head = MP4G::GUIDtoQVGUID(Id(7));
  const _tagQVGUID tail = MP4G::GUIDtoQVGUID(Id(9));
  EXPECT_OK(creator.registerMp4WithID(Write("one.mp4", 1, 0, 2).c_str(), head, tail));
  EXPECT_TRUE(Same(creator.sequenceHeadUniqueID(0), Id(7)));
  EXPECT_TRUE(Same(creator.sequenceTailUniqueID(0), Id(9)));
  // One of the two is enough, and then the zero one replaces too.
  creator.clearSequences();
  EXPECT_OK(creator.registerMp4WithID(Write("one.mp4", 1, 0, 2).c_str(), head, _tagQVGUID{}));
  EXPECT_TRUE(Same(creator.sequenceHeadUniqueID(0), Id(7)));
  EXPECT_TRUE(Same(creator.sequenceTailUniqueID(0), _GUID{}));
}

TEST_F(ChainingApplication, VolumesMakeRelaySequencesThatCanBeDivided) {
  for (const int recording : {10, 20}) {
    const auto clip = [recording](int number) {
      return static_cast<std::uint8_t>(recording + number);
    };
    const std::string name = std::to_string(recording);
    EXPECT_OK(creator.registerMp4(Write(name + "a.mp4", clip(1), 0, clip(2)).c_str()));
    creator.notifyNewVolume();
    EXPECT_OK(creator.registerMp4(Write(name + "b.mp4", clip(2), clip(1), 0).c_str()));
  }
  ASSERT_EQ(2u, creator.sequenceCount());
  EXPECT_EQ(2u, creator.relaySequnceCount());
  EXPECT_EQ(1, creator.sequenceIsRelaySequence(0));
  EXPECT_EQ(1, creator.sequenceIsRelaySequence(1));
  EXPECT_OK(creator.divideRelaySequenceExceptFirstOne());
  EXPECT_EQ(3u, creator.sequenceCount());
  EXPECT_EQ(1u, creator.relaySequnceCount());
}

TEST_F(ChainingApplication, BeforeTheFirstRegistrationThereIsNothingToDivideOrSave) {
  creator.notifyNewVolume();
  EXPECT_OK(creator.salvationProcess());
  EXPECT_RESULT(E_POINTER, creator.divideRelaySequenceExceptFirstOne());
  EXPECT_OK(creator.registerMp4(Write("one.mp4", 1, 0, 0).c_str()));
  EXPECT_OK(creator.divideRelaySequenceExceptFirstOne());
}

TEST_F(ChainingApplication, AFileThatIsNoMovieIsNotRegistered) {
  const std::string text = WriteBytes("text.mp4", support::Text("no movie at all, only text"));
  EXPECT_RESULT(E_BAD_TYPE, creator.registerMp4(text.c_str()));
  EXPECT_EQ(0u, creator.sequenceCount());
}

TEST_F(ChainingApplication, ANewEngineHasNoSequences) {
  EXPECT_OK(creator.registerMp4(Write("one.mp4", 1, 0, 0).c_str()));
  EXPECT_EQ(0, creator.prepareEngine());
  EXPECT_EQ(0u, creator.sequenceCount());
}

TEST_F(ChainingApplication, ALentPathIsTheClipsOwn) {
  CreatorImpl wide;
  ASSERT_OK(wide.initialize());
  const std::filesystem::path path = Write("one.mp4", 1, 0, 0);
  EXPECT_OK(wide.registerMp4(path.wstring().c_str()));
  int length = 0;
  const wchar_t* lent = wide.sequenceFilePath(0, 0, length);
  EXPECT_STREQ(path.wstring().c_str(), lent);
  EXPECT_EQ(path.wstring().size(), static_cast<std::size_t>(length));
}

}  // namespace
