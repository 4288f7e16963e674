// Finds which recordings of a page hang together, to be tied by dashes on its time line.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "workflow/proposals.h"
#include "workflow/sequence_scan.h"

namespace clipchain {

// Ties have numbers from 1 on.
struct Ties {
  static constexpr std::size_t kNone = 0;

  // By index of the recording.
  std::map<std::size_t, std::size_t> of;
  // By number, for the eye: the grade of a proposal; empty for halves.
  std::vector<std::string> names{""};
  // By number, where it leads; empty for halves.
  std::vector<std::string> links{""};

  std::size_t Of(std::size_t recording) const;
};

// Ties halves of recordings between which one clip is missing, and what is proposed to belong
// together.
Ties FindTies(const ScanReport& report, const std::vector<Proposal>& proposals);

}  // namespace clipchain
