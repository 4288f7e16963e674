// Paints text, where somebody sees colours.
#pragma once

#include <cstdio>
#include <string>

namespace clipchain {

enum class Colour { kGood, kNote, kWarning, kBad };

class Paint {
 public:
  // Paints nothing.
  Paint() = default;
  // Paints for a stream that is a terminal, unless NO_COLOR is set and not empty, or TERM says that
  // the terminal knows no colours.
  explicit Paint(std::FILE* stream);

  std::string operator()(Colour colour, const std::string& text) const;

 private:
  bool paints_ = false;
};

}  // namespace clipchain
