// Checks whether the output of a merge can be written where it is to be written.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "adapt/reason.h"
#include "workflow/findings/file_findings.h"

namespace clipchain {

// What the system says about the folder of the output.
struct OutputPlace {
  std::string folder;
  Reason whyUnwritable;
  // That this user may fill; -1 if that is not known.
  long long freeBytes = -1;
  // Bytes that a file there may have; -1 if that is not known.
  long long largestFile = -1;
};

OutputPlace PlaceOf(const std::string& output);

// Tells how large a file can be on a file system, by the number with which statfs() names it; -1
// where no limit is a fact, and only writing tells.
long long LargestFileOn(long fileSystem);

// Why something that has the output's name can't be replaced, as the end of "it can't be written:
// ", and what to do.
struct OutputFault {
  std::string text;
  std::string remedy;
};

// Tells why a link, a folder, a device, a pipe, a socket, or a file that its owner alone may
// replace, can't be replaced. Nothing for other files, and where nothing has the name.
std::optional<OutputFault> WhyIrreplaceable(const std::string& output);

// Says what stands against the output: that it is an input, that it exists and may not be replaced,
// its folder. `inputs` are those that could be found.
void CheckOutput(const std::string& output, bool overwrite, const std::vector<std::string>& inputs,
                 const OutputPlace& place, FileFindings& findings);

// Says where `bytes` of output do not fit.
void CheckSpace(long long bytes, const OutputPlace& place, FileFindings& findings);

}  // namespace clipchain
