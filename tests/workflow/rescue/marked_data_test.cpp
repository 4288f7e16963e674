#include "workflow/rescue/marked_data.h"

#include <gtest/gtest.h>

#include <limits>
#include <numeric>

#include "support/bytes.h"
#include "support/movie_builder.h"
#include "support/temp_dir.h"

namespace clipchain::rescue {

namespace {

using support::Bytes;
using support::Join;
using support::Text;
using support::U32;

// A sample of data that begins with its name and the length of what follows.
Bytes Sample(const std::string& mark, std::uint32_t length) {
  return Join({Text(mark), U32(length), Bytes(length, 0x11)});
}

class MarkedDataTest : public testing::Test {
 protected:
  // Learns from a clip with these samples of data, and looks at those bytes.
  bool Learn(const std::vector<Bytes>& samples, const Bytes& media,
             const std::vector<std::uint64_t>& counts = {2}) {
    support::Track data = support::AudioTrack(0);
    data.handler = "meta";
    data.samples = samples;
    for (const Bytes& sample : samples)
      data.sampleSizes.push_back(static_cast<std::uint32_t>(sample.size()));
    data.stts = {{static_cast<std::uint32_t>(samples.size()), 1}};
    const std::string clip = folder_ / "clip.mp4";
    support::WriteFile(clip, support::MovieBuilder().Add(data).Build());
    if (reference_.Load(clip)) return false;
    const ReferenceTrack& track = reference_.tracks()[0];
    method_ = track.UniformSize() != 0 ? MakeEvenData(reference_, track)
                                       : MakeMarkedData(reference_, track, counts);
    support::WriteFile(folder_ / "media", media);
    bytes_ = std::make_unique<FileBytes>(folder_ / "media");
    window_ = std::make_unique<MediaWindow>(*bytes_);
    return method_ != nullptr;
  }

  support::TempDir folder_;
  Reference reference_;
  std::unique_ptr<FrameMethod> method_;
  std::unique_ptr<FileBytes> bytes_;
  std::unique_ptr<MediaWindow> window_;
};

TEST_F(MarkedDataTest, EndWhereTheirLengthSays) {
  const Bytes media = Join({Sample("data", 300), Sample("data", 20), Text("none of them is here")});
  ASSERT_TRUE(Learn({Sample("data", 40), Sample("data", 70), Sample("data", 40)}, media));
  const auto most = std::numeric_limits<std::uint64_t>::max();
  const auto span = method_->Take(*window_, {0, media.size()}, most);
  ASSERT_TRUE(span);
  EXPECT_EQ((std::vector<std::uint32_t>{308, 28}), span->sizes);
  EXPECT_TRUE(method_->Fill(*window_, {0, 336}));
  EXPECT_FALSE(method_->Fill(*window_, {0, 308 + 27})) << "the second one is cut";
  EXPECT_FALSE(method_->Fill(*window_, {0, media.size()})) << "something else follows";
  EXPECT_FALSE(method_->Take(*window_, {336, media.size()}, most));
}

TEST_F(MarkedDataTest, TakeWhatIsLeftWhereEachStandsAlone) {
  const Bytes media = Text("{ \"t\": 12, \"x\": 11 }");
  const std::vector<Bytes> samples = {Text("{ \"t\": 1, \"x\": 2 }"),
                                      Text("{ \"t\": 10, \"x\": 222 }"),
                                      Text("{ \"t\": 10, \"x\": 3 }")};
  EXPECT_FALSE(Learn(samples, media));
  ASSERT_TRUE(Learn(samples, media, {1}));
  EXPECT_TRUE(method_->Fill(*window_, {0, media.size()}));
  EXPECT_FALSE(method_->Fill(*window_, {1, media.size()}));
  ASSERT_TRUE(Learn(samples, Join({media, Bytes(30, 1)}), {1}));
  EXPECT_FALSE(method_->Fill(*window_, {0, media.size() + 30})) << "larger than any";
}

TEST_F(MarkedDataTest, EndWhereAllDoThatAreOfOneSize) {
  const Bytes media = Join({Sample("data", 8), Sample("data", 8), Text("none of them is here")});
  ASSERT_TRUE(Learn({Sample("data", 8), Sample("data", 8), Sample("data", 8)}, media));
  const auto most = std::numeric_limits<std::uint64_t>::max();
  const auto span = method_->Take(*window_, {0, media.size()}, most);
  ASSERT_TRUE(span);
  EXPECT_EQ((std::vector<std::uint32_t>{16, 16}), span->sizes);
  EXPECT_TRUE(method_->Fill(*window_, {0, 32}));
  EXPECT_FALSE(method_->Fill(*window_, {0, 31})) << "the second one is cut";
  EXPECT_FALSE(method_->Fill(*window_, {0, media.size()})) << "something else follows";
  EXPECT_FALSE(Learn({Sample("data", 8), Sample("date", 8), Sample("data", 8)}, media));
  EXPECT_FALSE(Learn({Bytes(16, 0), Bytes(16, 0), Bytes(16, 0)}, media)) << "zeros are everywhere";
}

TEST_F(MarkedDataTest, AreNoneWithoutAMarkOrALength) {
  EXPECT_FALSE(Learn({Sample("data", 40), Sample("date", 70), Sample("dawn", 40)}, {}));
  Bytes wrong = Sample("data", 70);
  wrong.push_back(0);
  EXPECT_FALSE(Learn({Sample("data", 40), wrong, Sample("data", 50)}, {}));
  EXPECT_FALSE(Learn({Sample("data", 40), Sample("data", 70)}, {})) << "two agree by chance";
}

}  // namespace

}  // namespace clipchain::rescue
