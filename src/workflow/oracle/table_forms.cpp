#include "workflow/oracle/table_forms.h"

#include <fmt/format.h>

#include "foundation/fourcc.h"

namespace clipchain::samples {

namespace {

struct Form {
  std::uint32_t type;
  const char* place;
  // Bytes ahead of the entries, of which the count is the last field.
  std::size_t header;
  std::size_t width;
  unsigned int versions;
};

constexpr Form kForms[] = {{FourCc("stts"), "mdia/minf/stbl/stts", 8, 8, 1},
                           {FourCc("ctts"), "mdia/minf/stbl/ctts", 8, 8, 2},
                           {FourCc("stsc"), "mdia/minf/stbl/stsc", 8, 12, 1},
                           {FourCc("stco"), "mdia/minf/stbl/stco", 8, 4, 1},
                           {FourCc("co64"), "mdia/minf/stbl/co64", 8, 8, 1},
                           {FourCc("stss"), "mdia/minf/stbl/stss", 8, 4, 1},
                           {FourCc("stps"), "mdia/minf/stbl/stps", 8, 4, 1},
                           {FourCc("stsz"), "mdia/minf/stbl/stsz", 12, 4, 1}};

bool HoldsWhatItSays(const Form& form, View body) {
  const bool uniform = form.type == FourCc("stsz") && U32(body, 4) != 0;
  const Number entries = uniform ? 0 : U32(body, form.header - 4);
  // With bytes left over one reader believes the count and another one the size.
  return body.size() == form.header + entries * form.width && body[0] < form.versions &&
         (U32(body, 0) & 0xFFFFFF) == 0;
}

// Whether the first field of each entry is greater than that of the one before, up to `most`.
bool Ascends(View body, std::size_t width, Number most) {
  Number before = 0;
  for (std::size_t at = 8; at + width <= body.size(); at += width) {
    const Number number = U32(body, at);
    if (number <= before || number > most) return false;
    before = number;
  }
  return true;
}

Number SumOfCounts(View runs) {
  Number samples = 0;
  for (std::size_t at = 8; at + 8 <= runs.size(); at += 8) samples += U32(runs, at);
  return samples;
}

bool FillBox(const TrackView& track) {
  const View descriptions = FindBox(track.table, FourCc("stsd")).body;
  Number size = 8;
  for (const View entry : track.entries) size += entry.size();
  return descriptions.size() == size && U32(descriptions, 4) == track.entries.size();
}

}  // namespace

std::vector<WrongTable> WrongTables(const TrackView& track, Number count) {
  std::vector<WrongTable> wrong;
  const View few = FindBox(track.table, FourCc("stco")).body;
  const Number chunks = U32(few.empty() ? FindBox(track.table, FourCc("co64")).body : few, 4);
  for (const Form& form : kForms) {
    const BoxView box = FindBox(track.table, form.type);
    if (box.type == 0) continue;
    // "stts" and "ctts": their entries begin with a number of samples.
    const bool runs = form.width == 8 && form.type != FourCc("co64");
    const bool numbers = form.type == FourCc("stss") || form.type == FourCc("stps");
    if (!HoldsWhatItSays(form, box.body)) {
      wrong.push_back({form.place, "has a table that does not hold what it says"});
    } else if (runs && box.body.size() > 8 && SumOfCounts(box.body) != count) {
      wrong.push_back({form.place, fmt::format("has times for {} samples, of which there are {}",
                                               SumOfCounts(box.body), count)});
      // The format wants them in order (ISO/IEC 14496-12, clause 8.6.2), and readers find a number
      // by halving the table.
    } else if (numbers && !Ascends(box.body, 4, count)) {
      wrong.push_back({form.place, "has numbers of samples that do not follow each other"});
    } else if (form.type == FourCc("stsc") &&
               (!Ascends(box.body, 12, chunks) || (chunks > 0 && U32(box.body, 8) != 1))) {
      wrong.push_back({form.place, "has runs of chunks that do not follow each other"});
    }
  }
  if (!FillBox(track))
    wrong.push_back({"mdia/minf/stbl/stsd", "has sample descriptions that do not fill their box"});
  return wrong;
}

}  // namespace clipchain::samples
