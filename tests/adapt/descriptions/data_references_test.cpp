#include "adapt/descriptions/data_references.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "adapt/boxes/track_headers.h"
#include "adapt/boxes/tracks.h"
#include "adapt/made_clips.h"
#include "foundation/fourcc.h"
#include "support/movie_builder.h"

namespace clipchain {
namespace {

using support::Bytes;
using support::MovieBuilder;
using support::operator+;

TEST(DataReferences, ToFilesThatNoSampleLiesInAreKept) {
  using namespace support;
  const Bytes own = FullBox("url ", 0, 1, {});
  const Bytes other = FullBox("url ", 0, 0, {Text("file:///x")});
  const auto clipOf = [](const std::vector<Bytes>& references, std::uint8_t used) {
    FitClip clip = ClipOf(MovieBuilder().Add(VideoTrack(4)));
    RawBox& track = *TracksOf(clip.movie)[0];
    Bytes body = U32(0) + U32(static_cast<std::uint32_t>(references.size()));
    for (const Bytes& reference : references) body = body + reference;
    track.At({FourCc("mdia"), FourCc("minf"), FourCc("dinf"), FourCc("dref")})->data = body;
    SampleTable(track)->Child(FourCc("stsd"))->data[8 + 15] = used;
    return clip;
  };
  struct Case {
    std::vector<Bytes> first;
    std::vector<Bytes> second;
    std::uint8_t used;
    std::size_t notes;
    std::size_t problems;
  };
  for (const Case& known : {Case{{own}, {own}, 1, 0, 0},
                            {{own, other}, {own, other}, 1, 2, 0},
                            {{other, own}, {other, own}, 2, 2, 0},
                            {{own}, {own, other}, 1, 1, 0},
                            {{own, other}, {own, other}, 2, 0, 0},
                            {{other}, {own}, 1, 0, 1}}) {
    FitClips clips;
    clips.push_back(clipOf(known.first, known.used));
    clips.push_back(clipOf(known.second, known.used));
    FitReport report;
    MakeDataReferences()->Adapt(clips, report);
    EXPECT_EQ(report.notes.size(), known.notes);
    EXPECT_EQ(report.problems.size(), known.problems);
    RawBox track = *TracksOf(clips[1].movie)[0];
    NameOwnFileAlone(track);
    const Bytes& shown =
        track.At({FourCc("mdia"), FourCc("minf"), FourCc("dinf"), FourCc("dref")})->data;
    const bool namesOther =
        std::search(shown.begin(), shown.end(), other.begin(), other.end()) != shown.end();
    EXPECT_EQ(namesOther, known.used == 2 && known.notes == 0);
  }
}

}  // namespace
}  // namespace clipchain
