// Proposed recordings as chains of dashes, with what speaks for them.
#include <fmt/format.h>

#include "workflow/findings/clip_words.h"
#include "workflow/pages/html_parts.h"
#include "workflow/pages/html_text.h"

namespace clipchain {

namespace {

std::string_view Agreement(const Evidence& evidence) {
  if (!evidence.agrees) return "";
  return *evidence.agrees ? "true" : "false";
}

std::string HtmlProposal(const Proposal& proposal) {
  std::string html = fmt::format(
      "<article class=\"proposal panel\" data-grade=\"{0}\" data-complete=\"{1}\">\n<h3>{0}: {2}, "
      "{3}{4}</h3>\n<ol class=\"chain\">\n",
      GradeName(proposal.grade), proposal.complete, DateWords(proposal.date),
      Counted(proposal.clips.size(), "clip"), proposal.complete ? "" : "; a clip is missing");
  for (const std::string& clip : proposal.clips)
    html += fmt::format("<li class=\"proposed-clip\" {}><bdi class=\"path\">{}</bdi></li>\n",
                        PathAttributes("data-", clip), HtmlPath(clip));
  html += "</ol>\n<ul class=\"evidence\">\n";
  for (const Evidence& evidence : proposal.evidence)
    html += fmt::format("<li data-kind=\"{}\" data-agrees=\"{}\">{}</li>\n",
                        EvidenceName(evidence.kind), Agreement(evidence), HtmlText(evidence.text));
  return html + "</ul>\n</article>\n";
}

}  // namespace

std::string HtmlProposals(const std::vector<Proposal>& proposals) {
  if (proposals.empty()) return "";
  std::string html =
      "<section aria-labelledby=\"proposals\">\n<h2 id=\"proposals\">Proposed recordings</h2>\n";
  for (const Proposal& proposal : proposals) html += HtmlProposal(proposal);
  return html + "</section>\n";
}

}  // namespace clipchain
