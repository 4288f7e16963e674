#include "workflow/oracle/oracle_findings.h"

#include <utility>

#include "workflow/system/files.h"

namespace clipchain {

namespace {

std::string WithCause(std::string text, const FileBytes& file) {
  if (file.error()) text += ": " + ErrorText(file.error());
  return text;
}

}  // namespace

void OracleFindings::Damaged(std::string text, unsigned long long offset, const FileBytes& file) {
  findings_.push_back(MakeFinding(Message::kResultDamaged, output_,
                                  WithCause(std::move(text), file),
                                  "write to another disk, or check this one"));
  findings_.back().offset = static_cast<long long>(offset);
}

void OracleFindings::Unreadable(const std::string& clip, std::string text, const FileBytes& file) {
  findings_.push_back(MakeFinding(Message::kInputUnreadable, clip, WithCause(std::move(text), file),
                                  "copy the clip again from the card"));
}

void OracleFindings::Differs(unsigned int track, std::string box, std::string text) {
  // What is wrong with one table shows in all that follows; one finding a track names where it
  // began.
  if (!told_.insert(track).second) return;
  findings_.push_back(MakeFinding(Message::kResultDiffers, output_, std::move(text),
                                  "leave the clip out, or keep the result as it is with --force"));
  findings_.back().track = track;
  findings_.back().box = std::move(box);
}

}  // namespace clipchain
