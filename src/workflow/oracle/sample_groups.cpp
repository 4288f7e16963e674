#include "workflow/oracle/sample_groups.h"

#include <algorithm>
#include <tuple>

#include "foundation/fourcc.h"
#include "workflow/oracle/sample_stream.h"

namespace clipchain::samples {

namespace {

// In a fragment, greater indexes mean descriptions of the fragment itself (clause 8.9.4).
constexpr std::uint32_t kOfFragment = 0x10000;

std::string Text(View bytes) { return std::string(bytes.begin(), bytes.end()); }

View From(View bytes, std::size_t at) { return bytes.subspan(std::min(at, bytes.size())); }

// What an "sgpd" says. Version 2 says too which description samples have of which nothing is said.
struct Named {
  // Of the descriptions, in order.
  std::vector<unsigned int> numbers;
  // Counts from 1; 0 for none.
  std::uint32_t usual = 0;
};

// From version 1 on it says how long each description is; before, the whole box speaks, so that
// they are known again where all of it is the same.
Named NamesIn(View body, GroupNames& names) {
  Named named;
  std::vector<unsigned int>& found = named.numbers;
  const std::string type = Text(body.subspan(4, 4));
  const bool sized = body[0] != 0;
  const std::size_t at = 8 + 4 * std::min<std::size_t>(body[0], 2);
  if (body[0] == 2) named.usual = U32(body, 12);
  View rest = From(body, at + 4);
  if (!sized) {
    const std::string whole = type + std::to_string(names.Of(type + Text(body))) + "/";
    const std::size_t count = std::min<std::size_t>(U32(body, at), rest.size());
    for (std::size_t i = 0; i < count; ++i) found.push_back(names.Of(whole + std::to_string(i)));
    return named;
  }
  const std::uint32_t common = U32(body, 8);
  for (std::uint32_t left = U32(body, at); left > 0 && !rest.empty(); --left) {
    const std::size_t header = common == 0 ? 4 : 0;
    const std::size_t size = common == 0 ? U32(rest, 0) : common;
    if (rest.size() < header || rest.size() - header < size) break;
    found.push_back(names.Of(type + Text(rest.subspan(header, size))));
    rest = rest.subspan(header + size);
  }
  return named;
}

// By type.
using Descriptions = std::map<std::uint32_t, Named>;

Descriptions DescriptionsIn(View boxes, GroupNames& names) {
  Descriptions all;
  BoxView box;
  while (TakeBox(boxes, box)) {
    if (box.type != FourCc("sgpd") || box.body.size() < 12) continue;
    all.emplace(U32(box.body, 4), NamesIn(box.body, names));
  }
  return all;
}

unsigned int NumberIn(const Descriptions& all, std::uint32_t type, std::uint32_t index) {
  const auto found = all.find(type);
  if (index == 0 || found == all.end() || index > found->second.numbers.size()) return 0;
  return found->second.numbers[index - 1];
}

class ExtrasReader {
 public:
  ExtrasReader(GroupNames& names, SampleExtras& extras) : names_(names), extras_(extras) {}

  // The boxes beside a sample table or in a fragment that begins with that sample and has so many.
  void Take(View boxes, Number first, Number count, bool fragment) {
    const Descriptions own = DescriptionsIn(boxes, names_);
    if (!fragment) ofTrack_ = own;
    View rest = boxes;
    BoxView box;
    while (TakeBox(rest, box)) {
      if (box.type == FourCc("sbgp")) TakeGroups(box.body, first, own);
      if (box.type == FourCc("csgp")) TakePatterns(box.body, first, first + count, own);
      if (box.type == FourCc("subs")) TakeSubSamples(box.body, first);
    }
    TakeUsual(own, {}, first, first + count);
    if (fragment) TakeUsual(ofTrack_, own, first, first + count);
  }

 private:
  void TakeGroups(View body, Number first, const Descriptions& own);
  void TakePatterns(View body, Number first, Number end, const Descriptions& own);
  void TakeUsual(const Descriptions& all, const Descriptions& inTheirPlace, Number first,
                 Number end);
  void TakeSubSamples(View body, Number first);

  GroupNames& names_;
  SampleExtras& extras_;
  Descriptions ofTrack_;
  std::map<GroupKey, Number> covered_;
};

void ExtrasReader::TakeGroups(View body, Number first, const Descriptions& own) {
  const bool parameter = !body.empty() && body[0] == 1;
  const std::size_t at = parameter ? 12 : 8;
  const std::uint32_t type = U32(body, 4);
  const GroupKey key = {type, parameter ? U32(body, 8) : 0};
  std::vector<GroupRun>& runs = extras_.groups[key];
  Number& covered = covered_[key];
  if (first > covered) runs.push_back({first - covered, 0});
  covered = std::max(covered, first);
  View entries = From(body, at + 4);
  for (std::uint32_t left = U32(body, at); left > 0 && entries.size() >= 8; --left) {
    const std::uint32_t index = U32(entries, 4);
    const bool local = index > kOfFragment;
    const unsigned int group =
        NumberIn(local ? own : ofTrack_, type, local ? index - kOfFragment : index);
    runs.push_back({U32(entries, 0), group});
    covered += U32(entries, 0);
    entries = entries.subspan(8);
  }
}

// The compact form (clause 8.9.5): widths in bits, then how long each pattern is and for how many
// samples it goes round, then what the patterns are made of.
void ExtrasReader::TakePatterns(View body, Number first, Number end, const Descriptions& own) {
  const std::uint32_t flags = U32(body, 0) & 0xFFFFFF;
  const bool parameter = (flags & 0x40) != 0;
  const std::size_t at = parameter ? 12 : 8;
  const std::uint32_t type = U32(body, 4);
  const GroupKey key = {type, parameter ? U32(body, 8) : 0};
  const View bits = From(body, at + 4);
  const auto width = [flags](unsigned int shift) { return std::size_t{4} << (flags >> shift & 3); };
  const std::size_t step = width(4) + width(2);
  const std::size_t patterns = std::min<std::size_t>(U32(body, at), bits.size() * 8 / step);
  const auto number = [bits](std::size_t from, std::size_t count) {
    std::uint32_t value = 0;
    for (std::size_t i = from; i < from + count; ++i)
      value = value << 1 | (i / 8 < bits.size() ? bits[i / 8] >> (7 - i % 8) & 1 : 0);
    return value;
  };
  std::vector<GroupRun>& runs = extras_.groups[key];
  Number& covered = covered_[key];
  if (first > covered) runs.push_back({first - covered, 0});
  covered = std::max(covered, first);
  const std::uint32_t top = (flags & 0x80) != 0 ? 1U << (width(0) - 1) : 0;
  std::size_t begin = patterns * step;
  for (std::size_t i = 0; i < patterns; ++i) {
    const std::size_t length = number(i * step, width(4));
    const Number samples = number(i * step + width(4), width(2));
    if (length == 0 || begin / 8 >= bits.size()) return;
    const Number stop = std::min(end, covered + samples);
    for (std::size_t k = 0; covered < stop; ++k, ++covered) {
      const std::uint32_t index = number(begin + k % length * width(0), width(0));
      const bool local = (index & top) != 0;
      const unsigned int group =
          local ? NumberIn(own, type, index & ~top) : NumberIn(ofTrack_, type, index);
      if (runs.empty() || runs.back().group != group) runs.push_back({0, group});
      ++runs.back().count;
    }
    begin += length * width(0);
  }
}

// Samples of which no table speaks are of the group that goes without saying.
void ExtrasReader::TakeUsual(const Descriptions& all, const Descriptions& inTheirPlace,
                             Number first, Number end) {
  for (const auto& [type, named] : all) {
    const unsigned int group = NumberIn(all, type, named.usual);
    if (group == 0 || inTheirPlace.count(type) != 0) continue;
    auto spoken = covered_.lower_bound({type, 0});
    if (spoken == covered_.end() || spoken->first.first != type)
      spoken = covered_.emplace(GroupKey{type, 0}, 0).first;
    for (; spoken != covered_.end() && spoken->first.first == type; ++spoken) {
      Number& covered = spoken->second;
      std::vector<GroupRun>& runs = extras_.groups[spoken->first];
      if (covered < first) runs.push_back({first - covered, 0});
      covered = std::max(covered, first);
      if (covered < end) runs.push_back({end - covered, group});
      covered = std::max(covered, end);
    }
  }
}

void ExtrasReader::TakeSubSamples(View body, Number first) {
  constexpr Number kPrime = 0x100000001B3;
  const bool wide = !body.empty() && body[0] == 1;
  const std::size_t width = wide ? 10 : 8;
  const std::uint32_t flags = U32(body, 0) & 0xFFFFFF;
  View rest = From(body, 8);
  // Counts from 1 from here on.
  Number sample = first;
  for (std::uint32_t left = U32(body, 4); left > 0 && rest.size() >= 6; --left) {
    sample += U32(rest, 0);
    const std::uint32_t count = U16(rest, 4);
    rest = rest.subspan(6);
    if (rest.size() < count * width) break;
    Number hash = 0xCBF29CE484222325;
    for (std::uint32_t i = 0; i < count; ++i) {
      const std::size_t at = i * width;
      const Number size = wide ? U32(rest, at) : U16(rest, at);
      const Number others = Number{U16(rest, at + width - 6)} << 32 | U32(rest, at + width - 4);
      hash = ((hash ^ size) * kPrime ^ others) * kPrime;
    }
    rest = rest.subspan(count * width);
    if (count > 0) extras_.subSamples.push_back({sample - 1, flags, hash});
  }
}

}  // namespace

bool ReadExtras(const SampleFile& file, const TrackView& track, GroupNames& names,
                SampleExtras& extras) {
  ExtrasReader reader(names, extras);
  ProtectionReader protection(file, track, extras.protection);
  Number first = SizeTable(track.table).Count();
  reader.Take(track.table, 0, first, false);
  protection.Take(track.table, track.body, first, 0);
  std::vector<unsigned char> bytes;
  for (const Fragment& fragment : track.fragments) {
    bytes.resize(fragment.size);
    if (!file.File().Read(fragment.position, bytes.data(), bytes.size())) return false;
    reader.Take(bytes, first, fragment.samples, true);
    protection.Take(bytes, {}, fragment.samples, fragment.base);
    first += fragment.samples;
  }
  std::sort(extras.subSamples.begin(), extras.subSamples.end(),
            [](const SubSamples& a, const SubSamples& b) {
              return std::tuple(a.sample, a.flags) < std::tuple(b.sample, b.flags);
            });
  return true;
}

}  // namespace clipchain::samples
