#include "workflow/card_proof.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "support/sequences.h"
#include "workflow/assembling/image_bytes.h"
#include "workflow/keeping/kept_card.h"
#include "workflow/merging/fitting_of.h"
#include "workflow/proof_words.h"

using namespace clipchain;
using support::Bytes;
using support::operator+;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

namespace fs = std::filesystem;

using Phase = clipchain::Step::Phase;

namespace {

class CardProofTest : public support::KeptCard {
 protected:
  std::string Words() const { return ProofSumWords(options, Prove()); }
};

TEST_F(CardProofTest, SaysNoWhereNothingIsKept) {
  EXPECT_THAT(NotKept(), ElementsAre("clip1.mp4", "clip2.mp4", "clip3.mp4"));
  EXPECT_EQ("NOT safe to erase: 3 paths not kept", Words());
}

TEST_F(CardProofTest, FindsClipsInAResultOfAnyName) {
  PutOnCard("picture.jpg", {1, 2, 3});
  PutBeside("copies/renamed", {1, 2, 3});
  fs::rename(Merge(clips, "out.mp4"), folder / "kept" / "holiday");
  EXPECT_EQ(
      "safe to erase: yes, 3 clips in 1 recording, 1 other file copied, 3 clips without their "
      "other data (thumbnails, notes, dates)",
      Words());
}

TEST_F(CardProofTest, AcceptsAnyOrderOfClipsWithoutIdentifiers) {
  Merge({clips[2], clips[0], clips[1]}, "out.mp4");
  EXPECT_THAT(NotKept(), IsEmpty());
}

TEST_F(CardProofTest, ComparesEveryByteOfAResult) {
  const std::string result = Merge(clips, "out.mp4");
  const std::size_t size = support::ReadFile(result).size();
  for (std::size_t at = 0; at < size; at += 1 + size / 61) {
    ChangeByte(result, at);
    EXPECT_THAT(NotKept(), SizeIs(3)) << at;
    ChangeByte(result, at);
  }
  EXPECT_THAT(NotKept(), IsEmpty());
}

// Gaps that lie between the media of clips, and the note of the block, too.
TEST_F(CardProofTest, ComparesEveryByteOfAResultOfAnyLayout) {
  for (const Layout layout : {Layout{true, 0}, Layout{false, 512}, Layout{true, 4096}}) {
    MergeImage image;
    ASSERT_THAT(MakeMergeImage(clips, {}, layout, image), IsEmpty());
    ImageBytes bytes(clips, image);
    Bytes made(image.size);
    ASSERT_TRUE(bytes.Read(0, made.data(), made.size()));
    const std::string result = PutBeside("out.mp4", made);
    EXPECT_THAT(NotKept(), IsEmpty());
    for (std::size_t at = 0; at < made.size(); at += 1 + made.size() / 61) {
      ChangeByte(result, at);
      EXPECT_THAT(NotKept(), SizeIs(3)) << at;
      ChangeByte(result, at);
    }
  }
}

TEST_F(CardProofTest, ComparesTheNamesOfChaptersWithThoseOfTheClips) {
  clipchain::SafeMergeOptions merge;
  merge.check.output = folder.path() / "kept" / "out.mp4";
  merge.check.fitting.chapters = true;
  ASSERT_TRUE(clipchain::SafeMerge(clips, merge).done);
  EXPECT_THAT(NotKept(), IsEmpty());
  const Bytes bytes = support::ReadFile(merge.check.output);
  const std::string title = "clip2.mp4";
  const auto found = std::search(bytes.begin(), bytes.end(), title.begin(), title.end());
  ASSERT_NE(bytes.end(), found);
  const auto at = static_cast<std::size_t>(found - bytes.begin());
  for (std::size_t byte = 0; byte < title.size(); ++byte) {
    ChangeByte(merge.check.output, at + byte);
    EXPECT_THAT(NotKept(), SizeIs(3)) << byte;
    EXPECT_THAT(Prove().notKept[0].reason, HasSubstr("chapters of other names"));
    ChangeByte(merge.check.output, at + byte);
  }
}

TEST_F(CardProofTest, FindsTheClipsThatChaptersNameAmongTheirCopies) {
  clipchain::SafeMergeOptions merge;
  merge.check.output = folder.path() / "kept" / "out.mp4";
  merge.check.fitting.chapters = true;
  ASSERT_TRUE(clipchain::SafeMerge(clips, merge).done);
  for (const std::string& clip : clips) {
    const Bytes bytes = support::ReadFile(clip);
    for (const char* copy : {"a ", "b ", "c "})
      PutOnCard(copy + fs::path(clip).filename().string(), bytes);
  }
  EXPECT_THAT(NotKept(), IsEmpty());
}

TEST_F(CardProofTest, ComparesEveryByteOfAnArchiveAndOfClips) {
  const std::string result = Merge(clips, "out.mp4", Originals());
  EXPECT_EQ("safe to erase: yes, 3 clips in 1 recording, 0 other files copied", Words());
  for (const std::string& path : {result + ".originals", clips[1]}) {
    const std::size_t size = support::ReadFile(path).size();
    for (std::size_t at = 0; at < size; at += 1 + size / 31) {
      ChangeByte(path, at);
      EXPECT_THAT(NotKept(), Contains("clip2.mp4")) << path << ' ' << at;
      ChangeByte(path, at);
    }
  }
  EXPECT_THAT(NotKept(), IsEmpty());
}

TEST_F(CardProofTest, TakesAResultWithoutArchiveForLessThanTheWholeClips) {
  const std::string result = Merge(clips, "out.mp4");
  options.whole = true;
  EXPECT_THAT(NotKept(), SizeIs(3));
  fs::remove(result);
  Merge(clips, "out.mp4", Originals());
  EXPECT_THAT(NotKept(), IsEmpty());
}

TEST_F(CardProofTest, NoticesAClipThatIsMissingFromAResult) {
  Merge({clips[0], clips[1]}, "out.mp4", Originals());
  EXPECT_THAT(NotKept(), ElementsAre("clip3.mp4"));
}

TEST_F(CardProofTest, LetsNoResultCountOfWhichAClipIsElsewhere) {
  Merge(clips, "out.mp4", Originals());
  fs::remove(clips[2]);
  EXPECT_THAT(NotKept(), SizeIs(2));
}

TEST_F(CardProofTest, ComparesAnArchiveThatBelongsToAnotherResult) {
  const std::string result = Merge(clips, "out.mp4");
  fs::rename(Merge({clips[0], clips[1]}, "other.mp4", Originals()) + ".originals",
             result + ".originals");
  fs::remove(folder / "kept" / "other.mp4");
  EXPECT_THAT(NotKept(), SizeIs(3));
}

TEST_F(CardProofTest, TakesAnArchiveThatIsALinkForNone) {
  const std::string result = Merge(clips, "out.mp4", Originals());
  fs::rename(result + ".originals", folder / "moved");
  fs::create_symlink(folder / "moved", result + ".originals");
  EXPECT_THAT(NotKept(), SizeIs(3));
}

TEST_F(CardProofTest, ComparesChecksumsThatLieBesideAResult) {
  const std::string result = Merge(clips, "out.mp4", {true, false, true});
  EXPECT_THAT(NotKept(), IsEmpty());
  ChangeByte(result + ".xxh", 3);
  const std::string misfit = result + ".xxh does not fit " + result;
  EXPECT_THAT(NotKept(), SizeIs(3));
  EXPECT_EQ(result + ".originals counts only beside checksums that fit: " + misfit,
            Prove().notKept[0].reason);
  fs::remove(result + ".originals");
  EXPECT_EQ(misfit, Prove().notKept[0].reason);
}

TEST_F(CardProofTest, TakesAnIdenticalFileForACopyWhateverItsName) {
  for (unsigned int i = 0; i < 3; ++i) PutBeside(std::to_string(i), ClipBytes(i));
  options.whole = true;
  EXPECT_EQ("safe to erase: yes, 3 clips in 3 recordings, 0 other files copied", Words());
  ChangeByte(folder / "kept" / "1", 1000);
  EXPECT_THAT(NotKept(), ElementsAre("clip2.mp4"));
}

TEST_F(CardProofTest, TellsFilesOfOneNameAndSizeApart) {
  for (const std::string& clip : clips) fs::remove(clip);
  Bytes bytes(9000, 7);
  PutOnCard("a/note", bytes);
  bytes[4500] = 8;
  PutOnCard("b/note", bytes);
  PutBeside("note", bytes);
  const CardProof proof = Prove();
  ASSERT_THAT(proof.notKept, SizeIs(1));
  EXPECT_THAT(proof.notKept.front().path, HasSubstr("a/note"));
}

TEST_F(CardProofTest, WantsAnEmptyFileOfTheSameNameAndNeverAnEmptyClip) {
  for (const std::string& clip : clips) fs::remove(clip);
  PutOnCard("mark", {});
  PutOnCard("other", {});
  PutOnCard("empty.MP4", {});
  PutBeside("mark", {});
  PutBeside("empty.MP4", {});
  EXPECT_THAT(NotKept(), ElementsAre("empty.MP4", "other"));
}

TEST_F(CardProofTest, TakesADamagedClipForAnotherFile) {
  Merge(clips, "out.mp4");
  Bytes cut = ClipBytes(4);
  cut.resize(cut.size() - 1);
  PutOnCard("cut.mp4", cut);
  const CardProof proof = Prove();
  EXPECT_EQ(3u, proof.clips);
  EXPECT_EQ(1u, proof.others);
  EXPECT_FALSE(proof.kept);
  PutBeside("cut.mp4", cut);
  EXPECT_THAT(NotKept(), IsEmpty());
}

TEST_F(CardProofTest, LooksAtHiddenFilesToo) {
  Merge(clips, "out.mp4");
  PutOnCard(".trash/old", {1});
  EXPECT_THAT(NotKept(), ElementsAre("old"));
}

TEST_F(CardProofTest, NamesLinksAndPipesThatItPassesOver) {
  Merge(clips, "out.mp4");
  fs::create_symlink(clips[0], folder.path() / "card" / "link");
  ASSERT_EQ(0, ::mkfifo((folder.path() / "card" / "pipe").c_str(), 0600));
  const CardProof proof = Prove();
  EXPECT_TRUE(proof.kept);
  ASSERT_THAT(proof.leftAside, SizeIs(2));
  EXPECT_EQ("is a link", proof.leftAside[0].reason);
  EXPECT_EQ("is a pipe", proof.leftAside[1].reason);
}

TEST_F(CardProofTest, LetsNothingOnACardCount) {
  const std::string result = Merge(clips, "out.mp4");
  fs::rename(result, folder.path() / "card" / "out.mp4");
  options.against = {folder.path()};
  EXPECT_THAT(NotKept(), SizeIs(4));
  // A link of either kind to it is the same file.
  fs::create_hard_link(folder.path() / "card" / "out.mp4", folder.path() / "kept" / "hard.mp4");
  fs::create_symlink(folder.path() / "card" / "out.mp4", folder.path() / "kept" / "soft.mp4");
  fs::create_directory_symlink(folder.path() / "card", folder.path() / "kept" / "again");
  EXPECT_THAT(NotKept(), SizeIs(4));
  fs::copy_file(folder.path() / "card" / "out.mp4", folder.path() / "kept" / "real.mp4");
  EXPECT_THAT(NotKept(), IsEmpty());
}

TEST_F(CardProofTest, LetsNoHiddenFileOfAMergeCount) {
  const std::string result = Merge(clips, "out.mp4");
  fs::rename(result, folder.path() / "kept" / ".out.mp4.clipchain-17-0123456789abcdef.part");
  EXPECT_THAT(NotKept(), SizeIs(3));
}

TEST_F(CardProofTest, KeepsACopyOfAClipOnAnotherCardByTheSameResult) {
  Merge(clips, "out.mp4", Originals());
  fs::copy(folder / "card", folder / "card2");
  options.cards.push_back(folder / "card2");
  const CardProof proof = Prove();
  EXPECT_TRUE(proof.kept);
  EXPECT_EQ(6u, proof.clips);
  ChangeByte(folder / "card2" / "clip2.mp4", 1200);
  EXPECT_THAT(NotKept(), ElementsAre("clip2.mp4"));
}

// As copies of a clip are of which one has a changed byte.
TEST_F(CardProofTest, TellsClipsApartWhoseMediaBeginsAndEndsAlike) {
  const Bytes clip = support::Clip(300).Build();
  const std::size_t middle = support::FindBox(clip, "mdat") + 5'500;
  for (const char* name : {"twin1.mp4", "twin2.mp4", "twin3.mp4"}) {
    const std::string path = PutOnCard(name, clip);
    if (name[4] != '1') ChangeByte(path, middle + static_cast<std::size_t>(name[4]));
    Merge({path, clips[0]}, std::string("result-of-") + name);
  }
  Merge(clips, "out.mp4");
  EXPECT_THAT(NotKept(), IsEmpty());
  ChangeByte(folder / "kept" / "result-of-twin2.mp4", middle + 7);
  EXPECT_THAT(NotKept(), ElementsAre("twin2.mp4"));
}

TEST_F(CardProofTest, NamesTheWrongByteWhereSeveralClipsCouldFollow) {
  const Bytes clip = support::Clip(300).Build();
  const std::size_t middle = support::FindBox(clip, "mdat") + 5'500;
  const std::string first = PutOnCard("clip0.mp4", support::Clip(300, 9).Build());
  const std::string twin = PutOnCard("twin1.mp4", clip);
  ChangeByte(PutOnCard("twin2.mp4", clip), middle);
  ChangeByte(Merge({first, twin}, "out.mp4"), middle);
  const CardProof proof = Prove();
  ASSERT_FALSE(proof.notKept.empty());
  EXPECT_THAT(proof.notKept[0].path, testing::EndsWith("clip0.mp4"));
  EXPECT_THAT(proof.notKept[0].reason, HasSubstr("out.mp4 has a byte"));
}

TEST_F(CardProofTest, TellsClipsOfOneNameOnTwoCardsApart) {
  Merge(clips, "out.mp4");
  fs::create_directory(folder / "card2");
  support::WriteFile(folder / "card2" / "clip1.mp4", support::Clip(25, 99).Build());
  options.cards.push_back(folder / "card2");
  const CardProof proof = Prove();
  ASSERT_THAT(proof.notKept, SizeIs(1));
  EXPECT_THAT(proof.notKept.front().path, HasSubstr("card2/clip1.mp4"));
}

TEST_F(CardProofTest, WantsIdentifiedClipsInTheirOrder) {
  for (const std::string& clip : clips) fs::remove(clip);
  std::vector<std::string> chain;
  for (unsigned int i = 1; i <= 2; ++i) {
    const Bytes clip = support::Clip(25, static_cast<unsigned char>(i)).Build();
    chain.push_back(PutOnCard("link" + std::to_string(i) + ".mp4",
                              support::WithVendorBox(clip, support::ChainLink(i, 2))));
  }
  const std::string wrong = Merge({chain[1], chain[0]}, "wrong.mp4");
  EXPECT_THAT(NotKept(), SizeIs(2));
  fs::remove(wrong);
  Merge(chain, "right.mp4");
  EXPECT_EQ(1u, Prove().recordings);
  EXPECT_THAT(NotKept(), IsEmpty());
}

TEST_F(CardProofTest, LetsNoResultCountThatWasForcedToLoseSamples) {
  for (const std::string& clip : clips) fs::remove(clip);
  support::MovieBuilder movie = support::Clip(25, 3);
  // The last media box is the one that is copied.
  movie.tail = support::Box("mdat", {support::Zeros(40)});
  const std::string clip = PutOnCard("two.mp4", movie.Build());
  SafeMergeOptions merge;
  merge.check.output = folder.path() / "kept" / "out.mp4";
  merge.force = true;
  FitOptions exact;
  exact.exact = true;
  SetFitting(merge.check, exact);
  ASSERT_TRUE(SafeMerge({clip}, merge).done);
  EXPECT_THAT(NotKept(), SizeIs(1));
}

TEST_F(CardProofTest, LetsNoResultCountThatLeavesTablesOut) {
  for (const std::string& clip : clips) fs::remove(clip);
  clips.clear();
  // Priorities of samples, which a merge leaves out; two rows of groups of one kind, of which it
  // takes none.
  const Bytes groups =
      support::FullBox(
          "sgpd", 1, 0,
          {support::Text("roll"), support::U32(2), support::U32(1), support::Hex("FFFF")}) +
      support::FullBox("sbgp", 0, 0,
                       {support::Text("roll"), support::U32(1), support::U32(25), support::U32(1)});
  for (const Bytes& tables :
       {support::FullBox("stdp", 0, 0, {support::Zeros(50)}), groups + groups}) {
    std::vector<std::string> inputs;
    for (unsigned char i = 1; i <= 2; ++i) {
      support::MovieBuilder movie = support::Clip(25, i);
      movie.tracks[0].extraTableBoxes = tables;
      inputs.push_back(PutOnCard("tables" + std::to_string(i) + ".mp4", movie.Build()));
    }
    const std::string result = Merge(inputs, "out.mp4");
    EXPECT_THAT(NotKept(), SizeIs(2));
    fs::remove(result);
    Merge(inputs, "out.mp4", Originals());
    EXPECT_THAT(NotKept(), IsEmpty());
    fs::remove(result);
    fs::remove(result + ".originals");
  }
}

TEST_F(CardProofTest, CountsAClipWithZerosBehindItsLastBox) {
  const std::string clip =
      PutOnCard("padded.mp4", support::Clip(25, 9).Build() + support::Zeros(1000));
  clips.push_back(clip);
  options.clipsOnly = true;
  EXPECT_THAT(NotKept(), SizeIs(4));
  Merge(clips, "out.mp4");
  EXPECT_THAT(NotKept(), IsEmpty());
}

TEST_F(CardProofTest, MirrorsAResultWithItsArchive) {
  const std::string result = Merge(clips, "out.mp4", Originals());
  const fs::path card = folder.path() / "card";
  for (const std::string& clip : clips) fs::remove(clip);
  for (const char* name : {"out.mp4", "out.mp4.originals"})
    fs::copy_file(folder.path() / "kept" / name, card / name);
  EXPECT_THAT(NotKept(), IsEmpty());
  ChangeByte(result + ".originals", 40);
  EXPECT_THAT(NotKept(), SizeIs(2));
}

TEST_F(CardProofTest, LetsNoCopyCountBesideAnArchiveThatDoesNotFit) {
  for (const std::string& clip : clips)
    fs::copy_file(clip, folder.path() / "kept" / fs::path(clip).filename());
  EXPECT_THAT(NotKept(), IsEmpty());
  PutBeside("clip1.mp4.originals", {1, 2, 3});
  EXPECT_THAT(NotKept(), ElementsAre("clip1.mp4"));
  EXPECT_THAT(Prove().notKept[0].reason, HasSubstr("clip1.mp4 is beside an archive"));
}

// A merge of one clip may be a copy of it.
TEST_F(CardProofTest, LetsNoCopyOfAClipCountBesideChecksumsThatDoNotFit) {
  KeepOptions sums;
  sums.checksums = true;
  for (const std::string& clip : clips)
    support::WriteFile(clip, support::ReadFile(Merge({clip}, fs::path(clip).filename(), sums)));
  EXPECT_THAT(NotKept(), IsEmpty());
  ChangeByte(folder / "kept" / "clip1.mp4.xxh", 7);
  EXPECT_THAT(NotKept(), ElementsAre("clip1.mp4"));
  EXPECT_THAT(Prove().notKept[0].reason, HasSubstr("clip1.mp4.xxh does not fit"));
}

TEST_F(CardProofTest, SaysOfWhichClipsAnUnusableResultIs) {
  const std::string result = Merge(clips, "out.mp4");
  ASSERT_EQ(0, ::mkfifo((result + ".originals").c_str(), 0600));
  const CardProof proof = Prove();
  ASSERT_THAT(proof.notKept, SizeIs(3));
  for (const PathAndReason& path : proof.notKept)
    EXPECT_THAT(path.reason, HasSubstr("out.mp4 has its media, but is beside an archive"));
}

TEST_F(CardProofTest, NotesWhatLiesOnTheFileSystemOfACard) {
  EXPECT_THAT(Prove().besideCards, IsEmpty());
  Merge(clips, "out.mp4");
  const CardProof proof = Prove();
  EXPECT_TRUE(proof.kept);
  ASSERT_THAT(proof.besideCards, SizeIs(1));
  EXPECT_EQ(options.against[0], proof.besideCards[0].path);
  EXPECT_THAT(proof.besideCards[0].reason, HasSubstr(options.cards[0]));
}

TEST_F(CardProofTest, SaysWhyAResultDoesNotCount) {
  const std::string result = Merge(clips, "out.mp4");
  options.whole = true;
  EXPECT_THAT(Prove().notKept[0].reason, HasSubstr("no result with its archive"));
  options.whole = false;
  Bytes bytes = support::ReadFile(result);
  const Bytes tag = support::Box("udta", {support::U32(1)});
  bytes.insert(bytes.end(), tag.begin(), tag.end());
  support::WriteFile(result, bytes);
  EXPECT_THAT(Prove().notKept[0].reason, HasSubstr("out.mp4 has its media, but has a box"));
}

TEST_F(CardProofTest, SaysThatAResultBesideItsArchiveWasChanged) {
  const std::string result = Merge(clips, "out.mp4", Originals());
  const Bytes bytes = support::ReadFile(result);
  for (std::size_t at = 60; at < bytes.size(); at += bytes.size() / 9) {
    ChangeByte(result, at);
    for (const clipchain::PathAndReason& path : Prove().notKept)
      EXPECT_THAT(path.reason, testing::Not(HasSubstr("not on the cards"))) << at;
    ChangeByte(result, at);
  }
  ChangeByte(result, bytes.size() / 4);
  EXPECT_THAT(Prove().notKept[0].reason, HasSubstr("any more: the result was changed"));
  // Of another recording with clips of that size nothing was.
  support::WriteFile(result, bytes);
  PutOnCard("clip1.mp4", support::Clip(25, 77).Build());
  EXPECT_THAT(Prove().notKept[0].reason,
              HasSubstr("has a clip clip1.mp4 that is not on the cards"));
}

TEST_F(CardProofTest, HasNoAnswerWhereACardIsEmptyOrAFolderMissing) {
  Merge(clips, "out.mp4");
  fs::create_directory(folder / "empty");
  options.cards.push_back(folder / "empty");
  CardProof proof = ProveCards(options);
  EXPECT_TRUE(proof.failed);
  EXPECT_EQ(Message::kFolderUnusable, proof.findings.back().message);
  options.cards.back() = folder / "nowhere";
  EXPECT_EQ(Message::kFolderUnusable, ProveCards(options).findings.back().message);
  options.cards.pop_back();
  options.against.push_back(folder / "nowhere");
  proof = ProveCards(options);
  EXPECT_TRUE(proof.failed);
  EXPECT_FALSE(proof.kept);
}

TEST_F(CardProofTest, LeavesOtherFilesAloneWhereItIsToldTo) {
  Merge(clips, "out.mp4", Originals());
  PutOnCard("picture.jpg", {1});
  options.clipsOnly = true;
  EXPECT_EQ("clips kept: yes, 1 other file NOT looked at", Words());
  PutOnCard("more.mp4", ClipBytes(9));
  EXPECT_EQ("clips kept: NO, 1 path not kept, 1 other file NOT looked at", Words());
  for (const std::string& clip : clips) fs::remove(clip);
  fs::remove(folder.path() / "card" / "more.mp4");
  const CardProof proof = ProveCards(options);
  EXPECT_TRUE(proof.failed);
  EXPECT_EQ(Message::kFolderUnusable, proof.findings.back().message);
}

// A slow share is searched for minutes; what was found by then must never pass for all there is.
TEST_F(CardProofTest, StopsWhileFoldersAreSearched) {
  Merge(clips, "out.mp4");
  int asked = 0;
  options.progress = [&](const Step& step) {
    asked += step.phase == Phase::kSearching ? 1 : 0;
    return true;
  };
  static_cast<void>(ProveCards(options));
  ASSERT_GT(asked, 8);
  for (int last = 0; last < asked; ++last) {
    options.progress = [left = last](const Step& step) mutable {
      return step.phase != Phase::kSearching || left-- != 0;
    };
    const CardProof proof = ProveCards(options);
    EXPECT_TRUE(proof.failed) << last;
    EXPECT_FALSE(proof.kept) << last;
    ASSERT_THAT(proof.findings, SizeIs(1)) << last;
    EXPECT_EQ(Message::kMergeStopped, proof.findings[0].message);
    EXPECT_THAT(proof.notKept, IsEmpty()) << last;
  }
}

TEST_F(CardProofTest, StopsWhereItIsToldTo) {
  Merge(clips, "out.mp4");
  options.progress = [](const Step&) { return false; };
  const CardProof proof = ProveCards(options);
  EXPECT_TRUE(proof.failed);
  EXPECT_FALSE(proof.kept);
  EXPECT_EQ(Message::kMergeStopped, proof.findings.back().message);
}

}  // namespace
