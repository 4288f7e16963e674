#include "workflow/checks/kept_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <span>
#include <vector>

#include "box/sample_entries.h"
#include "box/sample_table_boxes.h"
#include "foundation/fourcc.h"
#include "workflow/boxes/box_place.h"
#include "workflow/boxes/box_span.h"

namespace clipchain {

namespace {

using Span = std::span<const unsigned char>;

// Boxes of a sample entry that describe the picture or sound and that a decoder does without.
constexpr unsigned int kOnlyDescribing[] = {
    FourCc("btrt"), FourCc("chan"), FourCc("clap"), FourCc("clli"), FourCc("colr"), FourCc("fiel"),
    FourCc("free"), FourCc("gama"), FourCc("mdcv"), FourCc("name"), FourCc("pasp"), FourCc("skip")};

// The types of the boxes that lie in the bytes; empty if these are no boxes.
std::vector<unsigned int> BoxTypes(Span bytes) {
  std::vector<unsigned int> types;
  while (const auto box = TakeBox(bytes)) types.push_back(box->type);
  // Less than a header is no box, but may close a list of them, as the number 0 does in QuickTime.
  if (bytes.size() >= BoxHeader::kShort) return {};
  return types;
}

std::string Listed(const std::vector<unsigned int>& types) {
  std::string text;
  for (const unsigned int type : types) {
    if (!text.empty()) text += ", ";
    text += '"' + FourCcText(type) + '"';
  }
  return text;
}

bool OnlyDescribe(const std::vector<unsigned int>& types) {
  return !types.empty() && std::all_of(types.begin(), types.end(), [](unsigned int type) {
    return std::find(std::begin(kOnlyDescribing), std::end(kOnlyDescribing), type) !=
           std::end(kOnlyDescribing);
  });
}

class KeptCheck {
 public:
  KeptCheck(Span movie, long long position, FileFindings& findings)
      : movie_(movie), position_(position), findings_(findings) {}

  // `offset` of the box in the movie box.
  void Visit(const MP4G::CBox& box, long long offset) {
    const Span bytes = BytesOf(offset, box.GetBoxSize());
    // A box whose place is not known is not judged by bytes that may be another's.
    if (bytes.empty()) return;
    const Span dropped = bytes.last(std::min<std::size_t>(box.restSize, bytes.size()));
    const bool isZero = std::all_of(dropped.begin(), dropped.end(), [](int b) { return b == 0; });
    if (!isZero) {
      AddLoss(box, offset, dropped);
    } else if (box.children.empty() && !ComesBack(box, bytes)) {
      Add(Message::kBoxNotKept, "has a box that a merge writes in another form", box, offset);
    }
    long long behind = FirstEntryDistance(box);
    for (const MP4G::CBox* child : box.children) {
      const long long distance = ChildDistance(box, *child, behind);
      Visit(*child, offset + distance);
      behind = distance + child->GetBoxSize();
    }
  }

 private:
  Span BytesOf(long long offset, long long size) const {
    const long long there = static_cast<long long>(movie_.size());
    if (offset < 0 || size <= 0 || offset > there || size > there - offset) return {};
    return movie_.subspan(static_cast<std::size_t>(offset), static_cast<std::size_t>(size));
  }

  // Compact sizes have a finding of their own.
  static bool ComesBack(const MP4G::CBox& box, Span bytes) {
    if (dynamic_cast<const MP4G::CCompactSampleSizeBox*>(&box) != nullptr) return true;
    std::vector<unsigned char> again(bytes.size());
    unsigned char* out = again.data();
    unsigned int rest = static_cast<unsigned int>(again.size());
    return box.GetData(out, rest) == S_OK && rest == 0 &&
           std::equal(again.begin(), again.end(), bytes.begin());
  }

  Finding& Add(Message message, std::string text, const MP4G::CBox& box, long long offset) {
    Finding& finding =
        findings_.AddAt(message, std::move(text), "keep the clip if you need what is lost", &box);
    finding.offset = position_ + offset;
    return finding;
  }

  void AddLoss(const MP4G::CBox& box, long long offset, Span dropped) {
    const std::vector<unsigned int> types = BoxTypes(dropped);
    const std::string lost =
        types.empty()
            ? fmt::format("{} bytes", dropped.size())
            : fmt::format("the {} {}", types.size() == 1 ? "box" : "boxes", Listed(types));
    const bool isEntry = dynamic_cast<const MP4G::CSampleDescriptionBox*>(box.parent) != nullptr;
    if (!isEntry) {
      Add(Message::kBoxNotKept, fmt::format("loses {} of a box in a merge", lost), box, offset);
      return;
    }
    const bool isHarmless = OnlyDescribe(types) ||
                            dynamic_cast<const MP4G::CTimecodeSampleDescription*>(&box) != nullptr;
    Finding& finding = findings_.AddAt(
        Message::kSampleEntryNotKept,
        fmt::format("loses {} of its sample entry \"{}\" in a merge{}", lost,
                    FourCcText(box.header->type),
                    isHarmless ? "" : ", and the samples may not be playable without"),
        isHarmless ? "keep the clip if you need what is lost"
                   : "merge clips of this kind with another program",
        &box);
    finding.offset = position_ + offset;
    finding.severity = isHarmless ? Severity::kWarning : Severity::kRisk;
  }

  const Span movie_;
  const long long position_;
  FileFindings& findings_;
};

}  // namespace

void CheckKept(const ClipFile& clip, FileFindings& findings) {
  const TopLevelBox& place = *clip.MoviePlace();
  const Span bytes = clip.Lend(place.position, static_cast<unsigned int>(place.size));
  KeptCheck(bytes, place.position, findings).Visit(*clip.Movie(), 0);
}

}  // namespace clipchain
