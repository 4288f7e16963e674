#include "workflow/pages/html_pictures.h"

#include <fmt/format.h>

#include <map>

#include "workflow/pages/html_text.h"

namespace clipchain {

namespace {

constexpr const char* kNoPicture =
    "<span class=\"none\"><svg viewBox=\"0 0 24 24\" aria-hidden=\"true\" focusable=\"false\">"
    "<rect x=\"2.500\" y=\"4.500\" width=\"19\" height=\"15\" rx=\"2\"/>"
    "<path d=\"M7 4.500v15M17 4.500v15M2.500 9.500H7m-4.500 5H7m10-5h4.500m-4.500 5h4.500\"/></svg>"
    "<span class=\"said\">no picture</span></span>";

std::string_view BytesOf(const ClipCard& card) {
  return {reinterpret_cast<const char*>(card.thumbnail.data()), card.thumbnail.size()};
}

std::string Address(const ClipCard& card) {
  return "data:image/jpeg;base64," + Base64(card.thumbnail);
}

}  // namespace

Pictures::Pictures(const ScanReport& report) {
  std::size_t number = 0;
  for (const SequenceReport& sequence : report.sequences) {
    for (const SequenceClip& clip : sequence.clips) {
      if (clip.card.thumbnail.empty()) continue;
      Shared& shared = shared_[BytesOf(clip.card)];
      shared.card = &clip.card;
      // Clips and their copies begin with the same picture, and pictures are most of a page: one
      // that is shown more than once stands in it once.
      if (++shared.count == 2) shared.number = ++number;
    }
  }
}

std::string Pictures::Definitions() const {
  std::map<std::size_t, const ClipCard*> cards;
  for (const auto& [bytes, shared] : shared_) {
    // By number: the same card gives the same page.
    if (shared.number != 0) cards[shared.number] = shared.card;
  }
  if (cards.empty()) return "";
  std::string html = "<svg class=\"hidden\" aria-hidden=\"true\" focusable=\"false\">\n";
  for (const auto& [number, card] : cards)
    html += fmt::format("<image id=\"picture-{}\" width=\"{}\" height=\"{}\" href=\"{}\"/>\n",
                        number, card->width, card->height, Address(*card));
  return html + "</svg>\n";
}

std::string Pictures::Show(const ClipCard& card, const std::string& name) const {
  if (card.thumbnail.empty()) return kNoPicture;
  const auto found = shared_.find(BytesOf(card));
  if (found != shared_.end() && found->second.number != 0)
    return fmt::format(
        "<svg role=\"img\" aria-label=\"Picture of {}\" viewBox=\"0 0 {} {}\" "
        "focusable=\"false\"><use href=\"#picture-{}\"/></svg>",
        name, card.width, card.height, found->second.number);
  return fmt::format(
      // Thousands of pictures would keep the page from being shown until all are decoded.
      "<img alt=\"Picture of {}\" width=\"{}\" height=\"{}\" loading=\"lazy\" "
      "decoding=\"async\" src=\"{}\">",
      name, card.width, card.height, Address(card));
}

}  // namespace clipchain
