// What clips say, made for tests: ClipSays("card/A0001.MP4").At(1000).For(60). A clip without any
// word is of one description, on card 0, of 100 MB, and says no more. One that runs for some time
// has about 1.5 MB a second.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "workflow/evidence/recordings.h"

namespace clipchain {

// A day in 2024, in seconds since the start of 1904.
inline constexpr std::uint64_t kSomeDay = 3'800'000'000;

class ClipSays : public ClipTraits {
 public:
  explicit ClipSays(const std::string& name) {
    path = name;
    description = "one";
    size = 100'000'000;
    for (const char c : name) movieDigest[0] = movieDigest[0] * 31 + static_cast<unsigned char>(c);
  }
  // `seconds` after kSomeDay.
  ClipSays& At(std::int64_t seconds) {
    created = kSomeDay + static_cast<std::uint64_t>(seconds);
    return *this;
  }
  ClipSays& Created(std::uint64_t time) {
    created = time;
    return *this;
  }
  ClipSays& For(double seconds, double framesPerSecond = 30) {
    length = static_cast<Nanoseconds>(seconds * kSecond + 0.5);
    frame = static_cast<Nanoseconds>(kSecond / framesPerSecond);
    size = static_cast<long long>(seconds * (1'500'000 + 997.0 * path[path.size() - 5]));
    return *this;
  }
  ClipSays& Bytes(long long bytes) {
    size = bytes;
    return *this;
  }
  ClipSays& On(unsigned int card) {
    volume = card;
    return *this;
  }
  ClipSays& Like(const std::string& other) {
    description = other;
    return *this;
  }
  ClipSays& Timecode(std::int64_t first, std::int64_t frames) {
    timecode = TimecodeTraits{first, (first + frames) % kDay, (first + frames) % kDay, kDay, 30};
    return *this;
  }
  // After kSomeDay, by the system's time of the file.
  ClipSays& Written(double seconds) {
    written = static_cast<Nanoseconds>(seconds * kSecond);
    return *this;
  }
  // Of its first and its last sample of metadata, in seconds.
  ClipSays& Stamped(double first, double last) {
    mediaClock = MediaClockTraits{static_cast<Nanoseconds>(first * kSecond),
                                  static_cast<Nanoseconds>(last * kSecond)};
    return *this;
  }
  ClipSays& Value(const std::string& place, const std::string& value) {
    values.push_back({place, value});
    return *this;
  }

  static constexpr std::int64_t kDay = 2'592'000;  // of 30 frames a second
};

inline std::vector<ProposedChain> ProposalsOf(const std::vector<ClipSays>& clips) {
  std::vector<EvidenceUnit> units;
  for (const ClipSays& clip : clips) units.push_back({{clip}});
  return ProposeChains(units);
}

// "likely: A0001.MP4 A0002.MP4", with "incomplete " in front where it is; one line for each.
inline std::string ProposedFrom(const std::vector<ClipSays>& clips) {
  std::string text;
  for (const ProposedChain& chain : ProposalsOf(clips)) {
    text += text.empty() ? "" : "\n";
    if (!chain.complete) text += "incomplete ";
    text += std::string(GradeName(chain.grade)) + ":";
    for (const std::size_t unit : chain.units)
      text += " " + clips[unit].path.substr(clips[unit].path.rfind('/') + 1);
  }
  return text;
}

// Proposes from two clips of a minute and a shorter one, all begun at one time, whose files were
// written so many seconds after it.
inline std::string ThreeOfOneTime(double a, double b, double c) {
  return ProposedFrom({ClipSays("c/A0001.MP4").At(0).For(60).Written(a),
                       ClipSays("c/A0002.MP4").At(0).For(60).Written(b),
                       ClipSays("c/A0003.MP4").At(0).For(20).Written(c)});
}

}  // namespace clipchain
