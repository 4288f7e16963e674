#include <fmt/format.h>

#include <filesystem>

#include "foundation/guid.h"
#include "workflow/findings/clip_words.h"
#include "workflow/pages/html_parts.h"
#include "workflow/pages/html_text.h"

namespace clipchain {

namespace {

// A sequence of more clips may run over several sheets of paper.
constexpr std::size_t kMostOnASheet = 16;

constexpr const char* kNoPicture =
    "<span class=\"none\"><svg viewBox=\"0 0 24 24\" aria-hidden=\"true\" focusable=\"false\">"
    "<rect x=\"2.500\" y=\"4.500\" width=\"19\" height=\"15\" rx=\"2\"/>"
    "<path d=\"M7 4.500v15M17 4.500v15M2.500 9.500H7m-4.500 5H7m10-5h4.500m-4.500 5h4.500\"/></svg>"
    "<span class=\"said\">no thumbnail</span></span>";

std::string TimeElement(const std::optional<MP4G::_tagSequenceTimedate>& date) {
  if (!date) return "date unknown";
  return fmt::format("<time datetime=\"{}\">{}</time>", IsoDate(*date), DateWords(date));
}

std::string IdText(const _GUID& id) { return id == _GUID{} ? "" : QUIRVA::GuidText(id); }

std::string NumberText(const std::optional<double>& seconds) {
  return seconds ? fmt::format("{}", *seconds) : "";
}

const char* Truth(bool value) { return value ? "true" : "false"; }

std::string View(const SequenceClip& clip, const std::string& name, std::size_t place) {
  std::string html = "<div class=\"view\">";
  if (clip.card.thumbnail.empty()) {
    html += kNoPicture;
  } else {
    html += fmt::format(
        "<img alt=\"Thumbnail of {}\" width=\"{}\" height=\"{}\" "
        "src=\"data:image/jpeg;base64,{}\">",
        name, clip.card.width, clip.card.height, Base64(clip.card.thumbnail));
  }
  return html + fmt::format(
                    "<span class=\"tag place\"><span class=\"hidden\">Clip </span>{}</span>"
                    "<span class=\"tag length\">{}</span></div>\n",
                    place, SpanWords(Seconds(clip)));
}

std::string ClipItem(const SequenceClip& clip, std::size_t place) {
  const std::filesystem::path path(clip.path);
  const std::string name = HtmlPath(path.filename().string());
  const std::string folder = HtmlPath(path.parent_path().string());
  std::string html = fmt::format(
      "<li class=\"clip\" {} data-volume=\"{}\" data-date=\"{}\" data-seconds=\"{}\" "
      "data-size=\"{}\">\n",
      PathAttributes("data-", clip.path), clip.volume + 1, clip.date ? IsoDate(*clip.date) : "",
      NumberText(Seconds(clip)), clip.size);
  html += View(clip, name, place);
  html += fmt::format(
      "<div class=\"words\"><p class=\"file\"><bdi>{}</bdi></p>\n"
      "<p class=\"more\">{} <span>{}</span></p>\n<p class=\"where\">{}</p>\n",
      name, VolumeChip(clip.volume), Amount(clip.size), TimeElement(clip.date));
  if (!folder.empty()) html += fmt::format("<p class=\"where\">in <bdi>{}</bdi></p>\n", folder);
  return html + "</div></li>\n";
}

std::string MissingItem(bool head) {
  return fmt::format(
      "<li class=\"missing {}\">\n<div class=\"view\" aria-hidden=\"true\"><b>?</b></div>\n"
      "<div class=\"words\"><p class=\"file\">Missing {}</p>\n<p>{}</p></div></li>\n",
      head ? "head" : "tail", head ? "in front" : "behind",
      head ? "The recording began before this clip; what came first is not here."
           : "The recording went on after this clip; what came next is not here.");
}

std::string StateBadge(const SequenceReport& sequence) {
  const bool complete = sequence.closedAtHead && sequence.closedAtTail;
  return fmt::format(
      "<p class=\"state{}\"><svg class=\"glyph\" viewBox=\"0 0 16 16\" aria-hidden=\"true\" "
      "focusable=\"false\"><path d=\"{}\"/></svg>{}</p>",
      complete ? "" : " open",
      complete ? "M6.300 13.300.9 7.900l2-2 3.400 3.400L13.100 2.500l2 2z"
               : "M8 .8l7.700 14H.3zM7 6v4.500h2V6zm0 5.500v1.800h2v-1.800z",
      StateWords(sequence.closedAtHead, sequence.closedAtTail));
}

std::string VolumeNumbers(const SequenceReport& sequence) {
  std::string numbers;
  for (const unsigned int volume : sequence.volumes) {
    numbers += fmt::format("{}{}", numbers.empty() ? "" : " ", volume + 1);
  }
  return numbers;
}

// How much room it takes on the page.
const char* WidthClass(const SequenceReport& sequence) {
  const std::size_t open = (sequence.closedAtHead ? 0u : 1u) + (sequence.closedAtTail ? 0u : 1u);
  const std::size_t items = sequence.clips.size() + open;
  if (items == 1) return " one";
  if (items == 2) return " two";
  return items > kMostOnASheet ? " long" : "";
}

std::string OpeningTag(const SequenceReport& sequence, std::size_t number) {
  return fmt::format(
      "<article class=\"sequence panel{}\" id=\"sequence-{}\" "
      "aria-labelledby=\"sequence-{}-name\"\n"
      "data-number=\"{}\" data-date=\"{}\" data-clips=\"{}\" data-seconds=\"{}\" "
      "data-state=\"{}\"\ndata-closed-at-head=\"{}\" data-closed-at-tail=\"{}\" "
      "data-camera-stream=\"{}\"\ndata-head-id=\"{}\" data-tail-id=\"{}\" data-volumes=\"{}\">\n",
      WidthClass(sequence), number, number, number, sequence.date ? IsoDate(*sequence.date) : "",
      sequence.clips.size(), NumberText(Seconds(sequence)),
      StateWords(sequence.closedAtHead, sequence.closedAtTail), Truth(sequence.closedAtHead),
      Truth(sequence.closedAtTail), Truth(sequence.cameraStream), IdText(sequence.headID),
      IdText(sequence.tailID), VolumeNumbers(sequence));
}

std::string Facts(const SequenceReport& sequence) {
  long long size = 0;
  for (const SequenceClip& clip : sequence.clips) size += clip.size;
  std::string html = fmt::format(
      "<p class=\"facts\"><span>{}</span> <span><strong>{}</strong></span> <span>{}</span> "
      "<span>{}</span>",
      TimeElement(sequence.date), LengthWords({&sequence}), Counted(sequence.clips.size(), "clip"),
      Amount(size));
  for (const unsigned int volume : sequence.volumes) html += " " + VolumeChip(volume);
  return html + "</p>\n";
}

}  // namespace

std::string HtmlSequence(const SequenceReport& sequence, std::size_t number) {
  std::string html = OpeningTag(sequence, number);
  html += fmt::format("<div class=\"head-line\"><h3 id=\"sequence-{0}-name\">Sequence {0}</h3>",
                      number);
  html += StateBadge(sequence) + "</div>\n" + Facts(sequence);
  html += HtmlStrip(sequence, "div") + "\n<ol class=\"clips\">\n";
  if (!sequence.closedAtHead) html += MissingItem(true);
  std::size_t place = 0;
  for (const SequenceClip& clip : sequence.clips) html += ClipItem(clip, ++place);
  if (!sequence.closedAtTail) html += MissingItem(false);
  return html + "</ol>\n</article>\n";
}

}  // namespace clipchain
