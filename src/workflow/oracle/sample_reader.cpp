#include "workflow/oracle/sample_reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "foundation/fourcc.h"

namespace clipchain::samples {

namespace {

bool IsWide(View body) { return !body.empty() && body[0] == 1; }

// The end of `bytes` from `at` on; empty where there is none.
View From(View bytes, std::size_t at) { return bytes.subspan(std::min(at, bytes.size())); }

std::vector<Edit> ReadEdits(View list) {
  const bool wide = IsWide(list);
  const std::size_t width = wide ? 20 : 12;
  View entries = From(list, 8);
  std::vector<Edit> edits;
  // A count is believed as far as there are bytes for it.
  for (std::uint32_t left = U32(list, 4); left > 0 && entries.size() >= width; --left) {
    Edit edit{};
    edit.length = wide ? U64(entries, 0) : U32(entries, 0);
    edit.start =
        wide ? static_cast<long long>(U64(entries, 8)) : static_cast<std::int32_t>(U32(entries, 4));
    edit.rate = U32(entries, width - 4);
    edits.push_back(edit);
    entries = entries.subspan(width);
  }
  return edits;
}

Number SumOfTimes(View table) {
  const View times = FindBox(table, FourCc("stts")).body;
  Number sum = 0;
  std::size_t at = 8;
  for (std::uint32_t left = U32(times, 4); left > 0 && times.size() >= at + 8; --left, at += 8)
    sum += Number{U32(times, at)} * U32(times, at + 4);
  return sum;
}

TrackView ReadTrack(View body) {
  TrackView track;
  track.body = body;
  const View header = FindBox(body, FourCc("tkhd")).body;
  // Ahead of it stand two times, of 64 bits each in version 1 (8.3.2.2).
  track.id = U32(header, IsWide(header) ? 20 : 12);
  track.shown = IsWide(header) ? U64(header, 28) : U32(header, 20);
  const View media = FindBox(body, FourCc("mdia")).body;
  const View times = FindBox(media, FourCc("mdhd")).body;
  track.scale = U32(times, IsWide(times) ? 20 : 12);
  track.duration = IsWide(times) ? U64(times, 24) : U32(times, 16);
  track.language = U16(times, IsWide(times) ? 32 : 20);
  const View handler = FindBox(media, FourCc("hdlr")).body;
  track.handler = U32(handler, 8);
  track.name = From(handler, 24);
  track.table = FindBox(FindBox(media, FourCc("minf")).body, FourCc("stbl")).body;
  track.tableDuration = SumOfTimes(track.table);
  const View descriptions = FindBox(track.table, FourCc("stsd")).body;
  View entries = From(descriptions, 8);
  BoxView entry;
  for (std::uint32_t left = U32(descriptions, 4); left > 0 && TakeBox(entries, entry); --left)
    track.entries.push_back(entry.whole);
  track.edits = ReadEdits(FindBox(FindBox(body, FourCc("edts")).body, FourCc("elst")).body);
  return track;
}

}  // namespace

bool TakeBox(View& rest, BoxView& box) {
  if (rest.size() < 8) return false;
  Number size = U32(rest, 0);
  std::size_t header = 8;
  if (size == 1) {
    header = 16;
    size = rest.size() < header ? 0 : U64(rest, 8);
  } else if (size == 0) {
    size = rest.size();
  }
  if (size < header || size > rest.size()) return false;
  box.type = U32(rest, 4);
  box.whole = rest.first(static_cast<std::size_t>(size));
  box.body = box.whole.subspan(header);
  rest = rest.subspan(box.whole.size());
  return true;
}

BoxView FindBox(View body, std::uint32_t type) {
  BoxView box;
  while (TakeBox(body, box)) {
    if (box.type == type) return box;
  }
  return {};
}

bool TrackRun::Read(View body) {
  flags = U32(body, 0) & 0xFFFFFF;
  count = U32(body, 4);
  std::size_t at = 8;
  hasOffset = (flags & 0x1) != 0;
  if (hasOffset) dataOffset = static_cast<std::int32_t>(U32(body, at));
  at += hasOffset ? 4 : 0;
  hasFirstFlags = (flags & 0x4) != 0;
  if (hasFirstFlags) firstFlags = U32(body, at);
  at += hasFirstFlags ? 4 : 0;
  // Which fields an entry has the flags say; one that is missing takes no room (8.8.8.1).
  stride = 0;
  for (const std::uint32_t field : {0x100U, 0x200U, 0x400U, 0x800U})
    stride += (flags & field) != 0 ? 4 : 0;
  if (body.size() < at) return false;
  entries = body.subspan(at);
  return stride == 0 || entries.size() / stride >= count;
}

// The fields of an entry stand in the order of their flags.
std::uint32_t TrackRun::Field(std::size_t sample, std::uint32_t flag) const {
  std::size_t at = sample * stride;
  for (std::uint32_t field = 0x100; field < flag; field <<= 1) at += (flags & field) != 0 ? 4 : 0;
  return U32(entries, at);
}

std::uint32_t TrackRun::Duration(std::size_t sample, const Defaults& defaults) const {
  return (flags & 0x100) != 0 ? Field(sample, 0x100) : defaults.duration;
}

std::uint32_t TrackRun::Size(std::size_t sample, const Defaults& defaults) const {
  return (flags & 0x200) != 0 ? Field(sample, 0x200) : defaults.size;
}

std::uint32_t TrackRun::Flags(std::size_t sample, const Defaults& defaults) const {
  // They override what is said of that sample otherwise (8.8.8.1).
  if (sample == 0 && hasFirstFlags) return firstFlags;
  return (flags & 0x400) != 0 ? Field(sample, 0x400) : defaults.flags;
}

std::int32_t TrackRun::Offset(std::size_t sample) const {
  return (flags & 0x800) != 0 ? static_cast<std::int32_t>(Field(sample, 0x800)) : 0;
}

Reason SampleFile::Read() {
  size_ = file_.Size();
  if (Reason wrong = Walk()) return wrong;
  if (Reason wrong = ReadMovie()) return wrong;
  return ReadFragments();
}

// A media box may be cut off: what is missing is missed where its samples are read.
Reason SampleFile::Walk() {
  for (Number at = 0; at < size_ && size_ - at >= 8;) {
    unsigned char bytes[16] = {};
    const auto count = static_cast<std::size_t>(std::min<Number>(size_ - at, sizeof bytes));
    if (!file_.Read(at, bytes, count)) return fmt::format("can't be read at byte {}", at);
    const View header(bytes, count);
    Number size = U32(header, 0);
    Number begin = 8;
    if (size == 1) {
      size = U64(header, 8);
      begin = 16;
    } else if (size == 0) {
      size = size_ - at;
    }
    // What stands there is no box, and nothing says where the next one would begin.
    if (size < begin) break;
    const bool fits = size <= size_ - at;
    const std::uint32_t type = U32(header, 4);
    if (type == FourCc("mdat")) media_.push_back({at + begin, fits ? at + size : size_});
    // Behind a box that is cut off the file has nothing.
    if (!fits) break;
    if (type == FourCc("moov")) movies_.push_back({at, size});
    if (type == FourCc("moof")) fragments_.push_back({at, size});
    at += size;
  }
  if (movies_.empty()) return "has no movie box";
  return std::nullopt;
}

View SampleFile::Load(const Place& place, std::vector<unsigned char>& bytes) {
  const auto size = static_cast<std::size_t>(place.size);
  if (const View lent = file_.Lend(place.position, size); !lent.empty()) return lent;
  bytes.resize(size);
  return file_.Read(place.position, bytes.data(), size) ? View(bytes) : View();
}

Reason SampleFile::ReadMovie() {
  // A file has one (8.2.1.1).
  View rest = Load(movies_.front(), movieBytes_);
  if (rest.empty()) return "has a movie box that can't be read";
  BoxView box;
  if (!TakeBox(rest, box)) return "has a movie box that makes no sense";
  movie_ = box.body;
  const View header = FindBox(movie_, FourCc("mvhd")).body;
  scale_ = U32(header, IsWide(header) ? 20 : 12);
  duration_ = IsWide(header) ? U64(header, 24) : U32(header, 16);
  rest = movie_;
  while (TakeBox(rest, box)) {
    if (box.type == FourCc("trak")) tracks_.push_back(ReadTrack(box.body));
    if (box.type == FourCc("pssh")) systems_.emplace_back(box.body.begin(), box.body.end());
  }
  // Fragments name tracks by these; of two alike the first one counts.
  for (std::size_t i = 0; i < tracks_.size(); ++i) byId_.emplace(tracks_[i].id, i);
  ReadDefaults(FindBox(movie_, FourCc("mvex")).body);
  return std::nullopt;
}

void SampleFile::ReadDefaults(View extends) {
  std::unordered_map<std::uint32_t, Defaults> known;
  BoxView box;
  while (TakeBox(extends, box)) {
    if (box.type != FourCc("trex")) continue;
    known[U32(box.body, 4)] = {U32(box.body, 8), U32(box.body, 12), U32(box.body, 16),
                               U32(box.body, 20)};
  }
  for (TrackView& track : tracks_) {
    if (const auto found = known.find(track.id); found != known.end())
      track.defaults = found->second;
  }
}

Reason SampleFile::ReadFragments() {
  std::vector<unsigned char> bytes;
  for (const Place& place : fragments_) {
    View rest = Load(place, bytes);
    BoxView box;
    if (!TakeBox(rest, box) || !ReadFragment(place, box.whole))
      return fmt::format("has a movie fragment at byte {} that makes no sense", place.position);
  }
  return std::nullopt;
}

bool SampleFile::ReadFragment(const Place& place, View whole) {
  // Where the data of the track fragment before ends.
  Number after = place.position;
  View rest = whole;
  BoxView box;
  if (!TakeBox(rest, box)) return false;
  View children = box.body;
  while (TakeBox(children, box)) {
    if (box.type == FourCc("pssh")) fragmentSystems_.emplace_back(box.body.begin(), box.body.end());
    if (box.type == FourCc("traf") && !ReadTrackFragment(place, whole, box.body, after))
      return false;
  }
  return true;
}

// Where nothing says what data offsets count from, it is the start of the "moof" for its first
// track fragment and the end of the data before for the others (clause 8.8.7).
bool SampleFile::ReadTrackFragment(const Place& place, View whole, View body, Number& after) {
  const View header = FindBox(body, FourCc("tfhd")).body;
  const auto known = byId_.find(U32(header, 4));
  if (header.size() < 8 || known == byId_.end()) return false;
  TrackView& track = tracks_[known->second];
  Fragment fragment;
  fragment.position = place.position + static_cast<Number>(body.data() - whole.data());
  fragment.size = body.size();
  fragment.defaults = track.defaults;
  // default-base-is-moof.
  const bool fromMovie = (U32(header, 0) & 0x020000) != 0;
  fragment.base = fromMovie ? place.position : after;
  ReadFragmentHeader(header, fragment);
  const View times = FindBox(body, FourCc("tfdt")).body;
  // Without a "tfdt" a fragment goes on where the samples before it end.
  if (times.size() >= 8) {
    fragment.start = IsWide(times) ? U64(times, 4) : U32(times, 4);
  } else if (!track.fragments.empty()) {
    fragment.start = track.fragments.back().start + track.fragments.back().duration;
  } else {
    fragment.start = track.tableDuration;
  }
  if (!ReadRuns(body, fragment, after)) return false;
  track.fragments.push_back(fragment);
  return true;
}

void SampleFile::ReadFragmentHeader(View header, Fragment& fragment) {
  const std::uint32_t flags = U32(header, 0) & 0xFFFFFF;
  std::size_t at = 8;
  if ((flags & 0x1) != 0) {
    fragment.base = U64(header, at);
    at += 8;
  }
  Defaults& defaults = fragment.defaults;
  // Fields that a flag announces stand in the order of the flags (8.8.7.2).
  const std::pair<std::uint32_t, std::uint32_t*> fields[] = {{0x2, &defaults.description},
                                                             {0x8, &defaults.duration},
                                                             {0x10, &defaults.size},
                                                             {0x20, &defaults.flags}};
  for (const auto& [flag, field] : fields) {
    if ((flags & flag) == 0) continue;
    *field = U32(header, at);
    at += 4;
  }
}

bool SampleFile::ReadRuns(View body, Fragment& fragment, Number& after) {
  BoxView box;
  for (Number end = fragment.base; TakeBox(body, box);) {
    TrackRun run;
    if (box.type != FourCc("trun")) continue;
    if (!run.Read(box.body)) return false;
    if (run.hasOffset) end = fragment.base + static_cast<Number>(std::int64_t{run.dataOffset});
    fragment.samples += run.count;
    const bool sized = (run.flags & 0x200) != 0;
    const bool timed = (run.flags & 0x100) != 0;
    // A run that spells nothing out may count billions of samples: these are multiplied below.
    for (std::size_t i = 0; (sized || timed) && i < run.count; ++i) {
      if (sized) end += run.Size(i, fragment.defaults);
      if (timed) fragment.duration += run.Duration(i, fragment.defaults);
    }
    if (!sized) end += Number{fragment.defaults.size} * run.count;
    if (!timed) fragment.duration += Number{fragment.defaults.duration} * run.count;
    after = end;
  }
  return true;
}

}  // namespace clipchain::samples
