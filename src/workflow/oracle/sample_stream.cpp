#include "workflow/oracle/sample_stream.h"

#include <algorithm>
#include <limits>

#include "foundation/fourcc.h"

namespace clipchain::samples {

namespace {

constexpr Number kWithoutEnd = std::numeric_limits<Number>::max();

// The entries of a table whose count stands at `at`, as many as there are of `width` bytes.
View Entries(View body, std::size_t at, std::size_t width) {
  if (body.size() < at + 4) return {};
  const View rest = body.subspan(at + 4);
  return rest.first(std::min<std::size_t>(U32(body, at), rest.size() / width) * width);
}

View TableOf(View table, std::uint32_t type, std::size_t width) {
  return Entries(FindBox(table, type).body, 4, width);
}

// One byte for each sample, behind version and flags.
View DependenciesIn(View boxes) {
  const View body = FindBox(boxes, FourCc("sdtp")).body;
  return body.subspan(std::min<std::size_t>(4, body.size()));
}

}  // namespace

void RunCursor::Settle() {
  for (left_ = 0; left_ == 0 && !entries_.empty(); entries_ = entries_.subspan(8)) {
    left_ = U32(entries_, 0);
    value_ = U32(entries_, 4);
  }
  if (left_ != 0) return;
  // A track without "ctts" has offsets of 0 throughout (8.6.1.3); behind the last run likewise.
  left_ = kWithoutEnd;
  value_ = 0;
}

void NumberCursor::GoTo(Number sample) {
  for (; next_ < sample; at_ += 4) next_ = at_ < numbers_.size() ? U32(numbers_, at_) : kWithoutEnd;
}

ChunkCursor::ChunkCursor(View table)
    : offsets_(TableOf(table, FourCc("stco"), 4)),
      runs_(TableOf(table, FourCc("stsc"), 12)),
      wide_(FindBox(table, FourCc("stco")).type == 0) {
  if (wide_) offsets_ = TableOf(table, FourCc("co64"), 8);
}

void ChunkCursor::Open() {
  const std::size_t width = wide_ ? 8 : 4;
  while (left_ == 0 && (chunk_ + 1) * width <= offsets_.size() && !runs_.empty()) {
    while (run_ + 24 <= runs_.size() && U32(runs_, run_ + 12) <= chunk_ + 1) run_ += 12;
    left_ = U32(runs_, run_ + 4);
    description_ = U32(runs_, run_ + 8);
    position_ = wide_ ? U64(offsets_, chunk_ * width) : U32(offsets_, chunk_ * width);
    ++chunk_;
  }
}

SizeTable::SizeTable(View table) {
  const View sizes = FindBox(table, FourCc("stsz")).body;
  const View compact = FindBox(table, FourCc("stz2")).body;
  if (sizes.size() >= 12) {
    size_ = U32(sizes, 4);
    uniform_ = size_ != 0;
    entries_ = sizes.subspan(12);
    count_ = U32(sizes, 8);
  } else if (compact.size() >= 12) {
    bits_ = compact[7];
    entries_ = compact.subspan(12);
    count_ = U32(compact, 8);
  }
  // "stz2" has no other widths (8.7.3.3), and 32 is that of "stsz".
  if (bits_ != 4 && bits_ != 8 && bits_ != 16 && bits_ != 32) count_ = 0;
  if (!uniform_ && count_ > 0)
    count_ = std::min<Number>(count_, entries_.size() * Number{8} / bits_);
}

std::uint32_t SizeTable::Compact(std::size_t at) const {
  switch (bits_) {
    case 4:
      return at % 2 == 0 ? entries_[at / 2] >> 4U : entries_[at / 2] & 15U;
    case 8:
      return entries_[at];
    default:
      return U16(entries_, at * 2);
  }
}

SampleStream::SampleStream(const SampleFile& file, const TrackView& track)
    : file_(file),
      track_(track),
      sizes_(track.table),
      steps_(TableOf(track.table, FourCc("stts"), 8)),
      offsets_(TableOf(track.table, FourCc("ctts"), 8)),
      chunks_(track.table),
      hasSyncTable_(FindBox(track.table, FourCc("stss")).type != 0),
      syncs_(TableOf(track.table, FourCc("stss"), 4)),
      partialSyncs_(TableOf(track.table, FourCc("stps"), 4)),
      count_(sizes_.Count()) {
  dependencies_ = DependenciesIn(track.table);
  if (count_ == 0 && !track.fragments.empty()) start_ = track.fragments.front().start;
  if (count_ > 0 && !track.fragments.empty())
    gap_ = static_cast<long long>(track.fragments.front().start - track.tableDuration);
  for (const Fragment& fragment : track.fragments) count_ += fragment.samples;
}

bool SampleStream::Next(SampleRun& run) {
  if (done_ >= count_) return false;
  if (done_ < sizes_.Count()) {
    NextOfTables(run);
  } else if (!NextOfFragment(run)) {
    return false;
  }
  lastSize_ = run.size;
  return true;
}

void SampleStream::NextOfTables(SampleRun& run) {
  const Number inChunk = chunks_.Left();
  run.placed = inChunk > 0;
  run.position = chunks_.Position();
  run.description = chunks_.Description();
  run.size = sizes_.Of(done_);
  run.step = steps_.Value();
  run.offset = static_cast<std::int32_t>(offsets_.Value());
  // Without the table every sample is a sync sample (8.6.2.1).
  run.sync = !hasSyncTable_ || syncs_.Has(done_ + 1);
  run.partialSync = partialSyncs_.Has(done_ + 1);
  const bool said = done_ < dependencies_.size();
  run.depends = said ? dependencies_[static_cast<std::size_t>(done_)] : -1;
  const Number left = sizes_.Count() - done_;
  // The last sample of the tables stays until the first fragment begins.
  if (left == 1) run.step += gap_;
  run.count = said || !sizes_.Uniform() ? 1 : left;
  if (run.count == 1) return;
  if (gap_ != 0) run.count = left - 1;
  if (run.placed) run.count = std::min(run.count, inChunk);
  run.count = std::min({run.count, steps_.Left(), offsets_.Left(), partialSyncs_.Left(done_ + 1)});
  if (hasSyncTable_) run.count = std::min(run.count, syncs_.Left(done_ + 1));
}

bool SampleStream::OpenFragment() {
  while (leftInFragment_ == 0) {
    if (fragment_ >= track_.fragments.size()) return false;
    const Fragment& fragment = track_.fragments[fragment_++];
    leftInFragment_ = fragment.samples;
    position_ = fragment.base;
    bytes_.resize(fragment.size);
    if (!file_.File().Read(fragment.position, bytes_.data(), bytes_.size())) return false;
    boxes_ = bytes_;
    dependencies_ = DependenciesIn(boxes_);
    run_ = {};
    inRun_ = 0;
  }
  return OpenRun();
}

bool SampleStream::OpenRun() {
  BoxView box;
  while (inRun_ >= run_.count) {
    if (!TakeBox(boxes_, box)) return false;
    if (box.type != FourCc("trun")) continue;
    if (!run_.Read(box.body)) return false;
    inRun_ = 0;
    if (run_.hasOffset)
      position_ =
          track_.fragments[fragment_ - 1].base + static_cast<Number>(std::int64_t{run_.dataOffset});
  }
  return true;
}

// Only where no entry says anything can there be more samples than bytes.
Number SampleStream::AlikeInRun() const {
  if (run_.stride > 0 || (inRun_ == 0 && run_.hasFirstFlags)) return 1;
  return run_.count - inRun_;
}

// What lies between a fragment's last sample and the decode time that the next one begins with
// ("tfdt") belongs to that sample, which stays until then.
bool SampleStream::NextOfFragment(SampleRun& run) {
  run = {};
  if (!OpenFragment()) return false;
  const Fragment& fragment = track_.fragments[fragment_ - 1];
  const Defaults& defaults = fragment.defaults;
  const std::uint32_t flags = run_.Flags(inRun_, defaults);
  run.position = position_;
  run.size = run_.Size(inRun_, defaults);
  run.description = defaults.description;
  run.step = run_.Duration(inRun_, defaults);
  run.offset = run_.Offset(inRun_);
  // sample_is_non_sync_sample, and below it the bits that "sdtp" has in its byte (8.8.3.1).
  run.sync = (flags & 0x10000) == 0;
  run.depends = static_cast<int>(flags >> 20 & 0xFF);
  run.count = AlikeInRun();
  // What a fragment says in a table of its own goes before the flags.
  const Number index = fragment.samples - leftInFragment_;
  if (index < dependencies_.size()) {
    run.depends = dependencies_[static_cast<std::size_t>(index)];
    run.count = 1;
  }
  if (leftInFragment_ > 1) {
    run.count = std::min(run.count, leftInFragment_ - 1);
  } else if (fragment_ < track_.fragments.size()) {
    const Number end = fragment.start + fragment.duration;
    run.step += static_cast<long long>(track_.fragments[fragment_].start - end);
  }
  return true;
}

void SampleStream::Skip(Number count) {
  if (done_ < sizes_.Count()) {
    if (chunks_.Left() > 0) chunks_.Skip(count, lastSize_);
    steps_.Skip(count);
    offsets_.Skip(count);
  } else {
    inRun_ += static_cast<std::size_t>(count);
    leftInFragment_ -= count;
    position_ += count * lastSize_;
  }
  done_ += count;
}

}  // namespace clipchain::samples
