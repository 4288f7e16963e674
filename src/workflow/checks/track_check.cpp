#include "workflow/checks/track_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "box/header_boxes.h"
#include "reader/track_reader.h"
#include "reader/typed_views.h"
#include "workflow/boxes/box_difference.h"
#include "workflow/boxes/sample_tables.h"
#include "workflow/clips/track_facts.h"

namespace clipchain {

namespace {

constexpr const char* kOtherKind = "leave it out, or merge it with clips of its own kind";

class PairCheck {
 public:
  PairCheck(const TrackPair& pair, const std::string& firstName, FileFindings& findings)
      : first_(pair.first),
        second_(pair.second),
        a_(pair.first),
        b_(pair.second),
        facts_(FactsOf(pair.second)),
        firstName_(firstName),
        findings_(findings) {}

  void Run() {
    CompareTimeScales();
    CompareEdits();
    CompareHeaders();
    CheckHints();
    CompareDescriptions();
    ComparePresence();
    CompareOffsetVersions();
  }

 private:
  Finding& AddAt(Message message, const std::string& text, const char* remedy, HRESULT result,
                 const MP4G::CBox* box) {
    Finding& finding =
        findings_.AddAt(message, "in its " + TrackWords(facts_) + " " + text, remedy, box);
    finding.track = facts_.id;
    finding.result = result;
    return finding;
  }

  void CompareTimeScales() {
    const MP4G::CMediaHeaderBox* a = first_.MediaHeaderBox();
    const MP4G::CMediaHeaderBox* b = second_.MediaHeaderBox();
    // A header that is missing is told of where each clip is looked at by itself.
    if (a == nullptr || b == nullptr || a->recordA->timeScale == b->recordA->timeScale) return;
    AddAt(Message::kMediaTimeScale,
          fmt::format("counts {} units a second, and {} counts {}",
                      std::uint32_t{b->recordA->timeScale}, firstName_,
                      std::uint32_t{a->recordA->timeScale}),
          kOtherKind, MP4G_E_TIME_SCALE, b);
  }

  // A merge adds the first entry of the second list to that of the first: both must be there.
  void CompareEdits() {
    const MP4G::CEditListBox* a = first_.EditListBox();
    const MP4G::CEditListBox* b = second_.EditListBox();
    if ((a == nullptr) != (b == nullptr)) {
      AddAt(Message::kEditListDiffers,
            fmt::format("has {} edit list, and {} has {}", b != nullptr ? "an" : "no", firstName_,
                        a != nullptr ? "one" : "none"),
            kOtherKind, E_INVALIDARG,
            b != nullptr ? static_cast<const MP4G::CBox*>(b) : second_.box);
    } else if (a != nullptr && (a->entries.empty() || b->entries.empty())) {
      AddAt(Message::kEditListDiffers,
            fmt::format("has {} entries in its edit list, and {} has {}", b->entries.size(),
                        firstName_, a->entries.size()),
            kOtherKind, E_BAD_DATA, b);
    }
  }

  // How a track is shown stays as the first clip has it.
  void CompareHeaders() {
    const MP4G::CTrackHeaderBox* a = first_.TrackHeaderBox();
    const MP4G::CTrackHeaderBox* b = second_.TrackHeaderBox();
    if (a != nullptr && b != nullptr &&
        std::memcmp(a->recordB->matrix, b->recordB->matrix, sizeof a->recordB->matrix) != 0)
      AddAt(Message::kShownOtherwise,
            fmt::format("is turned or moved otherwise (matrix {}) than that of {} (matrix {})",
                        MatrixWords(*b), firstName_, MatrixWords(*a)),
            "turn the clip first, or leave it out", S_OK, b);
    if (a != nullptr && b != nullptr && SizeWords(*a) != SizeWords(*b))
      AddAt(Message::kShownOtherwise,
            fmt::format("is shown with {}, and continues one with {} of {}", SizeWords(*b),
                        SizeWords(*a), firstName_),
            "leave it out, or merge it with clips of its own size", S_OK, b);
    if (a != nullptr && b != nullptr && IsEnabled(*a) != IsEnabled(*b))
      AddAt(Message::kShownOtherwise,
            fmt::format("is switched {}, and continues one that is switched {} in {}",
                        IsEnabled(*b) ? "on" : "off", IsEnabled(*a) ? "on" : "off", firstName_),
            "leave it out, or merge it with clips whose tracks are switched as its own", S_OK, b);
    if (a != nullptr && b != nullptr && a->recordB->volume != b->recordB->volume)
      AddAt(Message::kShownOtherwise,
            fmt::format("is played with a volume of {}, and continues one of {} in {}",
                        b->recordB->volume / 256.0, a->recordB->volume / 256.0, firstName_),
            "leave it out, or merge it with clips of its own volume", S_OK, b);
    CompareMediaHeaders();
    const MP4G::CMediaHeaderBox* mediaA = first_.MediaHeaderBox();
    const MP4G::CMediaHeaderBox* mediaB = second_.MediaHeaderBox();
    if (mediaA == nullptr || mediaB == nullptr) return;
    const unsigned int languageA = mediaA->recordB->language;
    const unsigned int languageB = mediaB->recordB->language;
    if (languageA != languageB)
      AddAt(Message::kShownOtherwise,
            fmt::format("is in the language {} and continues one in {} of {}",
                        LanguageWords(languageB), LanguageWords(languageA), firstName_),
            "see that the tracks of both clips stand in the same order", S_OK, mediaB);
  }

  // "vmhd" and "smhd" (ISO/IEC 14496-12, clauses 12.1.2 and 12.2.2).
  void CompareMediaHeaders() {
    const MP4G::CVideoMediaHeaderBox* a = first_.VideoMediaHeaderBox();
    const MP4G::CVideoMediaHeaderBox* b = second_.VideoMediaHeaderBox();
    if (a != nullptr && b != nullptr &&
        std::memcmp(&*a->record, &*b->record, sizeof *a->record) != 0)
      AddAt(Message::kShownOtherwise,
            fmt::format("is drawn in graphics {}, and continues one in {} of {}",
                        ModeWords(*b->record), ModeWords(*a->record), firstName_),
            "leave it out, or merge it with clips that are drawn alike", S_OK, b);
    const MP4G::CSoundMediaHeaderBox* soundA = first_.SoundMediaHeaderBox();
    const MP4G::CSoundMediaHeaderBox* soundB = second_.SoundMediaHeaderBox();
    if (soundA != nullptr && soundB != nullptr &&
        soundA->record->balance != soundB->record->balance)
      AddAt(Message::kShownOtherwise,
            fmt::format("is played with a balance of {}, and continues one of {} in {}",
                        BalanceOf(*soundB), BalanceOf(*soundA), firstName_),
            "leave it out, or merge it with clips of its own balance", S_OK, soundB);
  }

  static std::string ModeWords(const MP4G::_tagVIDEO_MEDIA_HEADER_BOX& record) {
    const auto colour = [&record](std::size_t i) { return std::uint32_t{record.opColor[i]}; };
    return fmt::format("mode {} with the colour {}, {}, {}", std::uint32_t{record.graphicsMode},
                       colour(0), colour(1), colour(2));
  }

  static double BalanceOf(const MP4G::CSoundMediaHeaderBox& header) {
    return static_cast<std::int16_t>(std::uint16_t{header.record->balance}) / 256.0;
  }

  // The lowest of the flags (ISO/IEC 14496-12, clause 8.3.2).
  static bool IsEnabled(const MP4G::CTrackHeaderBox& header) {
    return (header.fullHeader->flags & 1) != 0;
  }

  // Samples of hints name those of other tracks by their number, which is another one behind the
  // samples of the first clip.
  void CheckHints() {
    const MP4G::CHandlerBox* handler = second_.HandlerBox();
    if (handler == nullptr || handler->record->handlerType != FourCc("hint")) return;
    AddAt(Message::kTrackWithoutPartner,
          fmt::format("has hints, which name samples of other tracks by their number, and can't "
                      "continue those of {}",
                      firstName_),
          "leave the track out", S_OK, second_.box)
        .severity = Severity::kRisk;
  }

  static std::string MatrixWords(const MP4G::CTrackHeaderBox& header) {
    std::string text;
    // The others are the same in every file, and not in 16.16 (ISO/IEC 14496-12, clause 8.3.2).
    for (const int i : {0, 1, 3, 4, 6, 7}) {
      const auto value = static_cast<std::int32_t>(std::uint32_t{header.recordB->matrix[i]});
      text += fmt::format("{}{}", text.empty() ? "" : " ", value / 65536.0);
    }
    return text;
  }

  static std::string SizeWords(const MP4G::CTrackHeaderBox& header) {
    // In 16.16 (ISO/IEC 14496-12, clause 8.3.2).
    return fmt::format("{} x {} pixels", header.recordB->width / 65536.0,
                       header.recordB->height / 65536.0);
  }

  // Three letters of 5 bits (ISO/IEC 14496-12, clause 8.4.2.3).
  static std::string LanguageWords(unsigned int packed) {
    std::string text;
    for (const int shift : {10, 5, 0}) {
      const unsigned int letter = packed >> shift & 31;
      text += letter >= 1 && letter <= 26 ? static_cast<char>('a' + letter - 1) : '?';
    }
    return text;
  }

  void CompareDescriptions() {
    if (a_.descriptions == nullptr || b_.descriptions == nullptr) return;
    if (a_.descriptions->IsSameBox(b_.descriptions)) return;
    // Both values are told: they show whether an encoder was set otherwise, or a track stands in
    // another's place.
    const auto difference = FirstDifference(*a_.descriptions, *b_.descriptions);
    const std::string where = difference
                                  ? fmt::format("{} is {}, and {} in {}", difference->field,
                                                difference->second, difference->first, firstName_)
                                  : "the descriptions can't be written as they are";
    AddAt(Message::kSampleDescription,
          fmt::format("is encoded in another way than that of {}: {}", firstName_, where),
          kOtherKind, MP4G_E_SAMPLE_TABLE, difference ? difference->box : b_.descriptions);
  }

  struct TablePair {
    const char* type;
    const MP4G::CBox* first;
    const MP4G::CBox* second;
  };

  void ComparePresence() {
    const TablePair tables[] = {{"stts", a_.times, b_.times},
                                {"ctts", a_.offsets, b_.offsets},
                                {"stsz", a_.sizes, b_.sizes},
                                {"stz2", a_.compactSizes, b_.compactSizes},
                                {"stsc", a_.chunkRuns, b_.chunkRuns},
                                {"stss", a_.syncSamples, b_.syncSamples},
                                {"sdtp", a_.dependencies, b_.dependencies}};
    for (const TablePair& pair : tables) {
      // A table that one clip alone has would speak of the other one's samples, too.
      if ((pair.first == nullptr) == (pair.second == nullptr)) continue;
      const bool has = pair.second != nullptr;
      AddAt(Message::kTableMissing,
            fmt::format("has {} table \"{}\", and {} has {}", has ? "a" : "no", pair.type,
                        firstName_, has ? "none" : "one"),
            kOtherKind, MP4G_E_SAMPLE_TABLE, has ? pair.second : b_.table);
    }
  }

  // Version 1 of "ctts" has signed offsets; the entries are appended as they are and the version
  // stays that of the first clip.
  void CompareOffsetVersions() {
    if (a_.offsets == nullptr || b_.offsets == nullptr) return;
    const unsigned int versionA = a_.offsets->fullHeader->version;
    const unsigned int versionB = b_.offsets->fullHeader->version;
    if (versionA == versionB) return;
    const auto& entries = b_.offsets->entries;
    const bool matters = std::any_of(entries.begin(), entries.end(), [](const auto& entry) {
      // Below that both versions mean the same number.
      return (entry.sampleOffset >> 31) != 0;
    });
    if (!matters) return;
    AddAt(Message::kOffsetsMisread,
          fmt::format("has composition offsets of version {} that those of {}, version {}, can't "
                      "express",
                      versionB, firstName_, versionA),
          "merge clips that the same program has written", S_OK, b_.offsets);
  }

  const MP4G::CTrackBox_wr first_;
  const MP4G::CTrackBox_wr second_;
  const SampleTables a_;
  const SampleTables b_;
  const TrackFacts facts_;
  const std::string& firstName_;
  FileFindings& findings_;
};

}  // namespace

void CheckTrackPair(const TrackPair& pair, const std::string& firstName, FileFindings& findings) {
  PairCheck(pair, firstName, findings).Run();
}

}  // namespace clipchain
