#include "clipchain/commands/missing_names.h"

#include <cstdio>

#include "clipchain/output/finding_output.h"
#include "workflow/system/files.h"

namespace clipchain {

Findings MissingNames(const std::vector<std::string>& paths) {
  Findings missing;
  for (const std::string& path : paths) {
    // A name that was mistyped is told before hours of work on the others.
    if (Exists(path)) continue;
    missing.push_back(MakeFinding(Message::kInputUnreadable, path,
                                  "can't be read: " + UnreadableWords(path),
                                  "check the name and the permissions"));
  }
  return missing;
}

void PrintMissingNames(const Findings& missing) {
  std::fputs(FindingsText(missing, Paint(stderr)).c_str(), stderr);
}

}  // namespace clipchain
