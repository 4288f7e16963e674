#include <fmt/format.h>

#include <filesystem>

#include "foundation/guid.h"
#include "workflow/findings/clip_words.h"
#include "workflow/pages/html_parts.h"
#include "workflow/pages/html_text.h"

namespace clipchain {

namespace {

std::string TimeElement(const std::optional<MP4G::_tagSequenceTimedate>& date) {
  if (!date) return "date unknown";
  return fmt::format("<time datetime=\"{}\">{}</time>", IsoDate(*date), DateWords(date));
}

std::string IdText(const _GUID& id) { return id == _GUID{} ? "" : QUIRVA::GuidText(id); }

std::string NumberText(const std::optional<double>& seconds) {
  return seconds ? fmt::format("{}", *seconds) : "";
}

const char* Truth(bool value) { return value ? "true" : "false"; }

std::string View(const PageContext& page, const SequenceClip& clip, const std::string& name,
                 std::size_t place) {
  const std::string picture = page.pictures.Show(clip.card, name);
  return "<div class=\"view\">" + picture +
         fmt::format(
             // A reader of the screen says "Clip 3"; for the eye the place in the row says that.
             "<span class=\"tag place\"><span class=\"hidden\">Clip </span>{}</span>"
             "<span class=\"tag length\">{}</span></div>\n",
             place, SpanWords(Seconds(clip)));
}

std::string ClipItem(const PageContext& page, const SequenceClip& clip, std::size_t place) {
  const std::filesystem::path path(clip.path);
  const std::string name = HtmlPath(path.filename().string());
  const std::string folder = HtmlPath(path.parent_path().string());
  std::string html = fmt::format(
      // What is told to people below stands here for programs.
      "<li class=\"clip\" {} data-volume=\"{}\" data-date=\"{}\" data-seconds=\"{}\" "
      "data-size=\"{}\">\n",
      PathAttributes("data-", clip.path), clip.volume + 1, clip.date ? IsoDate(*clip.date) : "",
      NumberText(Seconds(clip)), clip.size);
  html += View(page, clip, name, place);
  html += fmt::format(
      "<div class=\"words\"><p class=\"file\">{}</p>\n"
      "<p class=\"more\">{} <span>{}</span></p>\n<p class=\"where\">{}</p>\n",
      page.links.Around(clip.path, "<bdi>" + name + "</bdi>"), CardChip(clip.volume),
      FormatBytes(clip.size), TimeElement(clip.date));
  // It wraps by itself, below the name that people look for.
  if (!folder.empty()) html += fmt::format("<p class=\"where\">in <bdi>{}</bdi></p>\n", folder);
  return html + "</div></li>\n";
}

// `other`: the recording on the other side of the one clip that is missing, if it is here.
std::string MissingItem(bool head, const std::optional<std::size_t>& other) {
  const char* const lost =
      head ? "The recording began before this clip; what came first is not here."
           : "The recording went on after this clip; what came next is not here.";
  const std::string words =
      other
          ? fmt::format("One clip lies between this and {}; it is not here.", RecordingLink(*other))
          : lost;
  return fmt::format(
      "<li class=\"missing {}\">\n<div class=\"view\" aria-hidden=\"true\"><b>?</b></div>\n"
      "<div class=\"words\"><p class=\"file\">Missing {}</p>\n<p>{}</p></div></li>\n",
      head ? "head" : "tail", head ? "in front" : "behind", words);
}

std::optional<std::size_t> Find(const std::map<std::size_t, std::size_t>& map, std::size_t key) {
  const auto found = map.find(key);
  return found == map.end() ? std::nullopt : std::optional(found->second);
}

std::string StateBadge(const SequenceReport& sequence) {
  const bool open = !sequence.closedAtHead || !sequence.closedAtTail;
  const bool identified = IsIdentified(sequence);
  const char* const look = open ? " open" : identified ? "" : " unknown";
  // A sign of its own for each state: not everybody tells the colours apart.
  const char* const sign = open ? "M8 .8l7.700 14H.3zM7 6v4.500h2V6zm0 5.500v1.800h2v-1.800z"
                           : identified ? "M6.300 13.300.9 7.900l2-2 3.400 3.400L13.100 2.500l2 2z"
                                        : "M2 7h12v2H2z";
  std::string html = fmt::format(
      "<p class=\"state{}\"><svg class=\"glyph\" viewBox=\"0 0 16 16\" aria-hidden=\"true\" "
      "focusable=\"false\"><path d=\"{}\"/></svg>{}</p>",
      look, sign, StateWords(identified, sequence.closedAtHead, sequence.closedAtTail));
  if (sequence.copyOf)
    html +=
        fmt::format("<p class=\"state unknown\">a copy of {}</p>", RecordingLink(*sequence.copyOf));
  return html;
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
  return items == 2 ? " two" : "";
}

std::string OpeningTag(const SequenceReport& sequence, std::size_t number) {
  return fmt::format(
      "<article class=\"sequence panel{}\" id=\"sequence-{}\" "
      "aria-labelledby=\"sequence-{}-name\"\n"
      "data-number=\"{}\" data-date=\"{}\" data-clips=\"{}\" data-seconds=\"{}\" "
      "data-state=\"{}\"\ndata-closed-at-head=\"{}\" data-closed-at-tail=\"{}\" "
      "data-camera-stream=\"{}\"\ndata-head-id=\"{}\" data-tail-id=\"{}\" data-volumes=\"{}\" "
      "data-copy-of=\"{}\">\n",
      WidthClass(sequence), number, number, number, sequence.date ? IsoDate(*sequence.date) : "",
      sequence.clips.size(), NumberText(Seconds(sequence)),
      StateWords(IsIdentified(sequence), sequence.closedAtHead, sequence.closedAtTail),
      Truth(sequence.closedAtHead), Truth(sequence.closedAtTail), Truth(sequence.cameraStream),
      IdText(sequence.headID), IdText(sequence.tailID), VolumeNumbers(sequence),
      sequence.copyOf ? std::to_string(*sequence.copyOf + 1) : "");
}

std::string Facts(const SequenceReport& sequence) {
  long long size = 0;
  for (const SequenceClip& clip : sequence.clips) size += clip.size;
  std::string html = fmt::format(
      "<p class=\"facts\"><span>{}</span> <span><strong>{}</strong></span> <span>{}</span> "
      "<span>{}</span>",
      TimeElement(sequence.date), LengthWords({&sequence}), Counted(sequence.clips.size(), "clip"),
      FormatBytes(size));
  for (const unsigned int volume : sequence.volumes) html += " " + CardChip(volume);
  return html + "</p>\n";
}

}  // namespace

std::string HtmlSequence(const PageContext& page, std::size_t index) {
  const SequenceReport& sequence = page.report.sequences[index];
  std::string html = OpeningTag(sequence, index + 1);
  html += fmt::format("<div class=\"head-line\"><h3 id=\"sequence-{0}-name\">Recording {0}</h3>",
                      index + 1);
  html += StateBadge(sequence) + "</div>\n" + Facts(sequence);
  html += HtmlStrip(sequence, "div") + "\n<ol class=\"clips\">\n";
  if (!sequence.closedAtHead) html += MissingItem(true, Find(page.previous, index));
  std::size_t place = 0;
  for (const SequenceClip& clip : sequence.clips) html += ClipItem(page, clip, ++place);
  if (!sequence.closedAtTail) html += MissingItem(false, Find(page.halves, index));
  return html + "</ol>\n</article>\n";
}

}  // namespace clipchain
