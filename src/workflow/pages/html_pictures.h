// Puts the pictures of clips into a page, which holds each of them once.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>

#include "workflow/clip_card.h"
#include "workflow/sequence_scan.h"

namespace clipchain {

class Pictures {
 public:
  // Looks which ones come twice. The cards of the clips must outlive this.
  explicit Pictures(const ScanReport& report);

  // Defines those that several clips have, such as copies: what Show refers to. Stands in front of
  // it.
  std::string Definitions() const;
  // Shows the picture, drawn as late as it is seen; a drawing of none where the clip has none.
  // `name`, of the clip, is HTML.
  std::string Show(const ClipCard& card, const std::string& name) const;

 private:
  struct Shared {
    std::size_t count = 0;
    std::size_t number = 0;
    const ClipCard* card = nullptr;
  };

  // By their bytes.
  std::unordered_map<std::string_view, Shared> shared_;
};

}  // namespace clipchain
