// Brings the sample tables of tracks that are to be joined into one form.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "adapt/boxes/raw_boxes.h"
#include "adapt/boxes/track_tables.h"

namespace clipchain {

// What is changed in which of the tables: "…sizes in another form, spelled out".
struct FormChange {
  std::size_t table;
  std::string words;
};

// How many samples "stbl" has by its sizes; nothing where they can't be read.
std::optional<std::uint32_t> CountSamples(const RawBox& table);

// Edits the "stbl" of tracks that continue each other so that each of their tables can be appended
// to that of the one before: sizes are spelled out, offsets have one version, and a table that one
// has and another lacks is given to that, saying what its absence says. A table that can't be read,
// or is not as long as its samples, stays as it is; dependencies of a wrong length are taken out of
// all.
std::vector<FormChange> GiveOneForm(const std::vector<RawBox*>& tables);

// The sizes of all samples of these tables, one table behind the other, where the engine can't
// append them: it takes a joined table of equal sizes for one size of all samples, which no other
// size may follow. Each table then has one size of all its samples, which only counts them.
std::optional<SampleSizes> TakeSizes(const std::vector<RawBox*>& tables);

}  // namespace clipchain
