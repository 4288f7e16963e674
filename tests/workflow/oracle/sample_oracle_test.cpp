#include "workflow/oracle/sample_oracle.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <map>

#include "adapt/boxes/chapter_box.h"
#include "adapt/protected_boxes.h"
#include "support/clip_shapes.h"
#include "support/merged_clips.h"
#include "support/movie_builder.h"
#include "support/table_bytes.h"
#include "support/vendor_box.h"

using namespace clipchain;
using support::Bytes;
using support::FindBox;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class SampleOracle : public support::MergedClips {
 protected:
  Findings Look(const Bytes& merged, bool everyByte = true) {
    const std::string path = Put("looked at", merged);
    FileBytes file(path);
    const Findings found =
        CompareSamples({inputs, "out.mp4", file, everyByte, alone ? nullptr : &intended, progress});
    return found;
  }

  void ExpectFinding(const Bytes& merged, Message message, const std::string& box,
                     const std::string& words) {
    const Findings found = Look(merged);
    ASSERT_FALSE(found.empty()) << words;
    EXPECT_EQ(MessageName(message), MessageName(found[0].message)) << found[0].text;
    EXPECT_EQ("out.mp4", found[0].path);
    EXPECT_THAT(found[0].box, HasSubstr(box)) << found[0].text;
    EXPECT_THAT(found[0].text, HasSubstr(words));
  }
  static Bytes Flipped(Bytes bytes, std::size_t at) {
    bytes.at(at) ^= 0x10;
    return bytes;
  }

  Intended intended;
  bool alone = false;
  Progress progress;
};

// Which box each byte of a movie belongs to, with its offset in that box.
std::map<std::size_t, std::string> Leaves(const Bytes& bytes, std::size_t begin, std::size_t end,
                                          const std::string& place) {
  static const std::set<std::string> kParents = {"moov", "trak", "mdia", "minf", "stbl", "edts"};
  std::map<std::size_t, std::string> leaves;
  for (std::size_t at = begin; at + 8 <= end;) {
    const std::size_t size = support::ReadU32(bytes, at);
    const std::string type(bytes.begin() + static_cast<std::ptrdiff_t>(at + 4),
                           bytes.begin() + static_cast<std::ptrdiff_t>(at + 8));
    const std::string path = place + "/" + type;
    for (std::size_t i = 0; i < 8; ++i) leaves[at + i] = path;
    if (kParents.count(type) != 0) {
      leaves.merge(Leaves(bytes, at + 8, at + size, path));
    } else {
      for (std::size_t i = 8; i < size; ++i) leaves[at + i] = path;
    }
    at += size;
  }
  return leaves;
}

std::string Words(const Findings& findings) {
  std::string words;
  for (const Finding& finding : findings) words += finding.box + ": " + finding.text + "\n";
  return words;
}

Bytes Joined(const std::vector<Bytes>& parts) {
  Bytes all;
  for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

// The same track with the samples of both.
support::Track Both(support::Track a, const support::Track& b) {
  a.sampleSizes.insert(a.sampleSizes.end(), b.sampleSizes.begin(), b.sampleSizes.end());
  a.samples.insert(a.samples.end(), b.samples.begin(), b.samples.end());
  a.stts.insert(a.stts.end(), b.stts.begin(), b.stts.end());
  if (a.ctts) a.ctts->insert(a.ctts->end(), b.ctts->begin(), b.ctts->end());
  if (a.stss) {
    for (const std::uint32_t number : *b.stss)
      a.stss->push_back(number +
                        static_cast<std::uint32_t>(a.sampleSizes.size() - b.sampleSizes.size()));
  }
  a.mediaDuration += b.mediaDuration;
  a.movieDuration += b.movieDuration;
  return a;
}

// Pictures whose clip of so many ends with one that is shown longer, by ticks of the track.
support::Track Held(support::Track track, std::uint32_t pictures, std::uint32_t ticks) {
  const auto behind = static_cast<std::uint32_t>(track.sampleSizes.size()) - pictures;
  track.stts = {{pictures - 1, 1000}, {1, 1000 + ticks}, {behind, 1000}};
  track.mediaDuration += ticks;
  track.movieDuration += ticks / 50;
  return track;
}

// The track with samples that say who they are, wherever they lie.
support::Track Told(support::Track track, unsigned char seed) {
  for (std::size_t i = 0; i < track.sampleSizes.size(); ++i) {
    Bytes sample(track.sampleSizes[i]);
    for (std::size_t at = 0; at < sample.size(); ++at)
      sample[at] = static_cast<unsigned char>(seed * 31 + i * 7 + at);
    track.samples.push_back(std::move(sample));
  }
  return track;
}

support::Track Pictures(std::uint32_t count, unsigned char seed) {
  support::Track track = support::VideoTrack(count);
  track.stss = {{1, 4}};
  return Told(std::move(track), seed);
}

// The track alone in a file of fragments with so many samples each.
Bytes Fragmented(const support::Track& track, std::size_t perFragment) {
  using namespace support;
  Track empty = track;
  empty.sampleSizes.clear();
  empty.samples.clear();
  empty.stts.clear();
  empty.ctts.reset();
  empty.stss.reset();
  empty.mediaDuration = empty.movieDuration = 0;
  MovieBuilder movie;
  movie.extraMovieBoxes = Box(
      "mvex", {FullBox("trex", 0, 0, {U32(track.id), U32(1), U32(1000), U32(0), U32(0x10000)})});
  Bytes file = movie.Add(empty).Build();
  std::uint32_t time = 0;
  for (std::size_t first = 0; first < track.samples.size(); first += perFragment) {
    const std::size_t end = std::min(first + perFragment, track.samples.size());
    Bytes entries;
    Bytes media;
    for (std::size_t i = first; i < end; ++i) {
      const bool sync = std::count(track.stss->begin(), track.stss->end(), i + 1) != 0;
      entries = Joined({entries, U32(track.sampleSizes[i]), U32(sync ? 0 : 0x10000)});
      media = Joined({media, track.samples[i]});
    }
    const auto count = static_cast<std::uint32_t>(end - first);
    // "moof" with "mfhd" of 16 bytes, "traf" with "tfhd" of 16, "tfdt" of 16 and "trun" of 20.
    const std::uint32_t offset = 8 + 16 + 8 + 16 + 16 + 20 + count * 8 + 8;
    file =
        Joined({file,
                Box("moof",
                    {FullBox("mfhd", 0, 0, {U32(1)}),
                     Box("traf", {FullBox("tfhd", 0, 0x20000, {U32(track.id)}),
                                  FullBox("tfdt", 0, 0, {U32(time)}),
                                  FullBox("trun", 0, 0x601, {U32(count), U32(offset), entries})})}),
                Box("mdat", {media})});
    time += count * 1000;
  }
  return file;
}

}  // namespace

TEST_F(SampleOracle, FindsNothingInWhatTheEngineMakes) {
  const Bytes merged = MergeTwo();
  EXPECT_EQ("", Words(Look(merged)));
  EXPECT_EQ("", Words(Look(merged, false)));
  alone = true;
  EXPECT_EQ("", Words(Look(merged)));
}

TEST_F(SampleOracle, FindsNothingInManyForms) {
  for (const support::ClipShape& shape : support::ClipShapes()) {
    // An edit list that cuts, and what no movie should have: the engine carries it.
    alone = shape.name == "reordered" || shape.name == "two_descriptions";
    const Bytes merged = Merge({shape.bytes, shape.bytes});
    EXPECT_EQ("", Words(Look(merged))) << shape.name;
  }
}

// Passed over are times of modification, the next track's identifier, and the last bits of a
// duration, which is no more exact than a tick of the movie.
TEST_F(SampleOracle, FindsEveryByteOfTheMovieThatChanged) {
  const Bytes merged = Merge({support::Clip(7, 1).Build(), support::Clip(5, 7).Build()});
  const std::size_t movie = FindBox(merged, "moov");
  std::map<std::string, int> missed;
  for (const auto& [at, place] : Leaves(merged, movie, merged.size(), "")) {
    if (Look(Flipped(merged, at), false).empty()) ++missed[place];
  }
  const std::map<std::string, int> expected = {
      {"/moov/mvhd", 8}, {"/moov/trak/mdia/mdhd", 10}, {"/moov/trak/tkhd", 8}};
  EXPECT_EQ(expected, missed);
}

// A camera's box changes in one place alone, which must say what the last clip says.
TEST_F(SampleOracle, ProvesWhichClipComesNext) {
  using support::Id;
  const auto clip = [](std::uint8_t number) {
    const auto id = [number](int step) { return Id(static_cast<std::uint8_t>(number + step)); };
    return support::WithVendorBox(support::Clip(7, number).Build(),
                                  support::VendorBox{id(0), id(1), id(-1), {}});
  };
  Bytes merged = Merge({clip(3), clip(4)});
  EXPECT_EQ("", Words(Look(merged)));
  const auto isAt = [&merged](std::uint8_t number) {
    const Bytes id = support::GuidBytes(Id(number));
    return static_cast<std::size_t>(
        std::search(merged.begin(), merged.end(), id.begin(), id.end()) - merged.begin());
  };
  ASSERT_LT(isAt(5), merged.size());
  ExpectFinding(Flipped(merged, isAt(5)), Message::kResultDiffers, "moov/uuid",
                "another clip comes next");
  ExpectFinding(Flipped(merged, isAt(3)), Message::kResultDiffers, "moov/uuid",
                "as the first clip has it");
  // Nobody but the clip before the first one comes before it.
  ExpectFinding(Flipped(merged, isAt(2) + 15), Message::kResultDiffers, "moov/uuid",
                "as the first clip has it");
}

TEST_F(SampleOracle, ReadsSamplesOutOfFragments) {
  const support::Track first = Pictures(7, 1);
  const support::Track second = Pictures(5, 2);
  Clips({Fragmented(first, 3), Fragmented(second, 2)});
  const Bytes good = support::MovieBuilder().Add(Both(first, second)).Build();
  EXPECT_EQ("", Words(Look(good)));
  Clips({support::MovieBuilder().Add(first).Build(), Fragmented(second, 2)});
  EXPECT_EQ("", Words(Look(good)));
  support::Track other = Both(first, second);
  other.samples[9][4] ^= 1;
  ExpectFinding(support::MovieBuilder().Add(other).Build(), Message::kResultDamaged, "", "clip1");
  other = Both(first, second);
  other.stss = {{1, 4, 8, 10, 11}};
  ExpectFinding(support::MovieBuilder().Add(other).Build(), Message::kResultDiffers, "stss",
                "has sample 10 among the sync samples; it is none in");
}

TEST_F(SampleOracle, FindsWhatOneTableSaysOtherwise) {
  const support::Track first = Pictures(7, 1);
  const support::Track second = Pictures(5, 2);
  Clips({support::MovieBuilder().Add(first).Build(), support::MovieBuilder().Add(second).Build()});
  const auto expect = [&](const char* box, const char* words, const auto& change) {
    support::Track track = Both(first, second);
    change(track);
    ExpectFinding(support::MovieBuilder().Add(track).Build(), Message::kResultDiffers, box, words);
  };
  expect("stsz", "fewer than the clips", [](support::Track& track) {
    track.sampleSizes.pop_back();
    track.samples.pop_back();
    track.stts.back().first -= 1;
  });
  expect("stsz", "has 13 samples; the clips have 12", [](support::Track& track) {
    track.sampleSizes.push_back(1);
    track.samples.push_back(Bytes(1));
    track.stts.back().first += 1;
  });
  expect("stts", "shows sample 8 for 1001 ticks; it has 1000", [](support::Track& track) {
    track.stts = {{7, 1000}, {1, 1001}, {4, 1000}};
  });
  expect("ctts", "gives sample 3 a composition offset of 5; it has 0", [](support::Track& track) {
    track.ctts = {{{2, 0}, {1, 5}, {9, 0}}};
  });
  expect("stss", "numbers of samples that do not follow", [](support::Track& track) {
    track.stss = {{1, 4, 11, 8}};
  });
  expect("sdtp", "says 16 of what sample 2 depends on", [](support::Track& track) {
    track.sdtp = Bytes(12);
    track.sdtp->at(1) = 16;
  });
  expect("elst", "states 0.033 s for track 1", [](support::Track& track) {
    track.edits = {{{20, 0}}};
  });
  expect("stsd", "describes sample 1 otherwise",
         [](support::Track& track) { track.sampleEntry.back() ^= 1; });
}

TEST_F(SampleOracle, FindsClipsInAnotherOrderAndTracksThatAreMissing) {
  const support::Track first = Pictures(7, 1);
  const support::Track second = Pictures(7, 2);
  Clips({support::MovieBuilder().Add(first).Build(), support::MovieBuilder().Add(second).Build()});
  ExpectFinding(support::MovieBuilder().Add(Both(second, first)).Build(), Message::kResultDamaged,
                "", "clip0");
  const support::Track sound = support::AudioTrack(9);
  Clips({support::MovieBuilder().Add(first).Add(sound).Build(),
         support::MovieBuilder().Add(second).Add(sound).Build()});
  ExpectFinding(support::MovieBuilder().Add(Both(first, second)).Build(), Message::kResultDiffers,
                "moov", "has no track for track 2");
  intended.commonTracks = true;
  intended.leftOut = {2};
  EXPECT_EQ("", Words(Look(support::MovieBuilder().Add(Both(first, second)).Build())));
}

// Sound that is 50 ms shorter than the pictures of its clip waits for the next one, and no longer.
TEST_F(SampleOracle, LetsATrackWaitAsLongAsItMust) {
  const support::Track pictures = Pictures(30, 1);
  const support::Track sound = Told(support::AudioTrack(44), 9);
  Clips({support::MovieBuilder().Add(pictures).Add(sound).Build(),
         support::MovieBuilder().Add(pictures).Add(sound).Build()});
  const auto waiting = [&](std::uint32_t first, std::uint32_t last, std::uint32_t wrong = 0) {
    support::Track shown = Both(pictures, pictures);
    if (wrong != 0) shown.stts = {{1, 1000 + wrong}, {1, 1000 - wrong}, {58, 1000}};
    support::Track track = Both(sound, sound);
    track.mediaDuration += first + last;
    track.movieDuration += (first + last) / 80;
    track.stts = {{43, 1024}, {1, 1024 + first}, {43, 1024}, {1, 1024 + last}};
    return support::MovieBuilder().Add(shown).Add(track).Build();
  };
  EXPECT_EQ("", Words(Look(waiting(0, 0)))) << "as they happen to lie";
  ExpectFinding(waiting(2944, 0), Message::kResultDiffers, "stts", "shows sample 44 for 3968");
  intended.apart = 1024.0 / 48000;
  ExpectFinding(waiting(2944, 0), Message::kResultDiffers, "stts", "shows sample 44 for 3968");
  intended.stretches = {{0, 2, 2944}, {1, 2, 5}};
  EXPECT_EQ("", Words(Look(waiting(2944, 0))));
  ExpectFinding(waiting(2945, 0), Message::kResultDiffers, "stts", "shows sample 44 for 3969");
  intended.stretches[0].most = 9000;
  ExpectFinding(waiting(0, 0), Message::kResultDiffers, "moov", "61.3 ms later beside track 2");
  ExpectFinding(waiting(4000, 0), Message::kResultDiffers, "moov", "which it need not");
  ExpectFinding(waiting(2944, 5), Message::kResultDiffers, "stts", "longer than the last clip");
  // Beside pictures that are wrong nobody can say whether the sound has to wait.
  const Findings found = Look(waiting(2944, 0, 1));
  ASSERT_EQ(1u, found.size()) << found.back().text;
  EXPECT_THAT(found[0].box, HasSubstr("stts"));
}

// Pictures of two clips are not shown among each other, whether anybody else has to wait or not.
TEST_F(SampleOracle, LetsPicturesWaitForThoseBeforeThem) {
  support::Track late = Pictures(7, 1);
  late.ctts = {{7, 2000}};
  support::Track next = Pictures(7, 2);
  next.ctts = {{7, 0}};
  Clips({support::MovieBuilder().Add(late).Build(), support::MovieBuilder().Add(next).Build()});
  intended.apart = 1024.0 / 48000;
  intended.stretches = {{0, 1, 9000}};
  const auto waiting = [&](std::uint32_t ticks) {
    return support::MovieBuilder().Add(Held(Both(late, next), 7, ticks)).Build();
  };
  EXPECT_EQ("", Words(Look(waiting(2000))));
  ExpectFinding(waiting(3000), Message::kResultDiffers, "moov", "which it need not");
  next.ctts = {{7, 1500}};
  Clips({support::MovieBuilder().Add(late).Build(), support::MovieBuilder().Add(next).Build()});
  ExpectFinding(waiting(2000), Message::kResultDiffers, "moov", "which it need not");
}

// Nobody waits for a track of data that is far ahead.
TEST_F(SampleOracle, LetsATrackOfDataStayAhead) {
  const support::Track pictures = Pictures(30, 1);
  support::Track notes = support::TimecodeTrack({support::U32(1)});
  notes.stts = {{1, 60000}};
  notes.mediaDuration = 60000;
  const auto clip = [&] { return support::MovieBuilder().Add(pictures).Add(notes).Build(); };
  Clips({clip(), clip()});
  intended.apart = 1024.0 / 48000;
  intended.stretches = {{0, 1, 30000}};
  const auto joined = [&](std::uint32_t longer) {
    const support::Track track = Held(Both(pictures, pictures), 30, longer);
    return support::MovieBuilder().Add(track).Add(Both(notes, notes)).Build();
  };
  EXPECT_EQ("", Words(Look(joined(0))));
  ExpectFinding(joined(30000), Message::kResultDiffers, "moov", "which it need not");
}

// A track whose one description declares a bit rate and a buffer.
support::Track Declaring(support::Track track, std::uint32_t buffer, std::uint32_t most) {
  using namespace support;
  const Bytes& entry = track.sampleEntry;
  const std::string type(entry.begin() + 4, entry.begin() + 8);
  track.sampleEntry =
      Box(type, {Slice(entry, 8, entry.size()), Box("btrt", {U32(buffer), U32(most), U32(7)})});
  return track;
}

// What is declared about bit rates may differ between clips; the result declares the most.
TEST_F(SampleOracle, HoldsBitRatesToTheLargestOfTheClips) {
  const support::Track first = Pictures(7, 1);
  const support::Track second = Pictures(5, 2);
  Clips({support::MovieBuilder().Add(Declaring(first, 10, 2000)).Build(),
         support::MovieBuilder().Add(Declaring(second, 30, 1000)).Build()});
  const auto joined = [&](std::uint32_t buffer, std::uint32_t most) {
    return support::MovieBuilder().Add(Declaring(Both(first, second), buffer, most)).Build();
  };
  EXPECT_EQ("", Words(Look(joined(30, 2000))));
  for (const auto& [buffer, most] : {std::pair{10u, 2000u}, {30u, 1000u}, {31u, 2000u}})
    ExpectFinding(joined(buffer, most), Message::kResultDiffers, "stsd",
                  "the clips declare 2000 and 30");
}

// Sound whose description tells the sizes of frames, their number and a checksum.
support::Track Counted(support::Track track, std::uint32_t least, std::uint32_t most,
                       std::uint32_t sum) {
  using namespace support;
  const Bytes info = FullBox("dfLa", 0, 0,
                             {U32(0x80000022), U32(0x10001000), U24(least), U24(most),
                              U32(0x0AC442F0), U32(sum), Bytes(16, sum != 0 ? 7 : 0)});
  track.sampleEntry = Box("fLaC", {Slice(AudioEntry(), 8, 36), info});
  return track;
}

// Frames of the result are no smaller and no larger than it says, and nothing that is said of one
// clip is said of all.
TEST_F(SampleOracle, HoldsFramesToThoseOfTheClips) {
  const support::Track pictures = Pictures(7, 1);
  const support::Track sound = Told(support::AudioTrack(9), 1);
  const auto clip = [&](const support::Track& track) {
    return support::MovieBuilder().Add(pictures).Add(track).Build();
  };
  const auto joined = [&](std::uint32_t least, std::uint32_t most, std::uint32_t sum) {
    return support::MovieBuilder()
        .Add(Both(pictures, pictures))
        .Add(Counted(Both(sound, sound), least, most, sum))
        .Build();
  };
  Clips({clip(Counted(sound, 5, 60, 9)), clip(Counted(sound, 6, 70, 9))});
  EXPECT_EQ("", Words(Look(joined(5, 70, 0))));
  ExpectFinding(joined(6, 70, 0), Message::kResultDiffers, "stsd", "of the clips' it is 5 to 70");
  ExpectFinding(joined(5, 60, 0), Message::kResultDiffers, "stsd", "declares frames from 5 to 60");
  ExpectFinding(joined(5, 70, 9), Message::kResultDiffers, "stsd", "declares frames");
  Clips({clip(Counted(sound, 5, 60, 9)), clip(Counted(sound, 0, 0, 0))});
  EXPECT_EQ("", Words(Look(joined(0, 0, 0))));
  ExpectFinding(joined(5, 60, 0), Message::kResultDiffers, "stsd", "declares frames");
  Clips({clip(Counted(sound, 5, 60, 9)), clip(Counted(sound, 5, 60, 9))});
  EXPECT_EQ("", Words(Look(joined(5, 60, 9))));
  ExpectFinding(joined(5, 60, 0), Message::kResultDiffers, "stsd", "declares frames");
}

// Programs that write fragments do not know the rates.
TEST_F(SampleOracle, TakesADescriptionThatDeclaresNoRatesForTheSame) {
  const support::Track first = Pictures(7, 1);
  const support::Track second = Pictures(5, 2);
  const auto clip = [](const support::Track& track) {
    return support::MovieBuilder().Add(track).Build();
  };
  Clips({clip(Declaring(first, 3, 2000)), clip(second)});
  EXPECT_EQ("", Words(Look(clip(Declaring(Both(first, second), 3, 2000)))));
  ExpectFinding(clip(Declaring(Both(first, second), 3, 100)), Message::kResultDiffers, "stsd",
                "the clips declare 2000 and 3");
  ExpectFinding(clip(Both(first, second)), Message::kResultDiffers, "stsd",
                "as the first clip has them");
  Clips({clip(first), clip(Declaring(second, 3, 2000))});
  EXPECT_EQ("", Words(Look(clip(Both(first, second)))));
  support::Track other = second;
  other.sampleEntry.back() ^= 1;
  Clips({clip(first), clip(Declaring(other, 3, 2000))});
  ExpectFinding(clip(Both(first, second)), Message::kResultDiffers, "stsd", "otherwise");
}

// A clip without samples of a track declares what it declares.
TEST_F(SampleOracle, HoldsBitRatesToThoseOfEmptyTracksToo) {
  const support::Track pictures = Pictures(7, 1);
  const support::Track sound = Told(support::AudioTrack(9), 1);
  support::Track silent = support::AudioTrack(0);
  silent.stts.clear();
  const auto clip = [&](const support::Track& track, std::uint32_t most) {
    return support::MovieBuilder().Add(pictures).Add(Declaring(track, 0, most)).Build();
  };
  Clips({clip(sound, 1000), clip(silent, 2000)});
  const auto joined = [&](std::uint32_t most) {
    return support::MovieBuilder()
        .Add(Both(pictures, pictures))
        .Add(Declaring(sound, 0, most))
        .Build();
  };
  EXPECT_EQ("", Words(Look(joined(2000))));
  ExpectFinding(joined(1000), Message::kResultDiffers, "stsd", "the clips declare 2000 and 0");
}

// A group that goes without saying is spelled out where clips follow each other.
TEST_F(SampleOracle, KnowsTheGroupOfSamplesOfWhichNothingIsSaid) {
  using namespace support;
  const auto grouped = [](Track track, const Bytes& tables) {
    track.extraTableBoxes = tables;
    return MovieBuilder().Add(track).Build();
  };
  const Bytes usual = FullBox("sgpd", 2, 0, {Text("roll"), U32(2), U32(1), U32(1), Hex("ff fe")});
  const auto table = [](std::uint32_t first, std::uint32_t second) {
    return FullBox("sbgp", 0, 0, {Text("roll"), U32(2), U32(first), U32(1), U32(second), U32(0)});
  };
  const Track first = Pictures(7, 1);
  const Track second = Pictures(5, 2);
  Clips({grouped(first, usual), grouped(second, usual + table(2, 3))});
  const Track both = Both(first, second);
  EXPECT_EQ("", Words(Look(grouped(both, usual + table(9, 3)))));
  ExpectFinding(grouped(both, usual), Message::kResultDiffers, "sbgp",
                "sample 10 in another group");
  ExpectFinding(grouped(both, usual + table(3, 9)), Message::kResultDiffers, "sbgp",
                "sample 4 in another group");
}

// One clip of three protected samples, whose bytes "senc" and "saio" tell.
Bytes ProtectedClip() {
  using namespace support;
  constexpr std::uint32_t kMedia = 24;
  const Bytes tables = FullBox("stts", 0, 0, {U32(1), U32(3), U32(40)}) +
                       FullBox("stsc", 0, 0, {U32(1), U32(1), U32(3), U32(1)}) +
                       FullBox("stsz", 0, 0, {U32(1), U32(3)}) +
                       FullBox("stco", 0, 0, {U32(1), U32(kMedia)}) + ToldSizes({8, 8, 8}) +
                       FullBox("saio", 1, 0, {U32(1), U64(0)});
  RawBox movie =
      ProtectedMovie({ProtectedEntry(8)}, tables, ToldBytes(3, U64(1) + U64(2) + U64(3)));
  movie.Remove(FourCc("mvex"));
  Bytes bytes = Box("ftyp", {Text("isom"), U32(0)}) + Box("mdat", {Text("abc")});
  movie.Write(bytes);
  const std::size_t told = FindBox(bytes, "senc") + 16;
  const std::size_t place = FindBox(bytes, "saio");
  return WithU32(bytes, place + 20, static_cast<std::uint32_t>(told));
}

TEST_F(SampleOracle, ComparesWhatIsToldOfProtectedSamples) {
  const Bytes clip = ProtectedClip();
  Clips({clip});
  ASSERT_THAT(Look(clip), IsEmpty());
  const std::size_t told = FindBox(clip, "senc") + 16;
  const std::size_t sizes = FindBox(clip, "saiz");
  const std::size_t place = FindBox(clip, "saio");
  for (const std::size_t at : {told, told + 23})
    ExpectFinding(Flipped(clip, at), Message::kResultDiffers, "saiz", "is protected");
  ExpectFinding(Flipped(clip, place + 23), Message::kResultDiffers, "saiz", "elsewhere");
  ExpectFinding(Flipped(clip, place + 20), Message::kResultDiffers, "saiz", "does not have");
  ExpectFinding(support::WithU32(clip, sizes + 13, 2), Message::kResultDiffers, "saiz", "");
  ExpectFinding(Flipped(clip, sizes + 17), Message::kResultDiffers, "saiz", "");
  ExpectFinding(Flipped(clip, sizes + 4), Message::kResultDiffers, "saiz", "");
  // Neither box, and one alone.
  Bytes without = support::WithU32(clip, sizes + 4, FourCc("free"));
  ExpectFinding(without, Message::kResultDiffers, "saiz", "in a way that can be read");
  without = support::WithU32(without, place + 4, FourCc("free"));
  EXPECT_THAT(Look(without), IsEmpty());
  without = support::WithU32(without, told - 12, FourCc("free"));
  ExpectFinding(without, Message::kResultDiffers, "saiz", "0 bytes");
}

TEST_F(SampleOracle, StopsWhenTold) {
  const Bytes merged = MergeTwo();
  progress = [](const Step&) { return false; };
  EXPECT_THAT(Look(Flipped(merged, FindBox(merged, "mdat") + 9)), IsEmpty());
}

// Tables that claim more than they hold, in clips and results, cost neither time nor memory.
TEST_F(SampleOracle, TakesNoCountAtItsWord) {
  const Bytes merged = MergeTwo();
  for (const char* type : {"stts", "stsz", "stsc", "stco", "stsd"}) {
    for (const std::uint32_t count : {0u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
      const std::size_t at = FindBox(merged, type) + (std::string(type) == "stsz" ? 16 : 12);
      EXPECT_FALSE(Look(support::WithU32(merged, at, count)).empty()) << type << count;
      const Bytes clip = support::ReadFile(inputs[0]);
      const std::size_t inClip = FindBox(clip, type) + (std::string(type) == "stsz" ? 16 : 12);
      const std::string good = inputs[0];
      inputs[0] = Put("odd", support::WithU32(clip, inClip, count));
      static_cast<void>(Look(merged));
      if (count == 0) {
        EXPECT_FALSE(Look(merged).empty()) << type;
      }
      inputs[0] = good;
    }
  }
}

TEST_F(SampleOracle, LooksWhereChaptersBegin) {
  const Bytes plain = MergeTwo();
  const auto with = [&](const std::vector<Chapter>& chapters) {
    Bytes bytes = plain;
    const std::size_t at = FindBox(bytes, "moov");
    std::span<const unsigned char> in(bytes.data() + at, bytes.size() - at);
    RawBox movie;
    EXPECT_TRUE(movie.Take(in));
    WriteChapters(movie, chapters);
    bytes.resize(at);
    movie.Write(bytes);
    return bytes;
  };
  const std::vector<Chapter> right = {{0, "a"}, {10'000'000, "b"}};
  intended.chapters = {"a", "b"};
  EXPECT_EQ("", Words(Look(with(right))));
  ExpectFinding(plain, Message::kResultDiffers, "chpl", "does not have 2 chapters");
  ExpectFinding(with({right[0]}), Message::kResultDiffers, "chpl", "does not have 2 chapters");
  ExpectFinding(with({right[0], {10'000'000, "c"}}), Message::kResultDiffers, "chpl",
                "has no chapter \"b\"");
  EXPECT_EQ("", Words(Look(with({right[0], {10'000'001, "b"}}))));
  for (const std::uint64_t start : {9'999'999u, 10'000'002u, 0u})
    ExpectFinding(with({right[0], {start, "b"}}), Message::kResultDiffers, "chpl",
                  "lets the chapter \"b\" begin");
  // Chapters that nobody asked for are a box that the first clip does not have.
  intended.chapters.clear();
  EXPECT_NE("", Words(Look(with(right))));
}
