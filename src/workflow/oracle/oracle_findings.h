// Collects what the comparison of a result with its clips has to say.
#pragma once

#include <set>
#include <string>

#include "workflow/finding.h"
#include "workflow/system/file_bytes.h"

namespace clipchain {

class OracleFindings {
 public:
  explicit OracleFindings(std::string output) : output_(std::move(output)) {}

  // Texts are the rest of a sentence that begins with the result's name, or the clip's.
  void Damaged(std::string text, unsigned long long offset, const FileBytes& file);
  void Unreadable(const std::string& clip, std::string text, const FileBytes& file);
  // The first one about each track, or about none (0), and no more.
  void Differs(unsigned int track, std::string box, std::string text);

  Findings Take() { return std::move(findings_); }

 private:
  std::string output_;
  std::set<unsigned int> told_;
  Findings findings_;
};

}  // namespace clipchain
