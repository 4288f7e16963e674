#include "workflow/html_proof.h"

#include <fmt/format.h>

#include "workflow/pages/html_text.h"
#include "workflow/proof_words.h"

namespace clipchain {

namespace {

// Nothing is ever fetched or run, whatever a name may hold.
constexpr const char* kHead =
    "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
    "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
    "style-src 'unsafe-inline'\">\n"
    "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
    "<meta name=\"color-scheme\" content=\"light dark\">\n"
    "<meta name=\"generator\" content=\"clipchain\">\n"
    "<title>Are the cards kept?</title>\n"
    "<style>\nbody { font: 1rem/1.5 system-ui, sans-serif; max-width: 60rem; margin: 2rem auto; "
    "padding: 0 1rem; }\n.sum { font-size: 1.4rem; font-weight: 600; padding: .6rem 1rem; "
    "border-left: .5rem solid; }\n.yes { border-color: #2e7d32; }\n.no { border-color: #c62828; }\n"
    "code { overflow-wrap: anywhere; }\n</style>\n</head>\n<body>\n";

std::string Paths(const char* title, const std::vector<std::string>& paths) {
  std::string html = fmt::format("<h2>{}</h2>\n<ul>\n", title);
  for (const std::string& path : paths)
    html += fmt::format("<li><code>{}</code></li>\n", HtmlPath(path));
  return html + "</ul>\n";
}

std::string Reasons(const char* title, const char* kind, const std::vector<PathAndReason>& paths) {
  // A heading with nothing below it would make a page of a kept card look like one with troubles.
  if (paths.empty()) return "";
  std::string html = fmt::format("<h2>{}: {}</h2>\n<ul>\n", title, paths.size());
  for (const PathAndReason& path : paths) {
    html +=
        fmt::format("<li class=\"{}\" {}><code>{}</code> {}</li>\n", kind,
                    PathAttributes("data-", path.path), HtmlPath(path.path), HtmlText(path.reason));
  }
  return html + "</ul>\n";
}

}  // namespace

std::string HtmlProof(const CardProofOptions& options, const CardProof& proof,
                      const std::string& when) {
  std::string html = kHead;
  html += fmt::format("<h1>Are the cards kept?</h1>\n<p class=\"sum {}\">{}</p>\n<p>{}</p>\n",
                      proof.kept ? "yes" : "no", HtmlText(ProofSumWords(options, proof)),
                      HtmlText(when));
  html += Paths("Cards", options.cards);
  html += Paths("Compared with what lies below", options.against);
  // A page is kept for years, and the command line is not.
  if (options.whole) html += "<p>Every byte of a clip had to be kept.</p>\n";
  html += Reasons("Not kept", "not-kept", proof.notKept);
  html += Reasons("Passed over", "passed-over", proof.leftAside);
  html += Reasons("On the file system of a card", "beside-card", proof.besideCards);
  return html + "</body>\n</html>\n";
}

}  // namespace clipchain
