#include "workflow/oracle/track_comparison.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "foundation/fourcc.h"
#include "workflow/system/files.h"

namespace clipchain::samples {

namespace {

constexpr const char* kDescriptions = "mdia/minf/stbl/stsd";
constexpr const char* kSizes = "mdia/minf/stbl/stsz";
constexpr const char* kSteps = "mdia/minf/stbl/stts";
constexpr const char* kOffsets = "mdia/minf/stbl/ctts";
constexpr const char* kChunks = "mdia/minf/stbl/stco";
constexpr const char* kSyncs = "mdia/minf/stbl/stss";
constexpr const char* kEdits = "edts/elst";

// A product of a time and a scale of 32 bits each may leave 64 bits.
__extension__ using Wide = __int128;

bool IsIn(Number position, Number size, Number begin, Number end) {
  return position >= begin && position <= end && size <= end - position;
}

bool IsInMedia(const SampleFile& file, Number position, Number size) {
  const auto& media = file.Media();
  const auto after =
      std::upper_bound(media.begin(), media.end(), position,
                       [](Number at, const MediaExtent& extent) { return at < extent.begin; });
  return after != media.begin() && IsIn(position, size, after[-1].begin, after[-1].end);
}

}  // namespace

TrackComparison::TrackComparison(const SampleFile& result, const TrackView& track,
                                 std::size_t index, const TrackRules& rules,
                                 OracleFindings& findings)
    : result_(result),
      track_(track),
      index_(index),
      rules_(rules),
      findings_(findings),
      stream_(result, track),
      clock_(static_cast<long long>(stream_.Start())),
      showing_(ShowingOf(result, track)) {
  for (const View entry : track.entries)
    descriptions_.push_back(DescriptionOf(entry, track.handler));
}

void TrackComparison::Tell(const WrongTable& wrong) {
  differs_ = true;
  findings_.Differs(track_.id, fmt::format("moov/trak[{}]/{}", index_, wrong.place), wrong.text);
}

bool TrackComparison::Open(GroupNames& names) {
  if (!rules_.adapted) return true;
  for (const WrongTable& wrong : WrongTables(track_, stream_.Count())) Tell(wrong);
  if (extras_.Open(result_, track_, names)) return true;
  findings_.Damaged("has fragments that can't be read back", 0, result_.File());
  return false;
}

bool TrackComparison::Add(const ClipAtWork& clip, const TrackView& track, Number longer,
                          GroupNames& names) {
  shown_ = false;
  if (differs_) return true;
  ofClip_.clear();
  compared_.clear();
  comparedLast_.reset();
  for (const View entry : track.entries) ofClip_.push_back(DescriptionOf(entry, track.handler));
  if (rules_.adapted) DeclareAll();
  SampleStream stream(clip.file, track);
  // A clip without samples in this track leaves the wait to the next one that has some.
  if (stream.Count() > 0) waited_ = std::exchange(wait_, 0);
  TrackClock alone(static_cast<long long>(stream.Start()));
  const long long begin = clock_.Decode();
  here_ = TrackClock(begin);
  const Number first = stream_.Done();
  if (!AddRuns(clip, track, stream, alone, longer)) return true;
  clock_.Append(here_);
  if (stream.Done() < stream.Count()) {
    findings_.Unreadable(clip.path, "has samples that can't be found again", clip.file.File());
    return false;
  }
  if (!rules_.adapted) return true;
  SampleExtras extras;
  if (!ReadExtras(clip.file, track, names, extras)) {
    findings_.Unreadable(clip.path, "has fragments that can't be read again", clip.file.File());
    return false;
  }
  if (const auto wrong = extras_.Compare(extras, first, stream.Done(), clip.path)) Tell(*wrong);
  if (stream.Done() == 0 || differs_) return true;
  const Showing showing = ShowingOf(clip.file, track);
  shown_ = showing.inARow && showing_.inARow;
  shift_ = showing_.At(static_cast<Seconds>(begin) / static_cast<Seconds>(track_.scale)) -
           showing.At(static_cast<Seconds>(stream.Start()) / static_cast<Seconds>(track.scale));
  FindOrder(track, alone);
  CompareShown(clip, track, alone);
  AddLoose(clip.file, track, showing, alone);
  return true;
}

// By the clock of the result; how long samples last is what the clip says.
void TrackComparison::FindOrder(const TrackView& track, const TrackClock& alone) {
  const auto scale = static_cast<Seconds>(std::max<Number>(track_.scale, 1));
  const Seconds unheld = static_cast<Seconds>(here_.FirstShown()) / scale - waited_;
  ordered_ = 0;
  // Without the wait its first picture would be shown among those of the clips before.
  if (lastShown_ && unheld <= *lastShown_)
    ordered_ = std::min(waited_, *lastShown_ + longest_ - unheld);
  lastShown_ = static_cast<Seconds>(here_.LastShown()) / scale;
  longest_ = static_cast<Seconds>(alone.LongestStep()) /
             static_cast<Seconds>(std::max<Number>(track.scale, 1));
}

// The headers of a fragmented file know nothing of its fragments.
void TrackComparison::AddLoose(const SampleFile& clip, const TrackView& track,
                               const Showing& showing, const TrackClock& alone) {
  const auto scale = static_cast<Seconds>(std::max<Number>(track.scale, 1));
  const auto movie = static_cast<Seconds>(std::max<Number>(clip.Scale(), 1));
  // An edit list counts in ticks of the movie and of the media, and each rounds once.
  loose_ += showing.delay + 1 / scale + 1 / movie;
  if (!track.fragments.empty()) return;
  const Seconds sum = static_cast<Seconds>(alone.Decode()) / scale;
  loose_ += std::abs(sum - static_cast<Seconds>(track.duration) / scale);
  const Seconds end = showing.At(static_cast<Seconds>(alone.LastEnd()) / scale);
  loose_ += std::abs(end - static_cast<Seconds>(track.shown) / movie);
}

bool TrackComparison::AddRuns(const ClipAtWork& clip, const TrackView& track, SampleStream& stream,
                              TrackClock& alone, Number longer) {
  SampleRun mine;
  SampleRun theirs;
  while (stream.Next(theirs)) {
    if (!stream_.Next(mine)) {
      Tell({kSizes, fmt::format("has {} samples, fewer than the clips up to {}", stream_.Count(),
                                PrintablePath(clip.path))});
      return false;
    }
    if (!AddRun(clip, track, mine, theirs, stream, longer)) return false;
    alone.Add(mine.count, theirs.step, theirs.offset);
    stream.Skip(mine.count);
    stream_.Skip(mine.count);
  }
  return true;
}

// Cuts both runs to what they have in common; the last sample of a clip stands alone.
bool TrackComparison::AddRun(const ClipAtWork& clip, const TrackView& track, SampleRun& mine,
                             SampleRun& theirs, const SampleStream& stream, Number longer) {
  const Number left = stream.Count() - stream.Done();
  Number count = std::min(mine.count, theirs.count);
  if (left > 1) count = std::min(count, left - 1);
  mine.count = theirs.count = count;
  std::optional<WrongTable> wrong;
  if (!IsEqual(track, mine, theirs)) {
    wrong = CompareSample(clip, track, mine, theirs);
    if (!wrong) wrong = CompareStep(clip, track, mine, theirs, left == 1 ? longer : 0);
    if (!wrong) wrong = CompareNotes(clip, mine, theirs, track.fragments.empty());
  }
  if (!wrong) wrong = AddPlace(clip, mine, theirs, count);
  if (wrong) {
    Tell(*wrong);
    return false;
  }
  // Where clips meet a merge goes wrong most easily: the first and the last sample are compared in
  // every byte, however few of the others are.
  if (theirs.placed && (left == 1 || stream.Done() == 0))
    clip.ranges.AddWhole({theirs.position, mine.position, theirs.size});
  here_.Add(count, mine.step, mine.offset);
  return true;
}

// Nearly all samples are, to the last field, and their descriptions were compared.
bool TrackComparison::IsEqual(const TrackView& track, const SampleRun& mine,
                              const SampleRun& theirs) const {
  return mine.size == theirs.size && mine.offset == theirs.offset && mine.step == theirs.step &&
         mine.sync == theirs.sync && mine.partialSync == theirs.partialSync &&
         mine.depends == theirs.depends && track.scale == track_.scale &&
         std::pair(mine.description, theirs.description) == comparedLast_;
}

std::optional<WrongTable> TrackComparison::CompareSample(const ClipAtWork& clip,
                                                         const TrackView& track,
                                                         const SampleRun& mine,
                                                         const SampleRun& theirs) {
  const Number sample = stream_.Done() + 1;
  if (mine.size != theirs.size)
    return WrongTable{kSizes, fmt::format("gives sample {} a size of {}; it has {} in {}", sample,
                                          mine.size, theirs.size, PrintablePath(clip.path))};
  if (mine.sync != theirs.sync)
    return WrongTable{kSyncs, fmt::format("has sample {} {} the sync samples; it is {} in {}",
                                          sample, mine.sync ? "among" : "not among",
                                          theirs.sync ? "one" : "none", PrintablePath(clip.path))};
  // Times of two scales are multiplied crosswise: a division would round differences away.
  if (Wide{mine.offset} * Wide{track.scale} != Wide{theirs.offset} * Wide{track_.scale})
    return WrongTable{
        kOffsets, fmt::format("gives sample {} a composition offset of {}; it has {} in {}", sample,
                              mine.offset, theirs.offset, PrintablePath(clip.path))};
  return CompareDescription(clip, track, mine.description, theirs.description);
}

std::optional<WrongTable> TrackComparison::CompareStep(const ClipAtWork& clip,
                                                       const TrackView& track,
                                                       const SampleRun& mine,
                                                       const SampleRun& theirs, Number longer) {
  const Wide expected = Wide{theirs.step} * Wide{track_.scale};
  const Wide found = Wide{mine.step} * Wide{track.scale};
  if (found == expected) return std::nullopt;
  if (found > expected && found - expected <= Wide{longer} * Wide{track.scale}) {
    wait_ = static_cast<Seconds>(found - expected) / static_cast<Seconds>(track.scale) /
            static_cast<Seconds>(track_.scale);
    return std::nullopt;
  }
  return WrongTable{kSteps,
                    fmt::format("shows sample {} for {} ticks; it has {} in {}", stream_.Done() + 1,
                                mine.step, theirs.step, PrintablePath(clip.path))};
}

// Where nothing is said about a sample, it is said that nothing is known: 0. What the flags of
// fragments say of dependencies may go, as it says little more than the sync flag.
std::optional<WrongTable> TrackComparison::CompareNotes(const ClipAtWork& clip,
                                                        const SampleRun& mine,
                                                        const SampleRun& theirs, bool tables) {
  if (!rules_.adapted) return std::nullopt;
  const Number sample = stream_.Done() + 1;
  const bool mayLack = !tables || rules_.dropped.count(FourCc("sdtp")) != 0;
  const bool lacks = mine.depends < 0 && mayLack;
  if (!lacks && std::max(mine.depends, 0) != std::max(theirs.depends, 0))
    return WrongTable{
        "mdia/minf/stbl/sdtp",
        fmt::format("says {} of what sample {} depends on; {} says {}", std::max(mine.depends, 0),
                    sample, PrintablePath(clip.path), std::max(theirs.depends, 0))};
  if (mine.partialSync == theirs.partialSync) return std::nullopt;
  if (theirs.partialSync && rules_.dropped.count(FourCc("stps")) != 0) return std::nullopt;
  return WrongTable{
      "mdia/minf/stbl/stps",
      fmt::format("has sample {} {} the partial sync samples; it is otherwise in {}", sample,
                  mine.partialSync ? "among" : "not among", PrintablePath(clip.path))};
}

std::optional<WrongTable> TrackComparison::CompareDescription(const ClipAtWork& clip,
                                                              const TrackView& track,
                                                              std::uint32_t mine,
                                                              std::uint32_t theirs) {
  if (std::pair(mine, theirs) == comparedLast_) return std::nullopt;
  comparedLast_ = {mine, theirs};
  if (!compared_.emplace(mine, theirs).second) return std::nullopt;
  const std::size_t sample = stream_.Done() + 1;
  const bool known = mine >= 1 && mine <= descriptions_.size();
  if (theirs < 1 || theirs > ofClip_.size()) {
    // Neither file says what describes the sample, and so nothing is lost.
    if (!known) return std::nullopt;
  } else if (known) {
    if (!rules_.adapted && U32(track_.entries[mine - 1], 4) == U32(track.entries[theirs - 1], 4))
      return std::nullopt;
    const Description& expected = ofClip_[theirs - 1];
    if (descriptions_[mine - 1].bare == expected.bare) {
      Declare(mine, expected);
      return std::nullopt;
    }
  }
  return WrongTable{kDescriptions, fmt::format("describes sample {} otherwise than {}", sample,
                                               PrintablePath(clip.path))};
}

void TrackComparison::DeclareAll() {
  std::map<std::string_view, std::uint32_t> numbers;
  for (std::uint32_t i = 0; i < descriptions_.size(); ++i)
    numbers.try_emplace(descriptions_[i].bare, i + 1);
  for (const Description& described : ofClip_)
    if (const auto same = numbers.find(described.bare); same != numbers.end())
      Declare(same->second, described);
}

void TrackComparison::Declare(std::uint32_t index, const Description& clips) {
  declared_[index].Add(descriptions_[index - 1], clips);
}

std::optional<WrongTable> TrackComparison::AddPlace(const ClipAtWork& clip, const SampleRun& mine,
                                                    const SampleRun& theirs, Number count) {
  const Number size = Number{mine.size} * count;
  const Number sample = stream_.Done() + 1;
  if (!theirs.placed || size == 0) return std::nullopt;
  if (!mine.placed)
    return WrongTable{kChunks, fmt::format("has no chunk for sample {}, which {} has", sample,
                                           PrintablePath(clip.path))};
  if (!IsInMedia(result_, mine.position, size))
    return WrongTable{
        kChunks, fmt::format("has sample {} at byte {}, outside the media", sample, mine.position)};
  if (!IsIn(theirs.position, size, 0, clip.file.Size()))
    return WrongTable{kChunks, fmt::format("has a sample {} that {} does not hold: it ends before",
                                           sample, PrintablePath(clip.path))};
  clip.ranges.Add({theirs.position, mine.position, size});
  return std::nullopt;
}

// What is hidden at the begin or the end of one clip would be seen inside the result.
void TrackComparison::CompareShown(const ClipAtWork& clip, const TrackView& track,
                                   const TrackClock& alone) {
  const Showing showing = ShowingOf(clip.file, track);
  if (!showing.inARow)
    return Tell(
        {kEdits, fmt::format("shows in a row what {} shows in parts", PrintablePath(clip.path))});
  const bool picture = track.handler == FourCc("vide");
  const auto scale = static_cast<Seconds>(track.scale);
  const Seconds tick = Seconds{1} / static_cast<Seconds>(std::max<Number>(clip.file.Scale(), 1));
  // Sound begins with samples that only prepare its decoder; a picture of which a part is shown is
  // shown as a whole.
  constexpr Seconds kPriming = 0.1L;
  const Seconds step = static_cast<Seconds>(alone.LastStep()) / scale;
  const Seconds before = showing.begin - static_cast<Seconds>(alone.FirstShown()) / scale;
  const Seconds firstStep = static_cast<Seconds>(alone.FirstStep()) / scale;
  const bool sound = track.handler == FourCc("soun");
  if (sound ? before > kPriming : before > 0 && before >= std::max(firstStep, tick + 1 / scale))
    return Tell(
        {kEdits, fmt::format("shows {:.0f} ms that are cut off at the begin of {}",
                             static_cast<double>(before * 1000), PrintablePath(clip.path))});
  const Seconds end = static_cast<Seconds>(alone.LastEnd()) / scale;
  const Seconds behind = showing.toEnd ? 0 : end - showing.begin - showing.length;
  if (behind > (picture ? 2 * tick + step * 3 / 2 : kPriming + step))
    return Tell(
        {kEdits, fmt::format("shows {:.0f} ms that are cut off at the end of {}",
                             static_cast<double>(behind * 1000), PrintablePath(clip.path))});
}

Seconds TrackComparison::Begins() const {
  const long long first = here_.HasSamples() ? here_.FirstShown() : here_.Decode();
  const Seconds time = static_cast<Seconds>(first) / static_cast<Seconds>(track_.scale);
  return showing_.inARow ? showing_.At(time) : time;
}

Seconds TrackComparison::MediaEnd() const {
  return showing_.At(static_cast<Seconds>(clock_.LastEnd()) / static_cast<Seconds>(track_.scale));
}

void TrackComparison::Finish() {
  if (differs_) return;
  if (stream_.Done() < stream_.Count()) {
    Tell({kSizes,
          fmt::format("has {} samples; the clips have {}", stream_.Count(), stream_.Done())});
    return;
  }
  if (!rules_.adapted) return;
  if (wait_ > 0) Tell({kSteps, "shows its last sample longer than the last clip does"});
  if (stream_.HasMore()) Tell({kChunks, "has chunks for more samples than there are"});
  CompareRates();
  CompareShifts();
  CompareDuration();
}

// The duration of the media is the sum of its samples', as exactly as those of the clips are.
void TrackComparison::CompareDuration() {
  const auto scale = static_cast<Seconds>(track_.scale);
  const Seconds sum = static_cast<Seconds>(clock_.Decode()) / scale;
  const Seconds stated = static_cast<Seconds>(track_.duration) / scale;
  if (std::abs(sum - stated) <= loose_ + 1 / scale) return;
  Tell({"mdia/mdhd", fmt::format("has a duration of {}; its samples take {}", track_.duration,
                                 clock_.Decode())});
}

// A decoder makes room by what is declared: too little of it would be a lie about the media.
void TrackComparison::CompareRates() {
  for (const auto& [index, declared] : declared_) {
    if (const auto fault = declared.FaultOf(descriptions_[index - 1]))
      Tell({kDescriptions, *fault});
  }
}

// "cslg" (ISO/IEC 14496-12, clause 8.6.1.4) bounds the composition offsets, if it is there.
void TrackComparison::CompareShifts() {
  const View bounds = FindBox(track_.table, FourCc("cslg")).body;
  if (bounds.size() < 24 || stream_.Count() == 0) return;
  const bool wide = bounds[0] == 1;
  const auto field = [&](std::size_t index) {
    return wide ? static_cast<long long>(U64(bounds, 4 + index * 8))
                : static_cast<std::int32_t>(U32(bounds, 4 + index * 4));
  };
  if (field(1) <= clock_.LeastOffset() && field(2) >= clock_.GreatestOffset()) return;
  Tell({"mdia/minf/stbl/cslg",
        fmt::format("bounds composition offsets by {} and {}; they are between {} and {}", field(1),
                    field(2), clock_.LeastOffset(), clock_.GreatestOffset())});
}

}  // namespace clipchain::samples
