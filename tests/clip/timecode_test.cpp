#include "clip/timecode.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <array>
#include <cstdlib>

#include "box/sample_entries.h"
#include "clip/vireo_mp4.h"
#include "foundation/qv_file.h"
#include "reader/mp4_file.h"
#include "reader/typed_views.h"
#include "support/movie_builder.h"
#include "support/result_matchers.h"
#include "support/temp_dir.h"

namespace {

using namespace support;
using MP4G::_tagTIME_CODE_SAMPLE;
using MP4G::CTimecodeTrackPsr;
using QUIRVA::_tagSMPTE_TIME_CODE;
using QUIRVA::CTimecodeCalc;

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kAddressSanitizer = true;
#elif defined(__has_feature)
constexpr bool kAddressSanitizer = __has_feature(address_sanitizer);
#else
constexpr bool kAddressSanitizer = false;
#endif

// hh:mm:ss:ff
_tagSMPTE_TIME_CODE At(int hours, int minutes, int seconds, int frames, int sign = 0) {
  return {static_cast<std::uint8_t>(sign), static_cast<std::uint8_t>(hours),
          static_cast<std::uint8_t>(minutes), static_cast<std::uint8_t>(seconds),
          static_cast<std::uint8_t>(frames)};
}

Bytes Sample(int hours, int minutes, int seconds, int frames) {
  return Join({U8(static_cast<std::uint8_t>(hours)), U8(static_cast<std::uint8_t>(minutes)),
               U8(static_cast<std::uint8_t>(seconds)), U8(static_cast<std::uint8_t>(frames))});
}

Bytes BytesOf(const _tagTIME_CODE_SAMPLE& sample) {
  return Sample(sample.hours, sample.signAndMinutes, sample.seconds, sample.frames);
}

TEST(TimecodeContinuity, HoldsForTheSameFrameAndItsNeighboursInASecond) {
  const CTimecodeCalc calc;
  EXPECT_EQ(1, calc.CheckContinuity(At(1, 0, 0, 10), At(1, 0, 0, 11)));
  EXPECT_EQ(1, calc.CheckContinuity(At(1, 0, 0, 10), At(1, 0, 0, 10)));
  EXPECT_EQ(1, calc.CheckContinuity(At(1, 0, 0, 11), At(1, 0, 0, 10)));
  EXPECT_EQ(0, calc.CheckContinuity(At(1, 0, 0, 10), At(1, 0, 0, 12)));
  EXPECT_EQ(0, calc.CheckContinuity(At(1, 0, 0, 12), At(1, 0, 0, 10)));
}

TEST(TimecodeContinuity, EndsWithTheSecond) {
  const CTimecodeCalc calc;
  EXPECT_EQ(0, calc.CheckContinuity(At(1, 0, 0, 29), At(1, 0, 1, 0)));
  EXPECT_EQ(0, calc.CheckContinuity(At(1, 0, 59, 29), At(1, 1, 0, 0)));
  EXPECT_EQ(0, calc.CheckContinuity(At(1, 59, 59, 29), At(2, 0, 0, 0)));
  // The packed numbers alone decide.
  EXPECT_EQ(1, calc.CheckContinuity(At(1, 0, 0, 255), At(1, 0, 1, 0)));
  EXPECT_EQ(0, calc.CheckContinuity(At(255, 255, 255, 255), At(0, 0, 0, 0)));
}

TEST(TimecodeContinuity, ComparesEveryField) {
  const CTimecodeCalc calc;
  EXPECT_EQ(0, calc.CheckContinuity(At(1, 2, 3, 4), At(2, 2, 3, 4)));
  EXPECT_EQ(0, calc.CheckContinuity(At(1, 2, 3, 4), At(1, 3, 3, 4)));
  EXPECT_EQ(0, calc.CheckContinuity(At(1, 2, 3, 4), At(1, 2, 4, 4)));
  EXPECT_EQ(1, calc.CheckContinuity(At(1, 2, 3, 4), At(1, 2, 3, 4)));
}

TEST(TimecodeContinuity, IgnoresTheSignAndTheTracksFields) {
  CTimecodeCalc calc;
  EXPECT_EQ(1, calc.CheckContinuity(At(1, 0, 0, 10, 1), At(1, 0, 0, 11, 0)));
  calc.dropFrame = 1;
  calc.numberOfFrames = 30;
  EXPECT_EQ(0, calc.CheckContinuity(At(0, 0, 59, 29), At(0, 1, 0, 2)));
  EXPECT_EQ(1, calc.CheckContinuity(At(0, 0, 59, 29), At(0, 0, 59, 30)));
}

TEST(TimecodeCalc, StartsAndIsResetToZero) {
  CTimecodeCalc calc;
  EXPECT_EQ(0, calc.numberOfFrames);
  EXPECT_EQ(0, calc.dropFrame);
  calc.numberOfFrames = 30;
  calc.dropFrame = 1;
  calc.ResetClass();
  EXPECT_EQ(0, calc.numberOfFrames);
  EXPECT_EQ(0, calc.dropFrame);
}

_tagSMPTE_TIME_CODE Increased(_tagSMPTE_TIME_CODE timecode, int framesPerSecond = 30,
                              int dropFrame = 0) {
  CTimecodeCalc calc;
  calc.numberOfFrames = static_cast<std::uint8_t>(framesPerSecond);
  calc.dropFrame = static_cast<std::uint8_t>(dropFrame);
  calc.IncreaseTimecode(timecode);
  return timecode;
}

TEST(IncreaseTimecode, CountsFramesUpToTheLimitAndIncludingIt) {
  EXPECT_EQ(At(1, 2, 3, 5), Increased(At(1, 2, 3, 4)));
  EXPECT_EQ(At(1, 2, 3, 30), Increased(At(1, 2, 3, 29)));
  EXPECT_EQ(At(1, 2, 4, 0), Increased(At(1, 2, 3, 30)));
  EXPECT_EQ(At(1, 2, 4, 0), Increased(At(1, 2, 3, 200)));
  EXPECT_EQ(At(1, 2, 3, 0), Increased(At(1, 2, 3, 255)));  // the frame after 255 is 0
}

TEST(IncreaseTimecode, CarriesIntoMinutesAndHours) {
  EXPECT_EQ(At(1, 3, 0, 0), Increased(At(1, 2, 59, 30)));
  EXPECT_EQ(At(1, 2, 61, 0), Increased(At(1, 2, 60, 30)));
  EXPECT_EQ(At(1, 3, 0, 0), Increased(At(1, 2, 119, 30)));
  EXPECT_EQ(At(1, 61, 0, 0), Increased(At(1, 60, 59, 30)));
}

TEST(IncreaseTimecode, KeepsOnlyHoursThatAreWholeDays) {
  EXPECT_EQ(At(0, 0, 0, 0), Increased(At(5, 59, 59, 30)));
  EXPECT_EQ(At(24, 0, 0, 0), Increased(At(23, 59, 59, 30)));
  EXPECT_EQ(At(48, 0, 0, 0), Increased(At(47, 59, 59, 30)));
  EXPECT_EQ(At(0, 0, 0, 0), Increased(At(0, 59, 59, 30)));
  EXPECT_EQ(At(0, 0, 0, 0), Increased(At(255, 59, 59, 30)));
}

TEST(IncreaseTimecode, DropsTwoFramesAtTheStartOfMostMinutes) {
  EXPECT_EQ(At(0, 1, 0, 2), Increased(At(0, 0, 59, 30), 30, 1));
  EXPECT_EQ(At(0, 10, 0, 0), Increased(At(0, 9, 59, 30), 30, 1));
  EXPECT_EQ(At(0, 11, 0, 2), Increased(At(0, 10, 59, 30), 30, 1));
  EXPECT_EQ(At(0, 0, 1, 0), Increased(At(0, 0, 0, 30), 30, 1));
  EXPECT_EQ(At(0, 0, 0, 0), Increased(At(0, 59, 59, 30), 30, 1));
  EXPECT_EQ(At(0, 1, 0, 0), Increased(At(0, 0, 59, 30), 30, 0));
  EXPECT_EQ(At(0, 1, 0, 0), Increased(At(0, 0, 59, 30), 30, 2));
}

TEST(IncreaseTimecode, LeavesTheSignAlone) {
  EXPECT_EQ(At(1, 2, 4, 0, 1), Increased(At(1, 2, 3, 30, 1)));
}

TEST(TranscodeTimecode, SplitsSignAndMinutes) {
  EXPECT_EQ(At(1, 0x7F, 3, 4, 1), MP4G::transcodeTimecode({1, 0xFF, 3, 4}));
  EXPECT_EQ(At(255, 0, 254, 253, 1), MP4G::transcodeTimecode({255, 0x80, 254, 253}));
  EXPECT_EQ(At(1, 0x7F, 3, 4, 0), MP4G::transcodeTimecode({1, 0x7F, 3, 4}));
}

class TimecodeFile : public testing::Test {
 protected:
  std::wstring Write(const Bytes& bytes, const std::string& name = "clip.mp4") {
    WriteFile(folder_ / name, bytes);
    return (folder_ / name).wstring();
  }
  std::wstring Write(const Track& timecode, const std::string& name = "clip.mp4") {
    return Write(Clip(3).Add(timecode).Build(), name);
  }
  std::wstring WithoutTimecode(const std::string& name = "plain.mp4") {
    return Write(Clip(3).Build(), name);
  }

  TempDir folder_;
};

TEST_F(TimecodeFile, GivesItsFirstAndLastSample) {
  CTimecodeTrackPsr track;
  const Track timecode =
      TimecodeTrack({Sample(1, 2, 3, 4), Sample(5, 6, 7, 8), Sample(9, 0x8A, 11, 12)}, 3, 3, 25);
  ASSERT_OK(track.ParseTimecodeTrack(Write(timecode).c_str()));
  EXPECT_EQ(3u, track.trackID);
  EXPECT_EQ(1, track.dropFrame);
  EXPECT_EQ(25, track.numberOfFrames);
  EXPECT_EQ(Sample(1, 2, 3, 4), BytesOf(track.firstSample));
  EXPECT_EQ(Sample(9, 0x8A, 11, 12), BytesOf(track.lastSample));
  EXPECT_EQ(L"", track.path);
  EXPECT_EQ(nullptr, track.movieBox);
}

TEST_F(TimecodeFile, WithOneSampleBeginsAndEndsWithIt) {
  CTimecodeTrackPsr track;
  ASSERT_OK(track.ParseTimecodeTrack(Write(TimecodeTrack({Sample(1, 2, 3, 4)})).c_str()));
  EXPECT_EQ(Sample(1, 2, 3, 4), BytesOf(track.firstSample));
  EXPECT_EQ(Sample(1, 2, 3, 4), BytesOf(track.lastSample));
}

TEST_F(TimecodeFile, IsDropFrameByTheLowestBitOfItsFlags) {
  for (const std::uint32_t flags : std::array<std::uint32_t, 4>{0, 1, 2, 0xFFFFFFFF}) {
    CTimecodeTrackPsr track;
    ASSERT_OK(
        track.ParseTimecodeTrack(Write(TimecodeTrack({Sample(1, 2, 3, 4)}, 3, flags)).c_str()));
    EXPECT_EQ(flags & 1, track.dropFrame);
  }
}

TEST_F(TimecodeFile, ReadsTheFirstTimecodeTrackOnly) {
  CTimecodeTrackPsr track;
  ASSERT_OK(track.ParseTimecodeTrack(Write(Clip(3)
                                               .Add(TimecodeTrack({Sample(1, 2, 3, 4)}, 7))
                                               .Add(TimecodeTrack({Sample(5, 6, 7, 8)}, 4))
                                               .Build())
                                         .c_str()));
  EXPECT_EQ(7u, track.trackID);
  EXPECT_EQ(Sample(1, 2, 3, 4), BytesOf(track.firstSample));
}

TEST_F(TimecodeFile, DoesNotFindATrackWhoseIdentifierAnEarlierOneHas) {
  CTimecodeTrackPsr track;
  const Track timecode = TimecodeTrack({Sample(1, 2, 3, 4)}, 1);
  EXPECT_RESULT(S_FALSE, track.ParseTimecodeTrack(Write(Clip(3).Add(timecode).Build()).c_str()));
}

TEST_F(TimecodeFile, GoesByTheSampleEntryAndNotByTheHandler) {
  Track timecode = TimecodeTrack({Sample(1, 2, 3, 4)});
  timecode.handler = "vide";
  CTimecodeTrackPsr track;
  EXPECT_OK(track.ParseTimecodeTrack(Write(timecode).c_str()));
  timecode.handler = "tmcd";
  timecode.sampleEntry[4] = 'x';
  EXPECT_RESULT(S_FALSE, track.ParseTimecodeTrack(Write(timecode).c_str()));
}

TEST_F(TimecodeFile, WithoutATimecodeTrackSaysNo) {
  CTimecodeTrackPsr track;
  EXPECT_RESULT(S_FALSE, track.ParseTimecodeTrack(WithoutTimecode().c_str()));
  EXPECT_EQ(0u, track.trackID);
  EXPECT_EQ(L"", track.path);
}

TEST_F(TimecodeFile, ThatDoesNotParseGivesItsCode) {
  CTimecodeTrackPsr track;
  ASSERT_OK(track.ParseTimecodeTrack(Write(TimecodeTrack({Sample(1, 2, 3, 4)}, 3, 1)).c_str()));
  EXPECT_RESULT(E_HANDLE, track.ParseTimecodeTrack((folder_ / "missing").wstring().c_str()));
  EXPECT_EQ(0u, track.trackID);
  EXPECT_EQ(0, track.dropFrame);
  EXPECT_EQ(0, track.numberOfFrames);
  EXPECT_EQ(Zeros(4), BytesOf(track.firstSample));
  EXPECT_EQ(Zeros(4), BytesOf(track.lastSample));
  EXPECT_RESULT(E_POINTER, track.ParseTimecodeTrack(nullptr));
  EXPECT_RESULT(E_BAD_TYPE, track.ParseTimecodeTrack(Write(Box("ABCD")).c_str()));
}

TEST_F(TimecodeFile, WithoutSamplesIsBadData) {
  CTimecodeTrackPsr track;
  EXPECT_RESULT(E_BAD_DATA, track.ParseTimecodeTrack(Write(TimecodeTrack({}, 3, 1, 24)).c_str()));
  EXPECT_EQ(3u, track.trackID);
  EXPECT_EQ(1, track.dropFrame);
  EXPECT_EQ(24, track.numberOfFrames);
}

TEST_F(TimecodeFile, WithoutADescriptionOfItsClassIsBadData) {
  Track timecode = TimecodeTrack({Sample(1, 2, 3, 4)});
  timecode.sampleEntry[4] = 'x';
  CTimecodeTrackPsr track;
  track.path = Write(timecode);
  MP4G::CMp4File file;
  ASSERT_OK(file.SetFile(track.path.c_str()));
  track.movieBox = file.GetMovieBox();
  EXPECT_RESULT(S_FALSE, track.ParseTimecodeTrackImpl());
  // An entry that only says so in its header.
  MP4G::CSampleTableBox* table = MP4G::CMovieBox_wr(track.movieBox).SampleTableBox(3);
  MP4G::CSampleTableBox_wr(table).SampleEntry(0)->header->type = FourCc("tmcd");
  EXPECT_RESULT(E_BAD_DATA, track.ParseTimecodeTrackImpl());
  EXPECT_EQ(3u, track.trackID);
}

TEST_F(TimecodeFile, ThatIsGoneBeforeItsSamplesAreReadGivesTheFilesCode) {
  CTimecodeTrackPsr track;
  track.path = Write(TimecodeTrack({Sample(1, 2, 3, 4)}));
  MP4G::CMp4File file;
  ASSERT_OK(file.SetFile(track.path.c_str()));
  track.movieBox = file.GetMovieBox();
  EXPECT_OK(track.ParseTimecodeTrackImpl());
  track.path = (folder_ / "missing").wstring();
  EXPECT_RESULT(E_HANDLE, track.ParseTimecodeTrackImpl());
}

TEST_F(TimecodeFile, WithAnEmptySampleIsUnexpectedAndTheOtherIsReadAllTheSame) {
  CTimecodeTrackPsr track;
  EXPECT_RESULT(E_UNEXPECTED,
                track.ParseTimecodeTrack(Write(TimecodeTrack({{}, Sample(5, 6, 7, 8)})).c_str()));
  EXPECT_EQ(Zeros(4), BytesOf(track.firstSample));
  EXPECT_EQ(Sample(5, 6, 7, 8), BytesOf(track.lastSample));
  EXPECT_RESULT(E_UNEXPECTED,
                track.ParseTimecodeTrack(Write(TimecodeTrack({Sample(1, 2, 3, 4), {}})).c_str()));
  EXPECT_EQ(Sample(1, 2, 3, 4), BytesOf(track.firstSample));
  EXPECT_EQ(Zeros(4), BytesOf(track.lastSample));
  EXPECT_RESULT(E_UNEXPECTED, track.ParseTimecodeTrack(Write(TimecodeTrack({{}, {}})).c_str()));
}

TEST_F(TimecodeFile, CombinesTheCodesOfBothSamples) {
  // The first of three samples is empty, and the last is in no chunk.
  Track timecode = TimecodeTrack({{}, Sample(1, 2, 3, 4), Sample(1, 2, 3, 5)});
  timecode.samplesPerChunk = 2;
  const Bytes whole = MovieBuilder().Add(timecode).Build();
  const Bytes torn = WithU32(whole, FindBox(whole, "stsc") + 32, 0);
  CTimecodeTrackPsr track;
  EXPECT_RESULT(E_UNEXPECTED, track.ParseTimecodeTrack(Write(whole).c_str()));
  EXPECT_RESULT(E_UNEXPECTED | E_INVALIDARG, track.ParseTimecodeTrack(Write(torn).c_str()));
}

TEST_F(TimecodeFile, WithoutAPlaceForItsSamplesGivesTheTablesCode) {
  Bytes bytes = MovieBuilder().Add(TimecodeTrack({Sample(1, 2, 3, 4)})).Build();
  bytes[FindBox(bytes, "stsc") + 4] = 'x';
  CTimecodeTrackPsr track;
  EXPECT_RESULT(E_BAD_DATA, track.ParseTimecodeTrack(Write(bytes).c_str()));
}

TEST_F(TimecodeFile, WithASampleBeforeItsStartGivesTheFilesCode) {
  // 0x90000000 samples of 0xFFFFFFFF bytes: the last begins beyond 63 bits.
  Track timecode = TimecodeTrack({Sample(1, 2, 3, 4)});
  timecode.uniformSize = 4;
  Bytes bytes = MovieBuilder().Add(timecode).Build();
  bytes = WithU32(bytes, FindBox(bytes, "stsz") + 12, 0xFFFFFFFF);
  bytes = WithU32(bytes, FindBox(bytes, "stsz") + 16, 0x90000000);
  bytes = WithU32(bytes, FindBox(bytes, "stsc") + 20, 0xFFFFFFFF);
  CTimecodeTrackPsr track;
  EXPECT_RESULT(-1, track.ParseTimecodeTrack(Write(bytes).c_str()));
  EXPECT_EQ(Sample(1, 2, 3, 4), BytesOf(track.firstSample));
}

// The file with its only chunk of timecodes at `offset`.
Bytes WithTimecodesAt(std::size_t offset) {
  const Bytes bytes = MovieBuilder().Add(TimecodeTrack({Sample(1, 2, 3, 4)})).Build();
  return WithU32(bytes, FindBox(bytes, "stco") + 16, static_cast<std::uint32_t>(offset));
}

TEST_F(TimecodeFile, GivesZerosForWhatLiesBehindItsEnd) {
  const std::size_t size = WithTimecodesAt(0).size();
  CTimecodeTrackPsr track;
  EXPECT_OK(track.ParseTimecodeTrack(Write(WithTimecodesAt(size)).c_str()));
  EXPECT_EQ(Zeros(4), BytesOf(track.firstSample));
  EXPECT_OK(track.ParseTimecodeTrack(Write(WithTimecodesAt(size + 1000)).c_str()));
  EXPECT_EQ(Zeros(4), BytesOf(track.firstSample));
  // Two bytes more are there.
  const Bytes longer = WithTimecodesAt(size + 8) + Box("free", {Hex("0A0B")});
  EXPECT_OK(track.ParseTimecodeTrack(Write(longer).c_str()));
  EXPECT_EQ(Hex("0A0B0000"), BytesOf(track.firstSample));
}

TEST_F(TimecodeFile, WithWideChunkOffsetsIsReadFromItsFirstByte) {
  // A sample's place is not looked up in a table of 64-bit offsets.
  Track timecode = TimecodeTrack({Sample(1, 2, 3, 4)});
  timecode.co64 = true;
  const Bytes bytes = MovieBuilder().Add(timecode).Build();
  CTimecodeTrackPsr track;
  EXPECT_OK(track.ParseTimecodeTrack(Write(bytes).c_str()));
  EXPECT_EQ(Slice(bytes, 0, 4), BytesOf(track.firstSample));
}

TEST_F(TimecodeFile, TakesFourBytesOfALongerSample) {
  CTimecodeTrackPsr track;
  ASSERT_OK(track.ParseTimecodeTrack(
      Write(TimecodeTrack({Sample(1, 2, 3, 4) + Fill(100, 9), Sample(5, 6, 7, 8) + Fill(1, 9)}))
          .c_str()));
  EXPECT_EQ(Sample(1, 2, 3, 4), BytesOf(track.firstSample));
  EXPECT_EQ(Sample(5, 6, 7, 8), BytesOf(track.lastSample));
}

TEST_F(TimecodeFile, LeavesWhatAShorterSampleDoesNotCover) {
  CTimecodeTrackPsr track;
  track.path = Write(TimecodeTrack({Hex("0102")}));
  MP4G::CMp4File file;
  ASSERT_OK(file.SetFile(track.path.c_str()));
  track.movieBox = file.GetMovieBox();
  track.trackID = 3;
  QUIRVA::QvFile media;
  ASSERT_OK(media.Open(track.path.c_str(), QUIRVA::QvFile::kRead));
  _tagTIME_CODE_SAMPLE sample{0xA, 0xB, 0xC, 0xD};
  ASSERT_OK(track.ParseTimecodeSample(&media, 0, &sample));
  EXPECT_EQ(Hex("01020C0D"), BytesOf(sample));
  EXPECT_RESULT(E_POINTER, track.ParseTimecodeSample(nullptr, 0, &sample));
  EXPECT_RESULT(E_POINTER, track.ParseTimecodeSample(&media, 0, nullptr));
}

// Exits with 0 if the file's first timecode is 01:02:03:04 and reading it fits into 1 GiB.
[[noreturn]] void ReadInLittleMemory(const std::wstring& path) {
  rlimit limit{};
  limit.rlim_cur = limit.rlim_max = 1 << 30;
  if (setrlimit(RLIMIT_AS, &limit) != 0) std::exit(2);
  CTimecodeTrackPsr track;
  const bool done = track.ParseTimecodeTrack(path.c_str()) == S_OK &&
                    BytesOf(track.firstSample) == Sample(1, 2, 3, 4);
  std::exit(done ? 0 : 1);
}

TEST_F(TimecodeFile, WithASampleThatClaimsFourGigabytesTakesNoMoreThanItHas) {
  Bytes bytes = Clip(3).Add(TimecodeTrack({Sample(1, 2, 3, 4)})).Build();
  bytes = WithU32(bytes, FindBox(bytes, "stsz", 2) + 20, 0xFFFFFFFF);
  const std::wstring path = Write(bytes);
  CTimecodeTrackPsr track;
  EXPECT_OK(track.ParseTimecodeTrack(path.c_str()));
  EXPECT_EQ(Sample(1, 2, 3, 4), BytesOf(track.firstSample));
  // The sanitizer's own memory exceeds any limit.
  if (!kAddressSanitizer) {
    EXPECT_EXIT(ReadInLittleMemory(path), testing::ExitedWithCode(0), "");
  }
}

TEST(TimecodeTrack, ZeroesAllButItsPath) {
  CTimecodeTrackPsr track;
  EXPECT_EQ(0u, track.trackID);
  EXPECT_EQ(nullptr, track.movieBox);
  for (const auto reset : {&CTimecodeTrackPsr::ResetClass, &CTimecodeTrackPsr::ResetAtParse}) {
    MP4G::CMovieBox movie;
    track.path = L"a";
    track.trackID = 1;
    track.dropFrame = 1;
    track.numberOfFrames = 1;
    track.firstSample = {1, 1, 1, 1};
    track.lastSample = {1, 1, 1, 1};
    track.movieBox = &movie;
    (track.*reset)();
    EXPECT_EQ(L"a", track.path);
    EXPECT_EQ(0u, track.trackID);
    EXPECT_EQ(0, track.dropFrame);
    EXPECT_EQ(0, track.numberOfFrames);
    EXPECT_EQ(Zeros(4), BytesOf(track.firstSample));
    EXPECT_EQ(Zeros(4), BytesOf(track.lastSample));
    EXPECT_EQ(nullptr, track.movieBox);
  }
}

TEST(TimecodeTrack, RunsOnFromItsLastSampleToTheNextTracksFirst) {
  CTimecodeTrackPsr track, next;
  track.firstSample = {8, 8, 8, 8};
  track.lastSample = {1, 0, 0, 10};
  next.firstSample = {1, 0x80, 0, 11};
  next.lastSample = {9, 9, 9, 9};
  EXPECT_OK(track.CheckTimecodeContinuity(&next));
  EXPECT_RESULT(S_FALSE, next.CheckTimecodeContinuity(&track));
  next.firstSample.frames = 12;
  EXPECT_RESULT(S_FALSE, track.CheckTimecodeContinuity(&next));
  EXPECT_RESULT(E_POINTER, track.CheckTimecodeContinuity(nullptr));
}

class TimecodeOfClips : public TimecodeFile {
 protected:
  void Open(MP4G::CVireoMp4& clip, const std::wstring& path) {
    ASSERT_OK(clip.ParseFile(path.c_str()));
  }
  Track From(int frame) {
    return TimecodeTrack({Sample(1, 0, 0, frame), Sample(1, 0, 0, frame + 9)});
  }
};

TEST_F(TimecodeOfClips, IsContinuousWhereTheSecondGoesOnFromTheFirst) {
  MP4G::CVireoMp4 first(0), second(0);
  Open(first, Write(From(0), "a.mp4"));
  Open(second, Write(From(10), "b.mp4"));
  EXPECT_OK(first.CheckTimecodeContinuity(&second));
  EXPECT_RESULT(S_FALSE, second.CheckTimecodeContinuity(&first));
  EXPECT_RESULT(E_POINTER, first.CheckTimecodeContinuity(nullptr));
  ASSERT_NE(nullptr, first.timecodeTrack);
  EXPECT_EQ(Sample(1, 0, 0, 9), BytesOf(first.timecodeTrack->lastSample));
}

TEST_F(TimecodeOfClips, IsReadOnceFromEachFile) {
  MP4G::CVireoMp4 first(0), second(0);
  Open(first, Write(From(0), "a.mp4"));
  Open(second, Write(From(10), "b.mp4"));
  EXPECT_OK(first.CheckTimecodeContinuity(&second));
  std::filesystem::remove(folder_ / "a.mp4");
  std::filesystem::remove(folder_ / "b.mp4");
  EXPECT_OK(first.CheckTimecodeContinuity(&second));
  EXPECT_OK(first.ParseTimecodeTrack());
}

TEST_F(TimecodeOfClips, IsReportedMissingOnceAndThenComparedAsZeros) {
  MP4G::CVireoMp4 plain(0), other(0), dated(0);
  Open(plain, WithoutTimecode("a.mp4"));
  Open(other, WithoutTimecode("b.mp4"));
  Open(dated, Write(From(0), "c.mp4"));
  EXPECT_RESULT(S_FALSE, plain.CheckTimecodeContinuity(&other));
  // Both were parsed, so both now compare 00:00:00:00.
  EXPECT_OK(plain.CheckTimecodeContinuity(&other));
  EXPECT_OK(other.CheckTimecodeContinuity(&plain));
  EXPECT_RESULT(S_FALSE, plain.CheckTimecodeContinuity(&dated));
  EXPECT_OK(plain.ParseTimecodeTrack());
}

TEST_F(TimecodeOfClips, IsReadFromTheSecondClipEvenIfTheFirstHasNone) {
  MP4G::CVireoMp4 plain(0), dated(0);
  Open(plain, WithoutTimecode("a.mp4"));
  Open(dated, Write(From(0), "b.mp4"));
  EXPECT_RESULT(S_FALSE, plain.CheckTimecodeContinuity(&dated));
  ASSERT_NE(nullptr, dated.timecodeTrack);
  EXPECT_EQ(Sample(1, 0, 0, 9), BytesOf(dated.timecodeTrack->lastSample));
}

TEST_F(TimecodeOfClips, PassesOnAFailureOfEitherOnce) {
  MP4G::CVireoMp4 gone(0), plain(0);
  Open(gone, Write(From(0), "a.mp4"));
  Open(plain, WithoutTimecode("b.mp4"));
  std::filesystem::remove(folder_ / "a.mp4");
  // The failure and the missing track in one code.
  EXPECT_RESULT(E_HANDLE | S_FALSE, gone.CheckTimecodeContinuity(&plain));
  EXPECT_OK(gone.CheckTimecodeContinuity(&plain));
}

TEST_F(TimecodeOfClips, IsForgottenWithTheRest) {
  MP4G::CVireoMp4 clip(0);
  Open(clip, Write(From(0), "a.mp4"));
  EXPECT_OK(clip.ParseTimecodeTrack());
  Open(clip, WithoutTimecode("b.mp4"));
  EXPECT_EQ(nullptr, clip.timecodeTrack);
  EXPECT_RESULT(S_FALSE, clip.ParseTimecodeTrack());
}

}  // namespace
