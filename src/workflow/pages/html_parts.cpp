#include "workflow/pages/html_parts.h"

#include <fmt/format.h>

#include <iterator>

#include "workflow/findings/clip_words.h"
#include "workflow/pages/html_text.h"

namespace clipchain {

namespace {

// In a square of 16: circle, square, triangle, diamond, cross, hexagon, star, ring.
constexpr const char* kShapes[] = {
    "M8 1a7 7 0 1 1 0 14A7 7 0 0 1 8 1z",
    "M2 2h12v12H2z",
    "M8 1l7.500 13.500H.5z",
    "M8 0l8 8-8 8-8-8z",
    "M5.500 1h5v4.500H15v5h-4.500V15h-5v-4.500H1v-5h4.500z",
    "M4.200 1.500h7.600L15.600 8l-3.800 6.500H4.200L.4 8z",
    ("M8 .5l2.200 5.100 5.500.5-4.200 3.600 1.300 5.400L8 12.200l-4.800 2.900 1.300-5.400L.3 "
     "6.100l5.500-.5z"),
    "M8 1a7 7 0 1 1 0 14A7 7 0 0 1 8 1zm0 4a3 3 0 1 0 0 6 3 3 0 0 0 0-6z"};
constexpr unsigned int kShapeCount = std::size(kShapes);

// A mask that repeats fills a piece with the shape, so that cards differ without colours too.
std::string ShapeRules(const char* fill) {
  std::string rules;
  for (unsigned int i = 0; i < kShapeCount; ++i) {
    rules += fmt::format(
        ".s{} {{ --s: url(\"data:image/svg+xml,%3Csvg xmlns='http://www.w3.org/2000/svg' "
        "viewBox='-12 -4 40 24'%3E%3Cpath fill-rule='evenodd' fill='{}' d='{}'/%3E%3C/svg%3E\"); "
        "}}\n",
        i, fill, kShapes[i]);
  }
  return rules;
}

// With each round of colours the shapes move on by one, so that a pair comes again after 64 cards.
unsigned int ShapeOf(unsigned int card) { return (card + card / kShapeCount) % kShapeCount; }

}  // namespace

std::string HtmlShapeStyle() {
  return ShapeRules("white") + "@media screen and (prefers-color-scheme: dark) {\n" +
         ShapeRules("black") + "}\n";
}

std::string HtmlShapes() {
  std::string shapes = "<svg class=\"hidden\" aria-hidden=\"true\" focusable=\"false\">\n";
  for (unsigned int i = 0; i < kShapeCount; ++i) {
    shapes += fmt::format(
        "<symbol id=\"shape-{}\" viewBox=\"0 0 16 16\"><path fill-rule=\"evenodd\" "
        "d=\"{}\"/></symbol>\n",
        i, kShapes[i]);
  }
  return shapes + "</svg>\n";
}

std::string CardClasses(unsigned int card) {
  return fmt::format("c{} s{}", card % kShapeCount, ShapeOf(card));
}

std::string CardChip(unsigned int card) {
  return fmt::format(
      "<span class=\"chip {}\"><svg class=\"glyph\" aria-hidden=\"true\" focusable=\"false\">"
      "<use href=\"#shape-{}\"/></svg>Card {}</span>",
      CardClasses(card), ShapeOf(card), card + 1);
}

double KnownSeconds(const SequenceReport& sequence) {
  double seconds = 0;
  for (const SequenceClip& clip : sequence.clips) seconds += Seconds(clip).value_or(0);
  return seconds;
}

std::string LengthWords(const std::vector<const SequenceReport*>& sequences) {
  double seconds = 0;
  std::size_t known = 0;
  std::size_t clips = 0;
  for (const SequenceReport* sequence : sequences) {
    seconds += KnownSeconds(*sequence);
    clips += sequence->clips.size();
    for (const SequenceClip& clip : sequence->clips) known += Seconds(clip) ? 1 : 0;
  }
  // A sum in which lengths are missing would read as the whole.
  if (known == clips) return SpanWords(seconds);
  return known == 0 ? SpanWords({}) : "at least " + SpanWords(seconds);
}

std::string RecordingLink(std::size_t index, const char* word) {
  return fmt::format("<a href=\"#sequence-{0}\">{1} {0}</a>", index + 1, word);
}

}  // namespace clipchain
