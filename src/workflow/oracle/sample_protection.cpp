#include "workflow/oracle/sample_protection.h"

#include <algorithm>
#include <set>
#include <utility>

#include "foundation/fourcc.h"
#include "workflow/oracle/sample_stream.h"

namespace clipchain::samples {

namespace {

View From(View bytes, std::size_t at) { return bytes.subspan(std::min(at, bytes.size())); }

// "sinf" is the one box of an entry with "schi" and "tenc" in it, wherever the fields of the entry
// end. Whatever looks like it is looked into once.
std::optional<std::size_t> VectorSizeIn(View entry) {
  for (std::size_t at = 8; at + 8 <= entry.size();) {
    BoxView box;
    View rest = entry.subspan(at);
    if (U32(rest, 4) != FourCc("sinf") || !TakeBox(rest, box)) {
      ++at;
      continue;
    }
    const View keys = FindBox(FindBox(box.body, FourCc("schi")).body, FourCc("tenc")).body;
    if (keys.size() >= 8 && keys[6] != 0) return keys[7];
    at += box.whole.size();
  }
  return std::nullopt;
}

// Groups with keys of their own may have vectors of another size.
void AddGroups(View boxes, std::set<std::size_t>& sizes) {
  BoxView box;
  while (TakeBox(boxes, box)) {
    if (box.type != FourCc("sgpd") || U32(box.body, 4) != FourCc("seig")) continue;
    // Of version 1 and one length each, as they usually are; else it is not known.
    constexpr std::size_t kLength = 20;
    View entries = From(box.body, 16);
    if (box.body.size() < 16 || box.body[0] != 1 || U32(box.body, 8) != kLength) {
      sizes.insert({0, 1});
      continue;
    }
    for (; entries.size() >= kLength; entries = entries.subspan(kLength))
      if (entries[2] != 0) sizes.insert(entries[3]);
  }
}

}  // namespace

struct ProtectionReader::Part {
  Number samples;
  View sizes;
  View places;
  View own;
  // What follows from "saiz".
  std::uint32_t uniform = 0;
  Number count = 0;
  View spelled;
  std::vector<Number> groups;
  // Where the part's bytes begin among those that are told.
  std::size_t begin;

  std::uint32_t SizeOf(Number sample) const {
    if (sample >= count) return 0;
    return uniform != 0 ? uniform : spelled[static_cast<std::size_t>(sample)];
  }
  Number Sum(Number from, Number to) const {
    if (uniform != 0)
      return std::min(to, count) > from ? (std::min(to, count) - from) * uniform : 0;
    Number sum = 0;
    for (Number i = from; i < std::min(to, count); ++i) sum += SizeOf(i);
    return sum;
  }
};

ProtectionReader::ProtectionReader(const SampleFile& file, const TrackView& track,
                                   ToldProtection& told)
    : file_(file), told_(told) {
  std::set<std::size_t> sizes;
  for (const View entry : track.entries)
    if (const auto size = VectorSizeIn(entry)) sizes.insert(*size);
  AddGroups(track.table, sizes);
  if (sizes.size() == 1) vectorSize_ = *sizes.begin();
}

void ProtectionReader::Fail(std::string why) {
  if (!told_.wrong) told_.wrong = std::move(why);
}

void ProtectionReader::AddRun(Number count, std::uint32_t size) {
  if (count == 0) return;
  if (!told_.runs.empty() && told_.runs.back().size == size) {
    told_.runs.back().count += count;
  } else {
    told_.runs.push_back({count, size});
  }
}

void ProtectionReader::Take(View boxes, View own, Number samples, Number base) {
  Part part{samples,
            FindBox(boxes, FourCc("saiz")).body,
            FindBox(boxes, FourCc("saio")).body,
            FindBox(own, FourCc("senc")).body,
            0,
            0,
            {},
            {},
            told_.bytes.size()};
  if (part.own.empty()) part.own = FindBox(boxes, FourCc("senc")).body;
  if (part.sizes.empty() && part.places.empty() && part.own.empty()) return AddRun(samples, 0);
  std::vector<std::uint32_t> walked;
  if (!part.sizes.empty()) {
    TakeSizes(part);
    if (!part.places.empty()) {
      if (U32(part.places, (U32(part.places, 0) & 1) != 0 ? 12 : 4) != 1)
        part.groups = GroupsIn(boxes);
      TakePlaced(part, base);
    } else {
      const View bytes = From(part.own, 8);
      told_.bytes.insert(told_.bytes.end(), bytes.begin(), bytes.end());
    }
    if (told_.bytes.size() - part.begin != part.Sum(0, samples))
      Fail("tells less of its protected samples than it says");
    if (!part.own.empty()) CompareOwn(part);
  } else {
    const bool isWalked = part.places.empty() && WalkOwn(part, walked);
    if (!isWalked) Fail("does not tell how its samples are protected in a way that can be read");
    const View bytes = From(part.own, 8);
    told_.bytes.insert(told_.bytes.end(), bytes.begin(), bytes.end());
    for (const std::uint32_t size : walked) AddRun(1, size);
    AddRun(samples - std::min<Number>(samples, walked.size()), 0);
  }
}

void ProtectionReader::TakeSizes(Part& part) {
  const std::size_t at = (U32(part.sizes, 0) & 1) != 0 ? 12 : 4;
  part.uniform = at < part.sizes.size() ? part.sizes[at] : 0;
  part.count = U32(part.sizes, at + 1);
  part.spelled = From(part.sizes, at + 5);
  if (part.count > part.samples || (part.uniform == 0 && part.count > part.spelled.size())) {
    Fail("tells sizes for more samples than it has");
    part.count = 0;
  }
  if (part.uniform != 0) AddRun(part.count, part.uniform);
  for (Number i = 0; part.uniform == 0 && i < part.count; ++i) AddRun(1, part.SizeOf(i));
  AddRun(part.samples - part.count, 0);
}

// One place is that of all, else there is one for each chunk or run.
void ProtectionReader::TakePlaced(Part& part, Number base) {
  const bool wide = part.places[0] == 1;
  const std::size_t at = (U32(part.places, 0) & 1) != 0 ? 12 : 4;
  const std::uint32_t count = U32(part.places, at);
  const View places = From(part.places, at + 4);
  const std::size_t width = wide ? 8 : 4;
  if (count > places.size() / width || (count != 1 && count != part.groups.size()))
    return Fail("tells places of other numbers of samples than it has");
  Number sample = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const Number end = count == 1 ? part.samples : sample + part.groups[i];
    const Number size = part.Sum(sample, end);
    sample = end;
    const Number place = base + (wide ? U64(places, i * width) : U32(places, i * width));
    const std::size_t before = told_.bytes.size();
    // What is told is no more than the file holds, whatever points at it.
    if (size > file_.Size() || before > file_.Size() - size)
      return Fail("tells more of its protected samples than it has bytes");
    told_.bytes.resize(before + static_cast<std::size_t>(size));
    if (size > 0 && !file_.File().Read(place, &told_.bytes[before], static_cast<std::size_t>(size)))
      return Fail("tells places that it does not have");
  }
}

// Some readers go by the places, others by this box alone: both must find the same.
void ProtectionReader::CompareOwn(Part& part) {
  const View bytes = From(part.own, 8);
  if (!std::equal(bytes.begin(), bytes.end(),
                  told_.bytes.begin() + static_cast<std::ptrdiff_t>(part.begin), told_.bytes.end()))
    return Fail("tells otherwise in \"senc\" how its samples are protected than elsewhere");
  std::vector<std::uint32_t> walked;
  if (!vectorSize_) return;
  if (!WalkOwn(part, walked)) return Fail("has a box \"senc\" that can't be read");
  // Samples that are not protected have nothing in it.
  auto next = walked.begin();
  for (Number i = 0; i < part.count; ++i) {
    if (part.SizeOf(i) == 0) continue;
    if (next == walked.end() || *next++ != part.SizeOf(i))
      return Fail("has other sizes in \"senc\" than in \"saiz\"");
  }
}

// The sizes of what stands in "senc": vectors, and which parts of each sample are in the clear.
bool ProtectionReader::WalkOwn(Part& part, std::vector<std::uint32_t>& sizes) const {
  if (!vectorSize_ || part.own.size() < 8) return false;
  const bool inParts = (U32(part.own, 0) & 2) != 0;
  View rest = From(part.own, 8);
  while (!rest.empty()) {
    const std::size_t size =
        *vectorSize_ + (inParts ? 2 + 6 * std::size_t{U16(rest, *vectorSize_)} : 0);
    if (size == 0 || size > rest.size()) return false;
    sizes.push_back(static_cast<std::uint32_t>(size));
    rest = rest.subspan(size);
  }
  return sizes.size() <= U32(part.own, 4) && U32(part.own, 4) <= part.samples;
}

std::vector<Number> ProtectionReader::GroupsIn(View boxes) const {
  std::vector<Number> groups;
  BoxView box;
  for (View rest = boxes; TakeBox(rest, box);) {
    TrackRun run;
    if (box.type == FourCc("trun") && run.Read(box.body)) groups.push_back(run.count);
  }
  if (FindBox(boxes, FourCc("stsz")).type == 0 && FindBox(boxes, FourCc("stz2")).type == 0)
    return groups;
  ChunkCursor chunks(boxes);
  for (Number left = 0; (left = chunks.Left()) > 0; chunks.Skip(left, 0)) groups.push_back(left);
  return groups;
}

}  // namespace clipchain::samples
