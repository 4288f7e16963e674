#include "workflow/oracle/extras_comparison.h"

#include <fmt/format.h>

#include <algorithm>

#include "foundation/fourcc.h"
#include "workflow/system/files.h"

namespace clipchain::samples {

std::optional<WrongTable> ExtrasComparison::Compare(const SampleExtras& clips, Number first,
                                                    Number count, const std::string& path) {
  if (auto wrong = CompareGroups(clips, first, count, path)) return wrong;
  if (auto wrong = CompareSubSamples(clips, first, count, path)) return wrong;
  return CompareProtection(clips.protection, first, count, path);
}

// The group of the sample at a place, and in `left` no more than how many from there on are in it.
unsigned int ExtrasComparison::GroupAt(const std::vector<GroupRun>& runs, GroupPlace& place,
                                       Number& left) {
  while (place.run < runs.size() && place.used >= runs[place.run].count) {
    ++place.run;
    place.used = 0;
  }
  // Samples behind the last run are in no group of that type (clause 8.9.2).
  if (place.run == runs.size()) return 0;
  left = std::min(left, runs[place.run].count - place.used);
  return runs[place.run].group;
}

void ExtrasComparison::Skip(GroupPlace& place, const std::vector<GroupRun>& runs, Number count) {
  for (Number left = count; count > 0; count -= left) {
    left = count;
    GroupAt(runs, place, left);
    place.used += left;
    if (place.run == runs.size()) return;
  }
}

std::optional<WrongTable> ExtrasComparison::CompareGroups(const SampleExtras& clips, Number first,
                                                          Number count, const std::string& path) {
  static const std::vector<GroupRun> kNone;
  // Of both: a type that one side alone has speaks of samples that the other leaves in no group.
  std::set<GroupKey> keys;
  for (const auto& [key, runs] : clips.groups) keys.insert(key);
  for (const auto& [key, runs] : ours_.groups) keys.insert(key);
  for (const GroupKey& key : keys) {
    const auto ours = ours_.groups.find(key);
    if (ours == ours_.groups.end() && dropped_.count(FourCc("sbgp")) != 0) continue;
    const auto found = clips.groups.find(key);
    const std::vector<GroupRun>& mine = ours == ours_.groups.end() ? kNone : ours->second;
    const std::vector<GroupRun>& theirs = found == clips.groups.end() ? kNone : found->second;
    GroupPlace& place = places_[key];
    GroupPlace inClip;
    // Run by run, however the runs of both are cut: one may speak of billions of samples.
    for (Number done = 0; done < count;) {
      Number left = count - done;
      const unsigned int group = GroupAt(mine, place, left);
      const unsigned int expected = GroupAt(theirs, inClip, left);
      if (group != expected)
        return WrongTable{
            "mdia/minf/stbl/sbgp",
            fmt::format("has sample {} in another group of type \"{}\" than {}", first + done + 1,
                        FourCcText(key.first), PrintablePath(path))};
      Skip(place, mine, left);
      Skip(inClip, theirs, left);
      done += left;
    }
  }
  return std::nullopt;
}

std::optional<WrongTable> ExtrasComparison::CompareSubSamples(const SampleExtras& clips,
                                                              Number first, Number count,
                                                              const std::string& path) {
  constexpr const char* kPlace = "mdia/minf/stbl/subs";
  const std::vector<SubSamples>& mine = ours_.subSamples;
  if (mine.empty() && dropped_.count(FourCc("subs")) != 0) return std::nullopt;
  for (const SubSamples& theirs : clips.subSamples) {
    const SubSamples expected = {theirs.sample + first, theirs.flags, theirs.hash};
    if (subSamples_ < mine.size() && mine[subSamples_] == expected) {
      ++subSamples_;
      continue;
    }
    return WrongTable{kPlace, fmt::format("has other parts of sample {} than {}",
                                          expected.sample + 1, PrintablePath(path))};
  }
  // What the result says more of these samples comes next in it.
  if (subSamples_ == mine.size() || mine[subSamples_].sample >= first + count) return std::nullopt;
  return WrongTable{kPlace, fmt::format("has parts of sample {} that {} does not have",
                                        mine[subSamples_].sample + 1, PrintablePath(path))};
}

// As with groups, of what is told of the sample at a place.
std::uint32_t ExtrasComparison::SizeAt(const ToldProtection& told, ProtectionPlace& place,
                                       Number& left) {
  while (place.run < told.runs.size() && place.used >= told.runs[place.run].count) {
    ++place.run;
    place.used = 0;
  }
  if (place.run == told.runs.size()) return 0;
  left = std::min(left, told.runs[place.run].count - place.used);
  return told.runs[place.run].size;
}

std::optional<WrongTable> ExtrasComparison::CompareProtection(const ToldProtection& clips,
                                                              Number first, Number count,
                                                              const std::string& path) {
  constexpr const char* kPlace = "mdia/minf/stbl/saiz";
  const ToldProtection& ours = ours_.protection;
  if (ours.wrong) return WrongTable{kPlace, *ours.wrong};
  if (clips.wrong)
    return WrongTable{kPlace, fmt::format("can't be compared with {}, which {}",
                                          PrintablePath(path), *clips.wrong)};
  ProtectionPlace inClip;
  for (Number done = 0; done < count;) {
    Number left = count - done;
    const std::uint32_t size = SizeAt(ours, protection_, left);
    const std::uint32_t expected = SizeAt(clips, inClip, left);
    if (size != expected)
      return WrongTable{
          kPlace, fmt::format("tells {} bytes of how sample {} is protected; {} tells {}", size,
                              first + done + 1, PrintablePath(path), expected)};
    const auto bytes = static_cast<std::size_t>(left * size);
    const auto mine = ours.bytes.begin() + static_cast<std::ptrdiff_t>(protection_.byte);
    const auto theirs = clips.bytes.begin() + static_cast<std::ptrdiff_t>(inClip.byte);
    const auto end = mine + static_cast<std::ptrdiff_t>(bytes);
    const auto differs = std::mismatch(mine, end, theirs).first;
    if (differs != end)
      return WrongTable{
          kPlace,
          fmt::format("tells otherwise than {} how sample {} is protected", PrintablePath(path),
                      first + done + static_cast<Number>(differs - mine) / size + 1)};
    for (ProtectionPlace* place : {&protection_, &inClip}) {
      place->used += left;
      place->byte += bytes;
    }
    done += left;
  }
  return std::nullopt;
}

}  // namespace clipchain::samples
