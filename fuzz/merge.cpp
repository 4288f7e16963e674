// Two to four inputs out of the bytes. A merge that says yes keeps the bytes of every sample and
// the sums of counts and durations, in a file that parses; two runs give the same bytes.
#include <algorithm>
#include <array>
#include <exception>
#include <optional>
#include <set>

#include "foundation/file_buffer.h"
#include "inputs.h"
#include "merge/m4lm.h"
#include "reader/mp4_file.h"
#include "support/memory_disk.h"
#include "support/movie_oracle.h"
#include "target.h"

using support::Bytes;
using support::MemoryDisk;
using support::OracleMovie;
using support::OracleTrack;

namespace {

constexpr char kOutput[] = "output.mp4";

struct Outcome {
  std::vector<std::int32_t> codes;
  std::optional<Bytes> file;

  bool operator==(const Outcome&) const = default;
};

Outcome Merge(const std::vector<Bytes>& inputs) {
  MemoryDisk& disk = MemoryDisk::Get();
  disk.Clear();
  void* handle = nullptr;
  fuzz::Require(m4lm_createHandle(&handle) == 0, "a merge can be made");
  Outcome outcome;
  outcome.codes.push_back(m4lm_setOutputPath(handle, kOutput));
  for (const Bytes& input : inputs) {
    outcome.codes.push_back(
        m4lm_inputMp4Data(handle, input.data(), static_cast<unsigned int>(input.size())));
    if (outcome.codes.back() != 0) break;
  }
  const bool refused = outcome.codes.back() != 0;
  if (!refused) outcome.codes.push_back(m4lm_finalize(handle));
  static_cast<void>(m4lm_deleteHandle(handle));
  const Bytes* written = disk.Find(kOutput);
  fuzz::Require(!refused || written == nullptr, "a refused input leaves no output");
  if (written != nullptr) outcome.file = *written;
  fuzz::Require(disk.OpenHandles() == 0, "every file is closed");
  return outcome;
}

bool Parses(const Bytes& file) {
  QUIRVA::CFileBuffer source;
  MP4G::CMp4File parsed;
  return source.SetData(file.data(), static_cast<unsigned int>(file.size())) == S_OK &&
         parsed.SetReader(&source) == S_OK;
}

// The media of all inputs in order, each from its last "mdat".
Bytes MediaOf(const std::vector<Bytes>& inputs) {
  Bytes media;
  for (const Bytes& input : inputs) {
    const fuzz::Range range = fuzz::MediaRange(input);
    const Bytes part = support::Slice(input, range.begin, range.end);
    media.insert(media.end(), part.begin(), part.end());
  }
  return media;
}

std::optional<OracleMovie> Read(const Bytes& file) {
  try {
    return support::ReadMovie(file);
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

// What a table of sample sizes turns into, merge by merge: the defined behaviour, which loses sizes
// where a common size meets a table.
struct SizeTable {
  std::uint32_t common = 0;
  std::uint32_t count = 0;
  std::vector<std::uint32_t> entries;

  void Append(const SizeTable& next) {
    if (common == 0 && next.common == 0) {
      entries.insert(entries.end(), next.entries.begin(), next.entries.end());
    } else if (common == next.common) {
      count += next.count;
      return;
    } else {
      if (common != 0) entries.insert(entries.end(), count, common);
      entries.insert(entries.end(), next.count, next.common);
      common = 0;
    }
    count = static_cast<std::uint32_t>(entries.size());
    const bool equal = std::all_of(entries.begin(), entries.end(),
                                   [this](std::uint32_t size) { return size == entries.front(); });
    if (equal && !entries.empty()) common = entries.front();
  }

  std::vector<std::uint32_t> Sizes() const {
    return common != 0 ? std::vector<std::uint32_t>(count, common) : entries;
  }
};

SizeTable TableOf(const OracleTrack& track) {
  SizeTable table;
  table.common = track.commonSize;
  table.count = static_cast<std::uint32_t>(track.samples.size());
  if (table.common != 0) return table;
  for (const support::OracleSample& sample : track.samples)
    table.entries.push_back(static_cast<std::uint32_t>(sample.bytes.size()));
  return table;
}

// Whether an input is one whose samples a merge can keep: they lie in the media that is copied, no
// two tracks share an identifier, the chunks are counted from the first, and there is one movie.
bool IsSound(const Bytes& input, const OracleMovie& movie) {
  if (fuzz::MayHaveSeveralMovies(input)) return false;
  const fuzz::Range media = fuzz::MediaRange(input);
  std::set<std::uint32_t> ids;
  return std::all_of(movie.tracks.begin(), movie.tracks.end(), [&](const OracleTrack& track) {
    const bool inside =
        track.mediaEnd == 0 || (track.mediaBegin >= media.begin && track.mediaEnd <= media.end);
    return inside && track.chunksFromFirst && ids.insert(track.id).second;
  });
}

const OracleTrack* PartnerOf(const OracleTrack& track, const OracleMovie& movie,
                             std::set<const OracleTrack*>& used) {
  for (const OracleTrack& candidate : movie.tracks)
    if (candidate.entryType == track.entryType && used.insert(&candidate).second) return &candidate;
  return nullptr;
}

// A track of the output as it must be.
struct Expected {
  explicit Expected(const OracleTrack& first)
      : table(TableOf(first)),
        samples(first.samples),
        duration(first.mediaDuration),
        wide(first.wideMediaHeader) {}

  void Append(const OracleTrack& next) {
    table.Append(TableOf(next));
    samples.insert(samples.end(), next.samples.begin(), next.samples.end());
    duration += next.mediaDuration;
  }
  bool KeepsItsSizes() const {
    const std::vector<std::uint32_t> sizes = table.Sizes();
    return std::equal(sizes.begin(), sizes.end(), samples.begin(), samples.end(),
                      [](std::uint32_t size, const auto& s) { return size == s.bytes.size(); });
  }

  SizeTable table;
  std::vector<support::OracleSample> samples;
  std::uint64_t duration;
  bool wide;
};

void CheckTrack(const OracleTrack& merged, const Expected& expected) {
  fuzz::Require(merged.samples.size() == expected.samples.size(), "no sample is lost");
  fuzz::Require(merged.samples == expected.samples, "every sample keeps its bytes and times");
  const std::uint64_t duration = expected.duration & (expected.wide ? ~0ull : 0xFFFFFFFFull);
  fuzz::Require(merged.mediaDuration == duration, "the durations add up");
}

void CheckSamples(const std::vector<Bytes>& inputs, const Bytes& file) {
  std::vector<Expected> tracks;
  std::vector<OracleMovie> movies;
  for (const Bytes& input : inputs) {
    std::optional<OracleMovie> movie = Read(input);
    if (!movie || !IsSound(input, *movie)) return;
    movies.push_back(std::move(*movie));
  }
  for (const OracleTrack& track : movies.front().tracks) tracks.emplace_back(track);
  for (std::size_t i = 1; i < movies.size(); ++i) {
    std::set<const OracleTrack*> used;
    for (std::size_t t = 0; t < tracks.size(); ++t) {
      const OracleTrack* partner = PartnerOf(movies.front().tracks[t], movies[i], used);
      fuzz::Require(partner != nullptr, "every track has found its like");
      tracks[t].Append(*partner);
    }
  }
  const auto keepsItsSizes = [](const Expected& track) { return track.KeepsItsSizes(); };
  if (!std::all_of(tracks.begin(), tracks.end(), keepsItsSizes)) return;
  const std::optional<OracleMovie> merged = Read(file);
  fuzz::Require(merged.has_value(), "sound inputs give a sound output");
  fuzz::Require(merged->tracks.size() == tracks.size(), "no track is lost");
  for (std::size_t t = 0; t < tracks.size(); ++t) CheckTrack(merged->tracks[t], tracks[t]);
}

void CheckOutput(const std::vector<Bytes>& inputs, const Bytes& file) {
  fuzz::Require(fuzz::HasOddCompactSizes(inputs) || Parses(file), "the output parses");
  const Bytes media = MediaOf(inputs);
  const fuzz::Range range = fuzz::MediaRange(file);
  fuzz::Require(range.end <= file.size() && support::Slice(file, range.begin, range.end) == media,
                "the output's media are the inputs' in order");
  CheckSamples(inputs, file);
}

}  // namespace

void fuzz::RunInput(const unsigned char* data, std::size_t size) {
  std::vector<Bytes> inputs = SplitInputs(data, size);
  if (inputs.empty() || std::any_of(inputs.begin(), inputs.end(), ClaimsManyCommonSizes)) return;
  if (inputs.size() == 1) inputs.push_back(inputs.front());
  const Outcome outcome = Merge(inputs);
  Require(Merge(inputs) == outcome, "two runs give the same");
  const bool merged = outcome.codes.back() == 0;
  Require(!merged || outcome.file.has_value(), "a merge that says yes has an output");
  if (merged) CheckOutput(inputs, *outcome.file);
}
