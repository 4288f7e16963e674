// Proposed recordings as chains of dashes, with what speaks for them and against.
#include <fmt/format.h>

#include <algorithm>

#include "workflow/findings/clip_words.h"
#include "workflow/pages/html_page.h"
#include "workflow/pages/html_parts.h"
#include "workflow/pages/html_text.h"

namespace clipchain {

namespace {

// Names the kind for people.
std::string EvidenceWords(EvidenceKind kind) {
  std::string words(EvidenceName(kind));
  std::replace(words.begin(), words.end(), '_', ' ');
  return words;
}

std::string_view Agreement(const Evidence& evidence) {
  // Evidence that says nothing is neither.
  if (!evidence.agrees) return "";
  return *evidence.agrees ? "true" : "false";
}

const char* Sign(const Evidence& evidence) {
  if (!evidence.agrees) return "says nothing";
  return *evidence.agrees ? "agrees" : "disagrees";
}

std::string HtmlProposal(const Proposal& proposal, std::size_t number, const Links& links) {
  std::string html = fmt::format(
      "<article class=\"proposal panel\" id=\"proposal-{0}\" "
      "aria-labelledby=\"proposal-{0}-name\" data-grade=\"{1}\" data-complete=\"{2}\">\n<div "
      "class=\"head-line\"><h3 id=\"proposal-{0}-name\">Proposal {0}</h3><p class=\"state "
      "unknown\">{1}</p>{3}</div>\n<p class=\"facts\"><span>{4}</span> "
      "<span>{5}</span></p>\n<ol class=\"chain\">\n",
      number, GradeName(proposal.grade), proposal.complete,
      proposal.complete ? "" : "<p class=\"state open\">a clip is missing</p>",
      DateWords(proposal.date), Counted(proposal.clips.size(), "clip"));
  for (const std::string& clip : proposal.clips)
    html += fmt::format("<li class=\"proposed-clip\" {}>{}</li>\n", PathAttributes("data-", clip),
                        links.Around(clip, "<bdi class=\"path\">" + HtmlPath(clip) + "</bdi>"));
  html += "</ol>\n<ul class=\"evidence\">\n";
  for (const Evidence& evidence : proposal.evidence) {
    const std::string_view agreement = Agreement(evidence);
    html += fmt::format(
        "<li data-kind=\"{}\" data-agrees=\"{}\"><span class=\"kind\">{}</span> <span "
        "class=\"hidden\">{}:</span> {}</li>\n",
        EvidenceName(evidence.kind), agreement, EvidenceWords(evidence.kind), Sign(evidence),
        HtmlText(evidence.text.empty() ? "says nothing" : evidence.text));
  }
  return html + "</ul>\n</article>\n";
}

}  // namespace

std::string HtmlProposals(const std::vector<Proposal>& proposals, const Links& links) {
  if (proposals.empty()) return "";
  std::string html =
      "<p class=\"lead\">Clips without identifiers that seem to belong together, by what else they "
      "say. Nothing is joined by this unless somebody accepts it (clipchain join --accept).</p>\n";
  std::size_t number = 0;
  for (const Proposal& proposal : proposals) html += HtmlProposal(proposal, ++number, links);
  return HtmlSection("proposals", "Proposed recordings", html);
}

}  // namespace clipchain
