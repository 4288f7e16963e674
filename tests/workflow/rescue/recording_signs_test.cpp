#include "workflow/rescue/recording_signs.h"

#include <gtest/gtest.h>

#include <numeric>
#include <tuple>

#include "workflow/rescue/access_units.h"
#include "workflow/rescue/sound_clock.h"

namespace clipchain::rescue {

namespace {

PictureFacts Shown(std::int32_t order, bool setsBack = false) {
  PictureFacts facts;
  facts.order = order;
  facts.setsBack = facts.idr = setsBack;
  return facts;
}

// Groups of three pictures, of which the first is shown last, behind one that starts anew.
std::vector<PictureFacts> Pictures(int starts, int groups) {
  std::vector<PictureFacts> all;
  for (int start = 0; start < starts; ++start) {
    all.push_back(Shown(0, true));
    for (int group = 0; group < groups; ++group) {
      for (const int order : {6, 2, 4}) all.push_back(Shown(order + 6 * group));
    }
  }
  return all;
}

bool TakesAll(Recording& recording, const std::vector<PictureFacts>& pictures) {
  std::uint64_t position = 0;
  for (const PictureFacts& facts : pictures) {
    AccessUnit unit;
    unit.position = position++;
    unit.slice.idr = facts.idr;
    if (!recording.Take(unit, facts)) return false;
  }
  return true;
}

AccessUnit Start(unsigned int number) {
  AccessUnit unit;
  unit.slice.idr = true;
  unit.slice.idrId = number;
  return unit;
}

}  // namespace

TEST(StartNumbers, AreToldApartOnlyAsTheReferenceCountsThem) {
  StartNumbers none;
  none.Take(0);
  EXPECT_TRUE(none.MayFollow(0, 7)) << "one alone tells nothing";
  StartNumbers toggling;
  for (const unsigned int number : {0U, 1U, 0U, 1U}) toggling.Take(number);
  EXPECT_TRUE(toggling.MayFollow(0, 1));
  EXPECT_TRUE(toggling.MayFollow(1, 0));
  EXPECT_FALSE(toggling.MayFollow(0, 0));
  EXPECT_FALSE(toggling.MayFollow(1, 2));
  StartNumbers counting;
  for (const unsigned int number : {0U, 1U, 2U}) counting.Take(number);
  EXPECT_TRUE(counting.MayFollow(6, 7)) << "a longer clip counts further";
  EXPECT_TRUE(counting.MayFollow(7, 0));
  EXPECT_FALSE(counting.MayFollow(1, 0));
  EXPECT_FALSE(counting.MayFollow(3, 5));
  StartNumbers alike;
  for (const unsigned int number : {3U, 3U, 3U}) alike.Take(number);
  EXPECT_FALSE(alike.MayFollow(3, 0));
  StartNumbers any;
  for (const unsigned int number : {9U, 4U, 4U, 1U}) any.Take(number);
  EXPECT_TRUE(any.MayFollow(4, 77));
}

TEST(StartNumbers, ShowThatARecordingGoesOnOnlyWhereTheyCount) {
  StartNumbers counting;
  for (const unsigned int number : {0U, 1U, 2U}) counting.Take(number);
  EXPECT_TRUE(counting.Continue(6, 7));
  EXPECT_FALSE(counting.Continue(6, 0)) << "another recording begins so";
  EXPECT_FALSE(counting.Continue(6, 8));
  StartNumbers toggling;
  for (const unsigned int number : {0U, 1U, 0U, 1U}) toggling.Take(number);
  EXPECT_FALSE(toggling.Continue(0, 1)) << "every other one is that";
  StartNumbers later;
  for (const unsigned int number : {7U, 8U, 9U}) later.Take(number);
  EXPECT_FALSE(later.Continue(6, 7)) << "the reference begins so";
}

TEST(DisplayOrder, LetsPicturesLeadTheFirstOneOfALaterPart) {
  RecordingSigns signs;
  signs.display = LearnDisplay(Pictures(2, 4));
  Recording led(signs);
  EXPECT_TRUE(TakesAll(led, {Shown(60), Shown(56), Shown(58), Shown(66), Shown(62)}));
  Recording late(signs);
  EXPECT_FALSE(TakesAll(late, {Shown(60), Shown(66), Shown(58)}));
}

TEST(DisplayOrder, KnowsThePictureWhoseTimeIsTaken) {
  RecordingSigns signs;
  signs.display = LearnDisplay(Pictures(2, 4));
  ASSERT_EQ(2, signs.display.step);
  EXPECT_EQ(1U, signs.display.patience);
  Recording whole(signs);
  EXPECT_TRUE(TakesAll(whole, Pictures(3, 9)));
  EXPECT_EQ(std::nullopt, whole.Doubtful());
  Recording twice(signs);
  EXPECT_FALSE(TakesAll(twice, {Shown(0, true), Shown(6), Shown(2), Shown(6)}));
  Recording between(signs);
  EXPECT_FALSE(TakesAll(between, {Shown(0, true), Shown(6), Shown(3)}));
  // A picture that starts anew stands behind no time that was left out.
  Recording cut(signs);
  EXPECT_FALSE(TakesAll(cut, {Shown(0, true), Shown(6), Shown(2), Shown(0, true)}));
}

TEST(DisplayOrder, DoubtsWhatStandsBehindATimeLeftOut) {
  RecordingSigns signs;
  signs.display = LearnDisplay(Pictures(2, 4));
  std::vector<PictureFacts> pictures = Pictures(1, 2);
  const std::uint64_t jump = pictures.size();
  for (const int order : {24, 20, 22, 30, 26, 28}) pictures.push_back(Shown(order));
  Recording early(signs);
  ASSERT_TRUE(TakesAll(early, pictures));
  EXPECT_EQ(std::nullopt, early.Doubtful()) << "it may still come";
  pictures.push_back(Shown(36));
  Recording late(signs);
  ASSERT_TRUE(TakesAll(late, pictures));
  EXPECT_EQ(jump, late.Doubtful());
}

TEST(DisplayOrder, IsNotFollowedWhereTheReferenceLeavesTimesOut) {
  std::vector<PictureFacts> pictures = Pictures(1, 8);
  pictures.push_back(Shown(200));
  pictures.push_back(Shown(0, true));
  EXPECT_EQ(0, LearnDisplay(pictures).step);
}

TEST(Recording, EndsWhereWhatOnlyAFirstPictureHasComesAgain) {
  RecordingSigns signs;
  const Slice start{.first = true, .unitType = 5, .idr = true, .randomAccess = true};
  const Slice other{.first = true, .unitType = 1};
  signs.opening.Take({1, 2}, start, false);
  for (int i = 0; i < 3; ++i) signs.opening.Take({2}, other, false);
  signs.opening.Take({2}, start, false);
  EXPECT_EQ(std::vector<std::uint64_t>{1}, signs.opening.marks);
  EXPECT_TRUE(signs.opening.startsAgain);
  AccessUnit opening = Start(0);
  opening.openings = signs.opening.BitOf(1);
  EXPECT_EQ(0U, signs.opening.BitOf(2));
  Recording recording(signs);
  ASSERT_TRUE(recording.Take(opening, Shown(0, true)));
  EXPECT_TRUE(recording.Take(AccessUnit(), Shown(2)));
  EXPECT_FALSE(recording.Take(opening, Shown(0, true)));
  EXPECT_TRUE(recording.Take(Start(1), Shown(0, true)));
}

// With one such picture the reference does not tell what all have that start anew.
TEST(Recording, GoesOnWhereAPictureHasSomeOfWhatTheReferencesOnlyFirstOneHas) {
  RecordingSigns signs;
  signs.opening.Take({1, 2}, {.first = true, .unitType = 5, .idr = true, .randomAccess = true},
                     false);
  for (int i = 0; i < 3; ++i) signs.opening.Take({}, {.first = true, .unitType = 1}, false);
  signs.numbers.Take(0);
  for (const auto& [openings, number, goesOn] :
       {std::tuple{1u, 1u, true}, {1u, 0u, true}, {3u, 1u, true}, {3u, 0u, false}}) {
    Recording recording(signs);
    ASSERT_TRUE(recording.Take(Start(0), Shown(0, true)));
    AccessUnit next = Start(number);
    next.openings = openings;
    EXPECT_EQ(goesOn, recording.Take(next, Shown(0, true))) << openings << " " << number;
  }
}

TEST(Recording, EndsWhereAPictureStartsAnewTooEarly) {
  RecordingSigns signs;
  signs.evenStep = LearnEvenStep(Pictures(4, 4));
  ASSERT_EQ(13U, signs.evenStep);
  EXPECT_EQ(0U, LearnEvenStep(Pictures(2, 4))) << "one step may be even by chance";
  Recording recording(signs);
  ASSERT_TRUE(TakesAll(recording, Pictures(3, 4)));
  EXPECT_TRUE(TakesAll(recording, Pictures(1, 3)));
  EXPECT_FALSE(TakesAll(recording, Pictures(1, 4)));
}

// Encoders start anew at a new scene, which the reference need not have.
TEST(Recording, GoesOnWhereAPictureThatStartsEarlyCannotBeAFirstOne) {
  RecordingSigns marked;
  marked.evenStep = 13;
  marked.opening.marks = {1};
  marked.opening.startsAgain = true;
  Recording unmarked(marked);
  ASSERT_TRUE(TakesAll(unmarked, Pictures(1, 3)));
  EXPECT_TRUE(TakesAll(unmarked, Pictures(1, 4)));
  RecordingSigns counted;
  counted.evenStep = 2;
  for (const unsigned int number : {0U, 1U, 2U}) counted.numbers.Take(number);
  Recording numbered(counted);
  for (const unsigned int number : {0U, 1U, 2U})
    EXPECT_TRUE(numbered.Take(Start(number), Shown(0, true))) << number;
  Recording another(counted);
  ASSERT_TRUE(another.Take(Start(5), Shown(0, true)));
  EXPECT_FALSE(another.Take(Start(0), Shown(0, true)));
}

// The reference may be the later part of a recording, whose first picture is like any other.
TEST(Recording, GoesOnWhereItsOwnFirstPictureHasMoreThanOneThatStartsEarly) {
  RecordingSigns signs;
  signs.evenStep = 13;
  for (const auto& [first, early, goesOn] :
       {std::tuple{true, false, true}, {true, true, false}, {false, false, false}}) {
    Recording recording(signs);
    AccessUnit unit = Start(0);
    unit.isMarked = first;
    ASSERT_TRUE(recording.Take(unit, Shown(0, true)));
    unit = Start(1);
    unit.isMarked = early;
    EXPECT_EQ(goesOn, recording.Take(unit, Shown(0, true))) << first << early;
  }
  Recording even(signs);
  AccessUnit unit = Start(0);
  unit.isMarked = true;
  ASSERT_TRUE(even.Take(unit, Shown(0, true)));
  for (int i = 0; i < 12; ++i) ASSERT_TRUE(even.Take(AccessUnit(), Shown(2 * i + 2)));
  ASSERT_TRUE(even.Take(Start(1), Shown(0, true)));
  EXPECT_FALSE(even.Take(Start(0), Shown(0, true))) << "it has shown an even step itself";
}

TEST(OpeningMarks, KnowWhatNoSampleOfTheReferenceHas) {
  const Slice other{.first = true, .unitType = 1};
  OpeningMarks few;
  few.Take({5, 2}, other, false);
  few.Take({7, 2}, other, false);
  for (const std::uint64_t mark : {2U, 5U, 7U}) EXPECT_FALSE(few.IsNew(mark)) << mark;
  EXPECT_TRUE(few.IsNew(6));
  std::vector<std::uint64_t> many(300);
  std::iota(many.begin(), many.end(), 10);
  few.Take(many, other, false);
  EXPECT_FALSE(few.IsNew(6)) << "of so many nothing is new";
}

TEST(Recording, CountsFromThePictureThatMayBeAnothersFirstOne) {
  RecordingSigns signs;
  Recording recording(signs);
  ASSERT_TRUE(TakesAll(recording, Pictures(2, 2)));
  EXPECT_EQ(6U, recording.SinceOpening());
  signs.opening.marks = {1};
  signs.opening.startsAgain = true;
  Recording marked(signs);
  ASSERT_TRUE(TakesAll(marked, Pictures(2, 2)));
  EXPECT_EQ(6U, marked.SinceOpening()) << "it may be of the middle of another one";
}

TEST(SoundClock, KnowsSoundThatIsTooEarlyOrTooLate) {
  const std::vector<SoundLead> leads = {{1, 20, 40, 30}};
  const auto takes = [&](const std::vector<std::uint64_t>& inFront) {
    SoundClock clock(leads);
    Harvest found;
    found.tracks.resize(2);
    for (std::size_t picture = 0; picture < inFront.size(); ++picture) {
      found.tracks[1].samples = inFront[picture];
      if (clock.Take(found, picture)) return false;
    }
    return true;
  };
  EXPECT_TRUE(takes({0, 1, 3, 5, 7, 8, 10}));
  EXPECT_TRUE(takes({5, 7, 9, 11, 12, 14, 16})) << "a clip may begin with more sound";
  EXPECT_FALSE(takes({0, 1, 3, 7}));
  EXPECT_FALSE(takes({0, 1, 2, 2, 5}));
  EXPECT_FALSE(takes({0, 1, 1, 1, 7})) << "late ahead of it";
  EXPECT_TRUE(takes({0, 1, 3, 3, 3, 3, 3})) << "the sound may have ended";
}

TEST(SoundClock, SaysWhereSoundAndPicturesMayBeginToGoApart) {
  const std::vector<SoundLead> leads = {{1, 20, 40, 30, 1}};
  Harvest found;
  found.tracks.resize(2);
  const auto take = [&](SoundClock& clock, std::uint64_t samples, std::uint64_t picture) {
    found.tracks[1].samples = samples;
    const auto apart = clock.Take(found, picture);
    return apart ? std::optional(apart->pictures) : std::nullopt;
  };
  SoundClock sudden(leads);
  EXPECT_EQ(std::nullopt, take(sudden, 3, 1));
  EXPECT_EQ(3U, take(sudden, 15, 4));
  sudden.Restart();
  EXPECT_EQ(std::nullopt, take(sudden, 17, 5));
  SoundClock pause(leads);
  EXPECT_EQ(std::nullopt, take(pause, 3, 1));
  EXPECT_EQ(5U, take(pause, 5, 20)) << "another recording's sound would begin sooner";
  found.tracks[1].samples = 20;
  EXPECT_EQ(25U, pause.Take(found, 45).value_or(SoundClock::Apart()).pause);
  SoundClock slow(leads);
  EXPECT_EQ(std::nullopt, take(slow, 3, 1));
  EXPECT_EQ(std::nullopt, take(slow, 6, 2));
  EXPECT_EQ(16U, take(slow, 9, 3));
}

TEST(VideoSyntax, KnowsWhatBelongsToAStart) {
  VideoSyntax syntax;
  const auto belongs = [&](std::vector<unsigned char> unit) {
    return syntax.BelongsToStart(syntax.Header(unit.data()));
  };
  EXPECT_TRUE(belongs({0x65}));
  EXPECT_FALSE(belongs({0x41})) << "refers to others";
  EXPECT_FALSE(belongs({0x06})) << "is no slice";
  ASSERT_TRUE(syntax.SetConfiguration(Codec::kHevc, std::vector<unsigned char>(23)));
  EXPECT_TRUE(belongs({21 << 1, 1}));
  EXPECT_TRUE(belongs({8 << 1, 1}));
  const unsigned char leading[] = {9 << 1, 1};
  EXPECT_TRUE(syntax.IsLeading(syntax.Header(leading)));
  const unsigned char start[] = {21 << 1, 1};
  EXPECT_FALSE(syntax.IsLeading(syntax.Header(start)));
  EXPECT_FALSE(belongs({1 << 1, 1}));
  EXPECT_FALSE(belongs({39 << 1, 1}));
}

TEST(Harvest, GivesBackWhatBeginsBehindAPlace) {
  Harvest harvest;
  harvest.tracks.resize(2);
  harvest.Add(0, 100, {3, 60, {10, 20, 30}});
  harvest.Add(1, 160, {4, 8, {}});
  harvest.Add(0, 168, {1, 5, {5}});
  EXPECT_EQ(110U, harvest.PlaceOf(0, 1));
  EXPECT_EQ(168U, harvest.PlaceOf(0, 3));
  EXPECT_EQ(164U, harvest.PlaceOf(1, 2));
  harvest.DropFrom(164);
  EXPECT_EQ(2U, harvest.tracks[1].samples);
  EXPECT_EQ(3U, harvest.tracks[0].samples);
  harvest.DropFrom(115);
  EXPECT_EQ(0U, harvest.tracks[1].samples);
  EXPECT_EQ(2U, harvest.tracks[0].samples);
  EXPECT_EQ(30U, harvest.tracks[0].bytes);
  ASSERT_EQ(1U, harvest.runs.size());
  EXPECT_EQ(30U, harvest.runs[0].bytes);
}

}  // namespace clipchain::rescue
