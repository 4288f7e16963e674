#include "support/movie_oracle.h"

#include <algorithm>
#include <set>
#include <stdexcept>

namespace support {

namespace {

struct Range {
  std::size_t begin;  // of the contents
  std::size_t end;
};

void Require(bool condition, const std::string& what) {
  if (!condition) throw std::runtime_error(what);
}

std::string Type(const Bytes& file, std::size_t at) {
  Require(at <= file.size() && file.size() - at >= 8, "no type");
  return {file.begin() + static_cast<std::ptrdiff_t>(at + 4),
          file.begin() + static_cast<std::ptrdiff_t>(at + 8)};
}

// Calls use(type, contents) for each box in the range.
template <class Use>
void ForEachBox(const Bytes& file, Range range, Use use) {
  std::size_t at = range.begin;
  while (at < range.end) {
    Require(range.end - at >= 8, "stray bytes");
    std::uint64_t size = ReadU32(file, at);
    std::size_t header = 8;
    if (size == 1) {
      size = ReadU64(file, at + 8);
      header = 16;
    } else if (size == 0) {
      size = range.end - at;
    }
    Require(size >= header && size <= range.end - at, "box size of " + Type(file, at));
    use(Type(file, at), Range{at + header, at + static_cast<std::size_t>(size)});
    at += static_cast<std::size_t>(size);
  }
}

Range Find(const Bytes& file, Range range, const std::vector<std::string>& path,
           bool required = true) {
  for (const std::string& step : path) {
    Range found{0, 0};
    ForEachBox(file, range, [&](const std::string& type, Range contents) {
      if (type == step && found.end == 0) found = contents;
    });
    Require(!required || found.end != 0, "no " + step);
    if (found.end == 0) return found;
    range = found;
  }
  return range;
}

std::uint64_t Duration(const Bytes& file, Range box, bool isTrack) {
  const std::size_t extra = isTrack ? 4 : 0;
  return file.at(box.begin) == 1 ? ReadU64(file, box.begin + 24 + extra)
                                 : ReadU32(file, box.begin + 16 + extra);
}

std::vector<std::uint32_t> Expand(const Bytes& file, Range table, std::size_t samples,
                                  std::uint32_t missing) {
  std::vector<std::uint32_t> values;
  if (table.end != 0) {
    const std::uint32_t runs = ReadU32(file, table.begin + 4);
    Require(table.end - table.begin == 8 + std::size_t{runs} * 8, "run table");
    for (std::uint32_t i = 0; i < runs; ++i) {
      const std::uint32_t count = ReadU32(file, table.begin + 8 + i * 8);
      Require(count <= samples - values.size(), "run counts");
      values.insert(values.end(), count, ReadU32(file, table.begin + 12 + i * 8));
    }
    Require(values.size() == samples, "run counts do not cover the samples");
  }
  values.resize(samples, missing);
  return values;
}

std::vector<std::uint32_t> SampleSizes(const Bytes& file, Range stsz) {
  const std::uint32_t uniform = ReadU32(file, stsz.begin + 4);
  const std::uint32_t count = ReadU32(file, stsz.begin + 8);
  std::vector<std::uint32_t> sizes;
  for (std::uint32_t i = 0; i < count; ++i) {
    Require(i < file.size() || uniform == 0, "more samples than bytes");
    sizes.push_back(uniform != 0 ? uniform : ReadU32(file, stsz.begin + 12 + i * 4));
  }
  return sizes;
}

std::vector<std::uint64_t> SampleOffsets(const Bytes& file, Range stsc,
                                         const std::vector<std::uint64_t>& chunks,
                                         const std::vector<std::uint32_t>& sizes) {
  std::vector<std::uint64_t> offsets;
  const std::uint32_t entries = ReadU32(file, stsc.begin + 4);
  for (std::uint32_t e = 0; e < entries; ++e) {
    const std::uint32_t first = ReadU32(file, stsc.begin + 8 + e * 12);
    const std::uint32_t perChunk = ReadU32(file, stsc.begin + 12 + e * 12);
    const std::size_t next =
        e + 1 < entries ? ReadU32(file, stsc.begin + 20 + e * 12) : chunks.size() + 1;
    Require(first >= 1 && next >= first && next <= chunks.size() + 1, "chunk numbers");
    for (std::size_t chunk = first; chunk < next; ++chunk) {
      std::uint64_t at = chunks[chunk - 1];
      for (std::uint32_t i = 0; i < perChunk; ++i) {
        Require(offsets.size() < sizes.size(), "more samples in chunks than sizes");
        offsets.push_back(at);
        at += sizes[offsets.size() - 1];
      }
    }
  }
  Require(offsets.size() == sizes.size(), "chunks do not hold all samples");
  return offsets;
}

// Which of two tables counts is nobody's to say.
void RequireOneOfEachKind(const Bytes& file, Range stbl) {
  std::set<std::string> kinds;
  ForEachBox(file, stbl, [&](const std::string& type, Range) {
    const std::string kind = type == "co64" ? "stco" : type == "stz2" ? "stsz" : type;
    Require(kinds.insert(kind).second, "two tables of a kind: " + type);
  });
}

OracleTrack ReadTrack(const Bytes& file, Range trak) {
  const Range header = Find(file, trak, {"tkhd"});
  const Range stbl = Find(file, trak, {"mdia", "minf", "stbl"});
  RequireOneOfEachKind(file, stbl);
  OracleTrack track;
  track.id = ReadU32(file, header.begin + (file.at(header.begin) == 1 ? 20 : 12));
  track.trackDuration = Duration(file, header, true);
  track.mediaDuration = Duration(file, Find(file, trak, {"mdia", "mdhd"}), false);
  track.wideMediaHeader = file.at(Find(file, trak, {"mdia", "mdhd"}).begin) == 1;
  track.entryType = Type(file, Find(file, stbl, {"stsd"}).begin + 8);

  const Range narrow = Find(file, stbl, {"stco"}, false);
  track.co64 = narrow.end == 0;
  const Range chunkBox = track.co64 ? Find(file, stbl, {"co64"}) : narrow;
  const std::uint32_t chunks = ReadU32(file, chunkBox.begin + 4);
  for (std::uint32_t i = 0; i < chunks; ++i) {
    track.chunkOffsets.push_back(track.co64 ? ReadU64(file, chunkBox.begin + 8 + i * 8)
                                            : ReadU32(file, chunkBox.begin + 8 + i * 4));
  }
  const Range stsz = Find(file, stbl, {"stsz"});
  const Range stsc = Find(file, stbl, {"stsc"});
  const auto sizes = SampleSizes(file, stsz);
  const auto offsets = SampleOffsets(file, stsc, track.chunkOffsets, sizes);
  track.commonSize = ReadU32(file, stsz.begin + 4);
  track.chunksFromFirst =
      chunks == 0 || (ReadU32(file, stsc.begin + 4) != 0 && ReadU32(file, stsc.begin + 8) == 1);
  const auto deltas = Expand(file, Find(file, stbl, {"stts"}), sizes.size(), 0);
  const auto composition = Expand(file, Find(file, stbl, {"ctts"}, false), sizes.size(), 0);
  const Range stss = Find(file, stbl, {"stss"}, false);
  std::vector<bool> sync(sizes.size(), stss.end == 0);
  for (std::uint32_t i = 0; stss.end != 0 && i < ReadU32(file, stss.begin + 4); ++i) {
    sync.at(ReadU32(file, stss.begin + 8 + i * 4) - 1) = true;
  }
  std::uint64_t taken = 0;
  for (std::size_t i = 0; i < sizes.size(); ++i) {
    taken += sizes[i];
    Require(taken <= 4 * file.size(), "samples that share their bytes many times");
    Require(offsets[i] <= file.size() && sizes[i] <= file.size() - offsets[i],
            "a sample outside of the file");
    if (sizes[i] != 0) {
      track.mediaBegin = std::min(track.mediaBegin, offsets[i]);
      track.mediaEnd = std::max(track.mediaEnd, offsets[i] + sizes[i]);
    }
    const auto begin = file.begin() + static_cast<std::ptrdiff_t>(offsets[i]);
    track.samples.push_back({Bytes(begin, begin + sizes[i]), deltas[i], composition[i], sync[i]});
  }
  return track;
}

}  // namespace

OracleMovie ReadMovie(const Bytes& file) {
  OracleMovie movie;
  Range moov{0, 0};
  ForEachBox(file, {0, file.size()}, [&](const std::string& type, Range contents) {
    movie.topLevel.push_back(type);
    if (type == "moov") moov = contents;
  });
  Require(moov.end != 0, "no moov");
  const Range header = Find(file, moov, {"mvhd"});
  movie.timeScale = ReadU32(file, header.begin + (file.at(header.begin) == 1 ? 20 : 12));
  movie.duration = Duration(file, header, false);
  ForEachBox(file, moov, [&](const std::string& type, Range contents) {
    if (type == "trak") movie.tracks.push_back(ReadTrack(file, contents));
  });
  return movie;
}

}  // namespace support
