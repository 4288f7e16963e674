// Prints what clips say about themselves as it is told: a clip may have millions of boxes.
#pragma once

#include <cstddef>
#include <string>

#include "workflow/clip_info.h"
#include "workflow/finding.h"

namespace clipchain {

class InfoOutput {
 public:
  // With the boxes, their positions and sizes.
  explicit InfoOutput(bool tree) : tree_(tree) {}
  virtual ~InfoOutput() = default;
  InfoOutput(const InfoOutput&) = delete;
  InfoOutput& operator=(const InfoOutput&) = delete;

  virtual void Begin(const std::string& path, const ClipInfo& info) = 0;
  // Takes the boxes of the clip that was begun, in the order in which they are told.
  virtual void Box(const BoxInfo& box) = 0;
  virtual void EndClip() = 0;
  // Says why a file is no clip, in its place.
  virtual void Unreadable(const std::string& path, const Findings& why) = 0;
  virtual void End() = 0;

 protected:
  bool tree() const { return tree_; }

 private:
  const bool tree_;
};

// Prints for people; why a file is no readable clip goes to the error stream.
class InfoText : public InfoOutput {
 public:
  using InfoOutput::InfoOutput;
  void Begin(const std::string& path, const ClipInfo& info) override;
  void Box(const BoxInfo& box) override;
  void EndClip() override {}
  void Unreadable(const std::string& path, const Findings& why) override;
  void End() override {}

 private:
  bool first_ = true;
};

// Prints for programs; docs/json.md has the fields. An array where several files were named.
class InfoJson : public InfoOutput {
 public:
  InfoJson(bool tree, std::size_t files) : InfoOutput(tree), isArray_(files > 1) {}
  void Begin(const std::string& path, const ClipInfo& info) override;
  void Box(const BoxInfo& box) override;
  void EndClip() override;
  void Unreadable(const std::string& path, const Findings& why) override;
  void End() override;

 private:
  void Separate();
  void LeaveBoxes(unsigned int depth);

  const bool isArray_;
  bool first_ = true;
  // Of the box before, plus 1; 0 without one.
  unsigned int depth_ = 0;
};

}  // namespace clipchain
