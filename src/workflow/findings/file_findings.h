// Collects findings as they are made, one file after the other.
#pragma once

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <string>
#include <utility>

#include "workflow/boxes/box_place.h"
#include "workflow/finding.h"

namespace clipchain {

// A file that was made to be troublesome could be wrong in millions of places; nobody reads more
// than this many.
inline constexpr std::size_t kMostFindings = 1000;

// Whether a finding is of one of those kinds.
inline auto IsOneOf(std::initializer_list<Message> messages) {
  return [messages](const Finding& finding) {
    return std::find(messages.begin(), messages.end(), finding.message) != messages.end();
  };
}

// The findings about one file, or about none if the path is empty.
class FileFindings {
 public:
  explicit FileFindings(std::string path) : path_(std::move(path)) {}

  // `text` is the rest of a sentence that begins with the path. The finding may be completed until
  // the next one is added.
  Finding& Add(Message message, std::string text, std::string remedy) {
    if (!TakesMore()) return dropped_ = {};
    findings_.push_back(MakeFinding(message, path_, std::move(text), std::move(remedy)));
    return findings_.back();
  }

  // The same about a box, by its place.
  Finding& AddAt(Message message, std::string text, std::string remedy, const MP4G::CBox* box) {
    const bool counts = TakesMore();
    Finding& finding = Add(message, std::move(text), std::move(remedy));
    if (!counts || box == nullptr) return finding;
    finding.box = places_.PathOf(*box);
    finding.offset = places_.OffsetOf(*box);
    return finding;
  }

  // Takes over what was found of the same file.
  void Append(FileFindings&& found) {
    for (Finding& finding : found.findings_) {
      if (TakesMore()) findings_.push_back(std::move(finding));
    }
  }

  // To be called before boxes of the file change or go.
  void ForgetPlaces() { places_ = {}; }
  // Gives every place of what was found so far another offset.
  template <class Move>
  void MoveOffsets(Move move) {
    for (Finding& finding : findings_) {
      if (finding.offset >= 0) finding.offset = move(finding.offset);
    }
  }
  // Takes all findings of that kind back.
  void Remove(Message message) {
    std::erase_if(findings_, [=](const Finding& f) { return f.message == message; });
  }
  // The same of those that were added after the first so many.
  void RemoveBehind(std::size_t count, std::initializer_list<Message> messages) {
    const auto begin = findings_.begin() + static_cast<std::ptrdiff_t>(count);
    findings_.erase(std::remove_if(begin, findings_.end(), IsOneOf(messages)), findings_.end());
  }
  // Says something else to do about all of that kind.
  void SetRemedy(Message message, const std::string& remedy) {
    for (Finding& finding : findings_) {
      if (finding.message == message) finding.remedy = remedy;
    }
  }
  // Tells them ahead of all others.
  void PutFirst(std::initializer_list<Message> messages) {
    std::stable_partition(findings_.begin(), findings_.end(), IsOneOf(messages));
  }
  bool TakesMore() const { return findings_.size() < kMostFindings; }

  const std::string& Path() const { return path_; }
  const Findings& All() const { return findings_; }

  // Whether one of those kinds says that there is no merge.
  bool Refuses(std::initializer_list<Message> messages) const {
    return std::any_of(findings_.begin(), findings_.end(), [&](const Finding& finding) {
      return finding.severity == Severity::kRefusal && IsOneOf(messages)(finding);
    });
  }
  // Whether anything says that the engine would refuse the file.
  bool Refused() const {
    for (const Finding& finding : findings_) {
      if (finding.severity == Severity::kRefusal) return true;
    }
    return false;
  }

 private:
  std::string path_;
  Findings findings_;
  Finding dropped_{};
  BoxPlaces places_;
};

}  // namespace clipchain
