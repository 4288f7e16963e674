#include "workflow/pages/html_page.h"

#include <fmt/format.h>

#include "workflow/pages/html_parts.h"
#include "workflow/pages/html_script.h"
#include "workflow/pages/html_text.h"

namespace clipchain {

const std::string_view kHtmlMark = "<meta name=\"generator\" content=\"clipchain\">\n";

namespace {

// Nothing is ever fetched, and nothing is run but the script of this program, whatever a name or a
// picture may hold.
std::string Head() {
  return fmt::format(
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; img-src data:; "
      "style-src 'unsafe-inline'; script-src '{}'\">\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      "<meta name=\"color-scheme\" content=\"light dark\">\n{}",
      kHtmlScriptHash, kHtmlMark);
}

std::string Header(const HtmlFrame& frame) {
  std::string html =
      "<a class=\"skip\" href=\"#main\">Skip to the clips</a>\n"
      "<header class=\"top wide\">\n<p class=\"mark\"><svg viewBox=\"0 0 24 24\" "
      "aria-hidden=\"true\" focusable=\"false\"><rect x=\"1.500\" y=\"7\" width=\"12\" "
      "height=\"10\" rx=\"3\"/><path d=\"M10.500 12h3\"/><rect x=\"10.500\" y=\"7\" width=\"12\" "
      "height=\"10\" rx=\"3\"/></svg>clipchain</p>\n";
  html += fmt::format("<h1>{}</h1>\n", frame.title);
  if (!frame.made.empty())
    html += fmt::format("<p class=\"made\">made <time datetime=\"{0}\">{0}</time></p>\n",
                        HtmlText(frame.made));
  html += frame.sums + "<nav aria-label=\"Parts of this page\"><ul>\n";
  for (const auto& [id, name] : frame.parts)
    html += fmt::format("<li><a href=\"#{}\">{}</a></li>\n", id, name);
  return html + "</ul></nav>\n</header>\n";
}

}  // namespace

std::string HtmlPage(const HtmlFrame& frame) {
  std::string html = Head();
  html += fmt::format("<title>{} – clipchain</title>\n<style>{}{}</style>\n</head>\n<body>\n",
                      frame.title, kHtmlStyle, HtmlShapeStyle());
  html += HtmlShapes() + frame.pictures + Header(frame);
  html += "<main class=\"wide\" id=\"main\">\n" + frame.body + "</main>\n";
  html +=
      "<footer class=\"wide\"><p>Dates are as the camera or the movie header has them, in whatever "
      "time zone that was. Made by clipchain";
  if (!frame.made.empty()) html += ", " + HtmlText(frame.made);
  html += ".</p></footer>\n";
  // Behind all that it looks at.
  if (frame.hasFilter) html += fmt::format("<script>{}</script>\n", kHtmlScript);
  return html + "</body>\n</html>\n";
}

std::string HtmlSum(std::string_view what, const std::string& value) {
  return fmt::format("<div><dt>{}</dt><dd>{}</dd></div>\n", what, value);
}

std::string HtmlSection(std::string_view id, std::string_view name, const std::string& html) {
  return fmt::format("<section aria-labelledby=\"{0}\">\n<h2 id=\"{0}\">{1}</h2>\n{2}</section>\n",
                     id, name, html);
}

std::string HtmlAttention(std::string_view kind, bool grave, const std::string& words) {
  return fmt::format(
      "<li class=\"attention{}\" data-kind=\"{}\"><svg class=\"glyph\" viewBox=\"0 0 16 16\" "
      "aria-hidden=\"true\" focusable=\"false\"><path d=\"M8 .8l7.700 14H.3zM7 6v4.500h2V6zm0 "
      "5.500v1.800h2v-1.800z\"/></svg><div>{}</div></li>\n",
      grave ? " grave" : "", kind, words);
}

std::string HtmlAttentionSection(const std::string& items) {
  // A section that is missing would leave open whether anything was looked for.
  if (items.empty())
    return HtmlSection("attention", "Needs attention",
                       "<p class=\"note panel calm\">Nothing: no clip is missing, and every file "
                       "could be read.</p>\n");
  return HtmlSection("attention", "Needs attention",
                     "<ul class=\"attentions panel\">\n" + items + "</ul>\n");
}

}  // namespace clipchain
