#include "support/evidence_cards.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <random>

namespace support {

namespace {

using clipchain::ClipTraits;
using clipchain::kSecond;
using clipchain::Nanoseconds;

enum class Clock { kStart, kEnd, kOne, kNone, kReset };
enum class Names { kRunning, kChapterInFront, kFirstPrefix, kChapterBehind, kDated, kLetters };
enum class Timecode { kNone, kDay, kCounter, kAlike };
enum class Values { kNone, kRecording, kCamera, kClip };

constexpr double kGibibyte = 1024.0 * 1024 * 1024;

class Chance {
 public:
  explicit Chance(std::uint64_t seed) : engine_(seed) {}
  double Real(double from, double to) {
    return std::uniform_real_distribution<double>(from, to)(engine_);
  }
  std::int64_t Whole(std::int64_t from, std::int64_t to) {
    return std::uniform_int_distribution<std::int64_t>(from, to)(engine_);
  }
  bool Of(double share) { return Real(0, 1) < share; }
  template <typename T>
  T Pick(const std::vector<T>& choices) {
    return choices[static_cast<std::size_t>(
        Whole(0, static_cast<std::int64_t>(choices.size()) - 1))];
  }
  std::string Text(std::size_t count, char first, char last) {
    std::string text;
    for (; count != 0; --count) text += static_cast<char>(Whole(first, last));
    return text;
  }
  template <typename T>
  void Shuffle(std::vector<T>& values) {
    std::shuffle(values.begin(), values.end(), engine_);
  }

 private:
  std::mt19937_64 engine_;
};

std::string Numbered(const char* format, std::int64_t a, std::int64_t b = 0) {
  char text[64];
  std::snprintf(text, sizeof text, format, a, b);
  return text;
}

// One camera: what it writes, and where it stands.
struct Camera {
  std::string description, prefix, folder, serial;
  Clock clock = Clock::kStart;
  Names names = Names::kRunning;
  Timecode timecode = Timecode::kNone;
  Values values = Values::kNone;
  double fps = 30;
  double bytesPerSecond = 0;
  double sizeLimit = 0;  // 0: it stops by length
  double sizeSlack = 0;
  std::int64_t frameLimit = 0;
  bool isShared = false;  // no common limit
  std::int64_t number = 1;
  std::int64_t counter = 0;    // frames recorded, for the counting timecode
  std::int64_t dayFrames = 0;  // since midnight, for the one that follows the clock
  double now = 0;              // seconds since 1904
};

class CardMaker {
 public:
  explicit CardMaker(std::uint64_t seed) : chance_(seed) {}

  MadeCard Make() {
    const std::int64_t cameras = chance_.Of(0.6) ? 1 : chance_.Whole(2, 3);
    for (std::int64_t i = 0; i < cameras; ++i) {
      Camera camera = MakeCamera(i);
      if (i != 0 && chance_.Of(0.3)) MakeTwin(camera);
      first_ = i == 0 ? camera : first_;
      const std::int64_t recordings = chance_.Whole(1, 9);
      for (std::int64_t k = 0; k < recordings; ++k) Record(camera);
      Note(camera);
    }
    Judge();
    // A name that was given after a clip was lost hides the loss.
    if (chance_.Of(0.05)) {
      Rename();
    } else {
      Lose();
    }
    AddCopies();
    chance_.Shuffle(card_.clips);
    return std::move(card_);
  }

 private:
  Camera MakeCamera(std::int64_t index) {
    Camera camera;
    camera.description = "camera" + std::to_string(index);
    camera.prefix = chance_.Text(3, 'A', 'Z');
    camera.folder = Numbered("card/DCIM/%ld", chance_.Whole(100, 400)) + chance_.Text(5, 'A', 'Z');
    camera.serial = chance_.Text(16, '\1', '\37');
    camera.clock = chance_.Pick<Clock>(
        {Clock::kStart, Clock::kStart, Clock::kEnd, Clock::kOne, Clock::kNone, Clock::kReset});
    camera.names = static_cast<Names>(chance_.Whole(0, 5));
    camera.timecode = chance_.Pick<Timecode>(
        {Timecode::kNone, Timecode::kNone, Timecode::kDay, Timecode::kCounter, Timecode::kAlike});
    camera.values = chance_.Pick<Values>(
        {Values::kNone, Values::kNone, Values::kRecording, Values::kCamera, Values::kClip});
    camera.fps = chance_.Pick<double>({24, 25, 30000.0 / 1001, 30, 50, 60000.0 / 1001});
    camera.bytesPerSecond = chance_.Real(1e6, 1.2e7);
    camera.number = chance_.Of(0.1) ? chance_.Whole(9980, 9999) : chance_.Whole(1, 9000);
    camera.now = std::floor(chance_.Real(3.6e9, 3.9e9)) + chance_.Real(0, 1);
    SetLimit(camera);
    return camera;
  }

  void SetLimit(Camera& camera) {
    const auto frames = [&](double seconds) {
      return static_cast<std::int64_t>(std::round(seconds * camera.fps));
    };
    camera.isShared = false;
    switch (chance_.Whole(0, 3)) {
      case 0:
        camera.sizeLimit = chance_.Pick<double>({2 * kGibibyte, 4e9, 4 * kGibibyte});
        camera.sizeSlack = 60 * 1024.0 * 1024;
        return;
      case 1:
        camera.frameLimit = frames(60 * chance_.Pick<double>({1, 2, 3, 5, 10, 15, 20, 30}));
        return;
      case 2:
        camera.frameLimit = frames(std::floor(chance_.Real(100, 1500)) + 0.5);
        camera.isShared = true;
        return;
      default:
        camera.sizeLimit = chance_.Pick<double>({5e9, 8e9, 1.6e10});
        camera.sizeSlack = 0.5 * camera.bytesPerSecond;
        camera.isShared = true;
    }
  }

  // A second camera of the same make on the same card, which may record at the same time.
  void MakeTwin(Camera& camera) {
    const Camera other = camera;
    camera = first_;
    camera.prefix = other.prefix;
    camera.serial = other.serial;
    camera.number = other.number;
    camera.counter = 0;
    if (chance_.Of(0.5)) camera.folder = other.folder;
    camera.now = start_ + (chance_.Of(0.2) ? 0 : chance_.Real(-3000, 3000));
  }

  void Record(Camera& camera) {
    // Begun again at once, after a while, or after a change of the clock.
    if (chance_.Of(0.15)) {
      camera.now += chance_.Real(0.3, 1.9);
    } else {
      camera.now += chance_.Real(5, 50000);
      camera.number = (camera.number + (chance_.Of(0.2) ? chance_.Whole(1, 5) : 0) - 1) % 9999 + 1;
    }
    if (chance_.Of(0.03)) camera.now += chance_.Of(0.5) ? 3600 : -3600;
    if (card_.recordings.empty()) start_ = camera.now;
    if (camera.clock == Clock::kReset)
      camera.now = chance_.Pick<double>({2082844800, 3786825600, 3029529600}) + chance_.Real(1, 90);
    const std::size_t full = chance_.Of(0.4) ? 0 : static_cast<std::size_t>(chance_.Whole(1, 5));
    const double begin = camera.now;
    const std::string identity = chance_.Text(16, '\1', '\37');
    const std::size_t recording = card_.recordings.size();
    card_.recordings.push_back({full + 1, true, false});
    camera.dayFrames =
        static_cast<std::int64_t>(std::fmod(camera.now, 86400) * std::round(camera.fps));
    for (std::size_t i = 0; i <= full; ++i) Clip(camera, recording, i, i < full, begin, identity);
    if (camera.names != Names::kRunning) camera.number = camera.number % 9999 + 1;
  }

  void Clip(Camera& camera, std::size_t recording, std::size_t number, bool isFull, double begin,
            const std::string& identity) {
    MadeClip made;
    made.recording = recording;
    made.number = number;
    ClipTraits& clip = made.traits;
    const double rate = camera.bytesPerSecond * chance_.Real(0.95, 1.05);
    std::int64_t frames = camera.frameLimit;
    if (camera.sizeLimit != 0) {
      const double size = camera.sizeLimit - chance_.Real(0, camera.sizeSlack);
      frames = static_cast<std::int64_t>(size / rate * camera.fps);
      clip.size = static_cast<long long>(size);
    }
    if (!isFull) {
      // Well below the limit: what stops there by chance nobody can tell.
      frames = static_cast<std::int64_t>(static_cast<double>(frames) * chance_.Real(0.02, 0.9));
      if (chance_.Of(0.3))
        frames = std::max<std::int64_t>(
            1, std::llround(std::floor(static_cast<double>(frames) / camera.fps) * camera.fps));
      if (IsWholeMinutes(camera, frames)) frames -= 7;
      frames = std::max<std::int64_t>(frames, static_cast<std::int64_t>(3 * camera.fps));
    }
    const double seconds = static_cast<double>(frames) / camera.fps;
    if (!isFull || camera.sizeLimit == 0) clip.size = static_cast<long long>(rate * seconds);
    if (!isFull && IsNearCommonSize(clip.size)) clip.size -= 80LL << 20;
    clip.length = static_cast<Nanoseconds>(seconds * 1e9 + 0.5);
    clip.frame = static_cast<Nanoseconds>(1e9 / camera.fps);
    clip.description = camera.description;
    clip.movieDigest = {static_cast<std::uint64_t>(chance_.Whole(0, INT64_MAX)), 1};
    SetTime(camera, clip, begin, seconds);
    SetTimecode(camera, clip, frames);
    SetValues(camera, clip, identity);
    clip.path = camera.folder + '/' + NameOf(camera, number, begin);
    camera.now += seconds + chance_.Real(0, 0.3);
    camera.counter += frames;
    camera.dayFrames += frames;
    if (camera.names == Names::kRunning) camera.number = camera.number % 9999 + 1;
    card_.clips.push_back(std::move(made));
    cameraOf_.push_back(cameraCount_);
    isFull_.push_back(isFull);
  }

  static bool IsWholeMinutes(const Camera& camera, std::int64_t frames) {
    const double minutes = static_cast<double>(frames) / camera.fps / 60;
    return std::abs(minutes - std::round(minutes)) * 60 * camera.fps < 3;
  }
  static bool IsNearCommonSize(long long size) {
    for (const double bound : {2 * kGibibyte, 4e9, 4 * kGibibyte}) {
      if (static_cast<double>(size) <= bound && static_cast<double>(size) >= bound - 7e7)
        return true;
    }
    return false;
  }

  void SetTime(const Camera& camera, ClipTraits& clip, double begin, double seconds) {
    if (camera.clock == Clock::kNone) return;
    double time = camera.now;
    if (camera.clock == Clock::kEnd) time += seconds;
    if (camera.clock == Clock::kOne) time = begin;
    clip.created = static_cast<std::uint64_t>(time);
  }

  void SetTimecode(const Camera& camera, ClipTraits& clip, std::int64_t frames) {
    if (camera.timecode == Timecode::kNone) return;
    clipchain::TimecodeTraits code;
    code.framesPerSecond = static_cast<unsigned>(std::round(camera.fps));
    code.day = 86400LL * code.framesPerSecond;
    if (camera.timecode == Timecode::kDay) code.first = camera.dayFrames % code.day;
    if (camera.timecode == Timecode::kCounter) code.first = camera.counter % code.day;
    code.earliestEnd = code.latestEnd = (code.first + frames) % code.day;
    clip.timecode = code;
  }

  void SetValues(const Camera& camera, ClipTraits& clip, const std::string& identity) {
    switch (camera.values) {
      case Values::kNone:
        return;
      case Values::kRecording:
        clip.values = {{"udta/CAMR", camera.serial}, {"udta/RECD", identity}};
        return;
      case Values::kCamera:
        clip.values = {{"udta/CAMR", camera.serial}};
        return;
      case Values::kClip:
        clip.values = {{"udta/CLIP", chance_.Text(16, '\1', '\37')}};
    }
  }

  std::string NameOf(const Camera& camera, std::size_t number, double begin) {
    const auto chapter = static_cast<std::int64_t>(number);
    switch (camera.names) {
      case Names::kRunning:
        return camera.prefix + Numbered("_%04ld.MP4", camera.number);
      case Names::kChapterInFront:
        return camera.prefix.substr(1) + Numbered("%02ld%04ld.MP4", chapter + 1, camera.number);
      case Names::kFirstPrefix:
        return number == 0
                   ? camera.prefix + "X" + Numbered("%04ld.MP4", camera.number)
                   : camera.prefix.substr(1) + Numbered("%02ld%04ld.MP4", chapter, camera.number);
      case Names::kChapterBehind:
        return camera.prefix + Numbered("%04ld_%02ld.MP4", camera.number, chapter + 1);
      case Names::kDated: {
        const auto s = static_cast<std::int64_t>(number == 0 ? begin : camera.now);
        return Numbered("VID_202405%02ld_", s / 86400 % 28 + 1) +
               Numbered("%02ld%02ld", s / 3600 % 24, s / 60 % 60) + Numbered("%02ld", s % 60) +
               chance_.Text(3, 'A', 'Z') + ".MP4";
      }
      default:
        return chance_.Text(8, 'A', 'Z') + ".MP4";
    }
  }

  void Note(const Camera& camera) {
    card_.story += camera.description + ": clock " +
                   std::to_string(static_cast<int>(camera.clock)) + ", names " +
                   std::to_string(static_cast<int>(camera.names)) + ", timecode " +
                   std::to_string(static_cast<int>(camera.timecode)) + ", values " +
                   std::to_string(static_cast<int>(camera.values)) + ", limit " +
                   std::to_string(camera.sizeLimit) + "/" + std::to_string(camera.frameLimit) +
                   (camera.isShared ? " shared; " : "; ");
    made_.push_back(camera);
    ++cameraCount_;
  }

  // Whether there is enough to find a recording by: a clock, and a limit that is known. Where all
  // times are equal, numbers give the order.
  void Judge() {
    std::map<std::string, std::size_t> full;  // clips at the limit, by description
    for (std::size_t i = 0; i < card_.clips.size(); ++i) {
      if (isFull_[i]) ++full[card_.clips[i].traits.description];
    }
    for (std::size_t i = 0; i < card_.clips.size(); ++i) {
      const Camera& camera = made_[cameraOf_[i]];
      const bool hasClock = camera.clock == Clock::kStart || camera.clock == Clock::kEnd;
      const bool hasOrder = camera.clock == Clock::kOne && camera.names != Names::kDated &&
                            camera.names != Names::kLetters && camera.names != Names::kFirstPrefix;
      const bool hasLimit = !camera.isShared || full[camera.description] >= 2;
      card_.recordings[card_.clips[i].recording].isEvident = (hasClock || hasOrder) && hasLimit;
    }
  }

  void Lose() {
    if (!chance_.Of(0.1)) return;
    const auto lost = static_cast<std::size_t>(
        chance_.Whole(0, static_cast<std::int64_t>(card_.clips.size()) - 1));
    MadeRecording& recording = card_.recordings[card_.clips[lost].recording];
    --recording.clips;
    recording.isWhole = recording.isEvident = false;
    card_.clips.erase(card_.clips.begin() + static_cast<std::ptrdiff_t>(lost));
  }

  void AddCopies() {
    if (!chance_.Of(0.1)) return;
    const std::size_t count = card_.clips.size();
    for (std::size_t i = 0; i < count; ++i) {
      if (!chance_.Of(0.3)) continue;
      MadeClip copy = card_.clips[i];
      const std::string& path = copy.traits.path;
      copy.traits.path = "card/backup" + path.substr(path.rfind('/'));
      card_.clips.push_back(std::move(copy));
    }
  }

  // Somebody gave all clips new names: in the order in which they lie there or, where clocks tell
  // the truth, in one of his own.
  void Rename() {
    const bool areTimed = std::all_of(made_.begin(), made_.end(), [](const Camera& camera) {
      return camera.clock == Clock::kStart || camera.clock == Clock::kEnd;
    });
    if (areTimed) chance_.Shuffle(card_.clips);
    for (std::size_t i = 0; i < card_.clips.size(); ++i) {
      card_.clips[i].traits.path =
          "card/" + Numbered("%03ld.MP4", static_cast<std::int64_t>(i + 1));
    }
    for (MadeRecording& recording : card_.recordings) recording.isEvident = false;
  }

  Chance chance_;
  MadeCard card_;
  Camera first_;
  double start_ = 0;
  std::size_t cameraCount_ = 0;
  std::vector<Camera> made_;
  std::vector<std::size_t> cameraOf_;
  std::vector<bool> isFull_;
};

}  // namespace

MadeCard MakeCard(std::uint64_t seed) { return CardMaker(seed).Make(); }

}  // namespace support
