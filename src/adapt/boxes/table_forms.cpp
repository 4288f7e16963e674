#include "adapt/boxes/table_forms.h"

#include <algorithm>
#include <limits>
#include <numeric>

#include "adapt/boxes/table_builder.h"
#include "adapt/boxes/track_tables.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

// A table that spells each sample has no more of them.
constexpr std::uint32_t kMostSpelled = 1U << 28;

using Tables = std::vector<RawBox*>;
using Changes = std::vector<FormChange>;

const RawBox* SizesOf(const RawBox& table) {
  const RawBox* box = table.Child(FourCc("stsz"));
  return box != nullptr ? box : table.Child(FourCc("stz2"));
}

std::optional<SampleSizes> ReadSizesOf(const RawBox& table) {
  const RawBox* box = SizesOf(table);
  return box != nullptr ? ReadSizes(*box) : std::nullopt;
}

bool SomeHave(const Tables& tables, unsigned int type) {
  return std::any_of(tables.begin(), tables.end(),
                     [=](const RawBox* table) { return table->Child(type) != nullptr; });
}

bool AllHave(const Tables& tables, unsigned int type) {
  return std::all_of(tables.begin(), tables.end(),
                     [=](const RawBox* table) { return table->Child(type) != nullptr; });
}

// Sizes of one form can be appended: tables, or one size for all. Nearly all clips have the same,
// which the heads of their boxes say.
bool HaveOneFormOfSizes(const Tables& tables) {
  bool isUniform = false;
  bool isTable = false;
  for (const RawBox* table : tables) {
    const RawBox* box = SizesOf(*table);
    if (box != nullptr && box->type == FourCc("stz2")) return false;
    const auto head = box != nullptr ? ReadSizesHead(*box) : std::nullopt;
    // Damaged tables are brought into no other form.
    if (!head) return true;
    if (head->count != 0) (head->uniform != 0 ? isUniform : isTable) = true;
  }
  return !isUniform || !isTable;
}

void SpellSizes(const Tables& tables, Changes& changes) {
  if (HaveOneFormOfSizes(tables)) return;
  std::vector<SampleSizes> all;
  for (const RawBox* table : tables) {
    auto sizes = ReadSizesOf(*table);
    if (!sizes || (sizes->uniform != 0 && sizes->count > kMostSpelled)) return;
    all.push_back(std::move(*sizes));
  }
  for (std::size_t i = 0; i < tables.size(); ++i) {
    SampleSizes& sizes = all[i];
    const bool wasCompact = tables[i]->Child(FourCc("stz2")) != nullptr;
    if (sizes.uniform == 0 && !wasCompact) continue;
    if (sizes.uniform != 0) sizes.sizes.assign(sizes.count, sizes.uniform);
    sizes.uniform = 0;
    tables[i]->Remove(FourCc("stz2"));
    ReplaceChild(*tables[i], SizesBox(sizes));
    changes.push_back({i, wasCompact ? "sizes in a compact form, spelled out"
                                     : "one size for all samples, spelled out"});
  }
}

// Without the table all offsets are 0. The sign of a whole table is that of its version.
void AlignOffsets(const Tables& tables, Changes& changes) {
  const auto version = [](const RawBox* table) {
    const RawBox* box = table->Child(FourCc("ctts"));
    return box != nullptr && !box->data.empty() ? box->data.front() : -1;
  };
  if (std::all_of(tables.begin(), tables.end(),
                  [&](const RawBox* table) { return version(table) == version(tables.front()); }))
    return;
  std::vector<OffsetRuns> all;
  bool isSigned = false;
  bool isMixed = false;
  for (const RawBox* table : tables) {
    const auto count = CountSamples(*table);
    const RawBox* box = table->Child(FourCc("ctts"));
    auto offsets = box != nullptr ? ReadOffsets(*box) : OffsetRuns();
    if (!count || !offsets) return;
    if (box == nullptr && *count != 0) offsets->push_back({*count, 0});
    const bool hasSign = box != nullptr && box->data.front() == 1;
    isMixed = isMixed || (box != nullptr && hasSign != isSigned && !all.empty());
    isSigned = isSigned || hasSign;
    all.push_back(std::move(*offsets));
  }
  // What version 1 can't say stays, and is found to differ.
  for (const OffsetRuns& offsets : all) {
    if (isSigned && std::any_of(offsets.begin(), offsets.end(), [](const OffsetRun& run) {
          return run.offset > std::numeric_limits<std::int32_t>::max();
        })) {
      return;
    }
  }
  for (std::size_t i = 0; i < tables.size(); ++i) {
    const RawBox* old = tables[i]->Child(FourCc("ctts"));
    if (old != nullptr && !(isMixed && isSigned && old->data.front() == 0)) continue;
    changes.push_back({i, old == nullptr ? "no composition offsets, spelled out"
                                         : "composition offsets without a sign, given one"});
    RawBox box = *OffsetsBox(all[i]);
    box.data.front() = isSigned ? 1 : 0;
    ReplaceChild(*tables[i], std::move(box));
  }
}

// Without the table all samples are sync samples.
void SpellSyncSamples(const Tables& tables, Changes& changes) {
  if (!SomeHave(tables, FourCc("stss")) || AllHave(tables, FourCc("stss"))) return;
  for (const RawBox* table : tables) {
    const auto count = CountSamples(*table);
    if (!count || *count > kMostSpelled) return;
  }
  for (std::size_t i = 0; i < tables.size(); ++i) {
    if (tables[i]->Child(FourCc("stss")) != nullptr) continue;
    std::vector<std::uint32_t> numbers(*CountSamples(*tables[i]));
    // Without the table all are sync samples (8.6.2.1), and the result has a table for others.
    std::iota(numbers.begin(), numbers.end(), 1U);
    ReplaceChild(*tables[i], SampleNumbersBox(FourCc("stss"), numbers));
    changes.push_back({i, "sync samples alone, spelled out"});
  }
}

// Of samples that no table speaks of nothing is known, which zeros say too (8.6.4.3). Bytes behind
// the last sample say nothing.
void SpellDependencies(const Tables& tables, Changes& changes) {
  if (!SomeHave(tables, FourCc("sdtp"))) return;
  for (const RawBox* table : tables) {
    const auto count = CountSamples(*table);
    if (!count || *count > kMostSpelled) return;
    const RawBox* box = table->Child(FourCc("sdtp"));
    if (box != nullptr && !ReadDependencies(*box)) return;
  }
  for (std::size_t i = 0; i < tables.size(); ++i) {
    const RawBox* box = tables[i]->Child(FourCc("sdtp"));
    const std::uint32_t count = *CountSamples(*tables[i]);
    const auto told = box != nullptr ? *ReadDependencies(*box) : std::span<const unsigned char>();
    if (box != nullptr && told.size() == count) continue;
    Bytes all(told.begin(), told.end());
    all.resize(count);
    changes.push_back({i, box == nullptr ? "no dependencies of samples, said to be unknown"
                                         : "dependencies of another number of samples, cut or "
                                           "continued as unknown"});
    ReplaceChild(*tables[i], DependenciesBox(all));
  }
}

// Whether sizes that are all alike up to the end of the second table or a later one are followed
// by another, or by one more table.
bool IsAlikeAtFirst(const Tables& tables) {
  std::optional<std::uint32_t> common;
  std::size_t alike = 0;
  bool isSpelled = false;
  for (const RawBox* table : tables) {
    const auto sizes = ReadSizesOf(*table);
    if (!sizes) return false;
    if (sizes->count == 0) continue;
    const std::uint32_t first = sizes->At(0);
    const bool isAlike = first == common.value_or(first) &&
                         std::all_of(sizes->sizes.begin(), sizes->sizes.end(),
                                     [=](std::uint32_t size) { return size == first; });
    if (!isAlike) return alike > 1;
    common = first;
    isSpelled = isSpelled || sizes->uniform == 0;
    ++alike;
  }
  return isSpelled && alike > 2;
}

}  // namespace

std::optional<std::uint32_t> CountSamples(const RawBox& table) {
  const RawBox* box = SizesOf(table);
  if (box == nullptr) return std::nullopt;
  const auto sizes = box->type == FourCc("stsz") ? ReadSizesHead(*box) : ReadSizes(*box);
  if (!sizes) return std::nullopt;
  return sizes->count;
}

std::vector<FormChange> GiveOneForm(const std::vector<RawBox*>& tables) {
  Changes changes;
  SpellSizes(tables, changes);
  AlignOffsets(tables, changes);
  SpellSyncSamples(tables, changes);
  SpellDependencies(tables, changes);
  return changes;
}

std::optional<SampleSizes> TakeSizes(const std::vector<RawBox*>& tables) {
  // Of most clips the first table tells.
  if (!IsAlikeAtFirst(tables)) return std::nullopt;
  std::vector<SampleSizes> all;
  std::uint64_t count = 0;
  for (const RawBox* table : tables) {
    auto sizes = ReadSizesOf(*table);
    if (!sizes) return std::nullopt;
    count += sizes->count;
    all.push_back(std::move(*sizes));
  }
  if (count > kMostSpelled) return std::nullopt;
  SampleSizes joined;
  joined.count = static_cast<std::uint32_t>(count);
  for (std::size_t i = 0; i < tables.size(); ++i) {
    const SampleSizes& sizes = all[i];
    if (sizes.uniform != 0) joined.sizes.insert(joined.sizes.end(), sizes.count, sizes.uniform);
    joined.sizes.insert(joined.sizes.end(), sizes.sizes.begin(), sizes.sizes.end());
    ReplaceChild(*tables[i], SizesBox({1, sizes.count, {}}));
  }
  return joined;
}

}  // namespace clipchain
