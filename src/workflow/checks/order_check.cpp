#include "workflow/checks/order_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <numeric>
#include <string>
#include <unordered_map>
#include <utility>

#include "clip/sequence.h"
#include "workflow/findings/clip_words.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

using Indices = std::vector<std::size_t>;

constexpr std::size_t kMostNames = 8;

bool IsNone(const _GUID& id) { return MP4G::IsZeroIdentifier(id); }

class OrderCheck {
 public:
  OrderCheck(const std::vector<OrderFacts>& clips, std::vector<FileFindings>& findings)
      : clips_(clips), findings_(findings) {}

  void Run() {
    FindChains();
    CheckChains();
    // When recordings were made says nothing about which one is to stand first.
    if (DecidedByIdentifiers() || (mixed_ && marked_.size() == clips_.size())) return;
    CheckTimecodes();
    CheckDates();
  }

  // By the strongest evidence that all clips have.
  std::optional<Indices> Order() {
    FindChains();
    return Sorted();
  }

 private:
  // Clips of one recording that follow each other, by identifiers that point at each other.
  using Chain = Indices;

  std::optional<Indices> Sorted() const {
    if (DecidedByIdentifiers()) return chains_.front();
    if (!marked_.empty()) return std::nullopt;
    const Indices timed = Timed();
    if (timed.size() == clips_.size()) {
      if (Indices running = Continuation(timed); !running.empty()) return running;
    }
    const Indices dated = Dated();
    return dated.size() == clips_.size() ? std::optional(ByDate(dated)) : std::nullopt;
  }

  void FindChains() {
    std::map<std::string, std::size_t> byId;
    for (std::size_t i = 0; i < clips_.size(); ++i) {
      if (IsNone(clips_[i].id)) continue;
      const auto [place, isNew] = byId.try_emplace(GuidWords(clips_[i].id), i);
      if (isNew) {
        marked_.push_back(i);
      } else if (clips_[place->second].file != clips_[i].file) {
        findings_[i].Add(Message::kSameClipTwice,
                         fmt::format("has the identifier {} of {}: it is a copy of the same clip",
                                     GuidWords(clips_[i].id), Name(place->second)),
                         "name each clip once");
      }
    }
    std::map<std::size_t, std::size_t> next;
    std::map<std::size_t, std::size_t> previous;
    for (const std::size_t i : marked_) {
      const auto found = byId.find(GuidWords(clips_[i].next));
      if (IsNone(clips_[i].next) || found == byId.end()) continue;
      if (!(clips_[found->second].previous == clips_[i].id)) continue;
      next[i] = found->second;
      previous[found->second] = i;
    }
    std::vector<bool> done(clips_.size());
    const auto follow = [&](std::size_t head) {
      Chain chain;
      for (std::size_t at = head; !done[at];) {
        done[at] = true;
        chain.push_back(at);
        const auto found = next.find(at);
        if (found == next.end()) break;
        at = found->second;
      }
      if (!chain.empty()) chains_.push_back(chain);
    };
    for (const std::size_t i : marked_) {
      if (previous.count(i) == 0) follow(i);
    }
    // What is left goes round in a circle, and no one knows where it begins.
    for (const std::size_t i : marked_) follow(i);
  }

  void CheckChains() {
    SortChains();
    Indices better;
    for (const Chain& chain : chains_) better.insert(better.end(), chain.begin(), chain.end());
    const bool proven = std::any_of(chains_.begin(), chains_.end(), [](const Chain& chain) {
      return !std::is_sorted(chain.begin(), chain.end());
    });
    if (better != marked_)
      Doubt(better, chains_.size() == 1 ? "their identifiers" : "their identifiers and dates",
            marked_, proven ? Message::kOrderWrong : Message::kOrderDoubtful);
    Indices heads;
    for (std::size_t i = 1; i < chains_.size(); ++i) {
      if (!IsGap(chains_[i - 1], chains_[i])) heads.push_back(chains_[i].front());
    }
    mixed_ = !heads.empty();
    if (mixed_) SayWhatIsMixed(heads);
  }

  // By their dates where all have one, else as they begin in the order given. Equal dates leave the
  // order as it is.
  void SortChains() {
    std::sort(chains_.begin(), chains_.end(), [](const Chain& a, const Chain& b) {
      return *std::min_element(a.begin(), a.end()) < *std::min_element(b.begin(), b.end());
    });
    const bool allDated = std::all_of(chains_.begin(), chains_.end(), [this](const Chain& chain) {
      return clips_[chain.front()].date.has_value();
    });
    if (!allDated) return;
    std::stable_sort(chains_.begin(), chains_.end(), [this](const Chain& a, const Chain& b) {
      return IsoDate(*clips_[a.front()].date) < IsoDate(*clips_[b.front()].date);
    });
  }

  // Whether a clip is missing between the two, which is said then.
  bool IsGap(const Chain& before, const Chain& behind) {
    const OrderFacts& last = clips_[before.back()];
    const OrderFacts& first = clips_[behind.front()];
    if (IsNone(last.next) || IsNone(first.previous)) return false;
    findings_[behind.front()].Add(
        Message::kClipMissing,
        fmt::format("does not follow {}: that one names the clip {} as the next, and "
                    "this one the clip {} as the one before",
                    Name(before.back()), GuidWords(last.next), GuidWords(first.previous)),
        "find the missing clip, or merge the parts one by one");
    return true;
  }

  // Once for all of them: a whole card may have been named.
  void SayWhatIsMixed(Indices heads) {
    const std::size_t second = heads.front();
    heads.insert(heads.begin(), chains_.front().front());
    findings_[second].Add(
        Message::kOtherRecording,
        fmt::format("begins another recording: the list mixes {}, which begin with {}",
                    heads.size(), Names(heads)),
        "merge each recording by itself; \"clipchain join FOLDER -o DIR\" does that for all");
  }

  bool DecidedByIdentifiers() const {
    return chains_.size() == 1 && marked_.size() == clips_.size();
  }

  // The clips in an order that is `better`; `given` are the same clips as they stand. What was said
  // by stronger evidence is not said again.
  void Doubt(const Indices& better, const char* evidence, const Indices& given,
             Message message = Message::kOrderDoubtful) {
    if (better == told_) return;
    told_ = better;
    const auto [place, unused] = std::mismatch(given.begin(), given.end(), better.begin());
    findings_[*place].Add(
        message,
        fmt::format("stands where {} should stand, as {} say",
                    Name(better[static_cast<std::size_t>(place - given.begin())]), evidence),
        HowToSort(better));
  }

  // --sort takes nothing but what makes a single recording.
  std::string HowToSort(const Indices& better) const {
    const std::string sort = better == Sorted() ? "let --sort put them in order" : "";
    if (better.size() > kMostNames)
      return (sort.empty() ? "" : sort + ", or ") +
             "merge whole cards with \"clipchain join FOLDER -o DIR\"";
    return (sort.empty() ? "name them in this order: " : sort + ": ") + Names(better);
  }

  // As many as a person reads.
  std::string Names(const Indices& clips) const {
    std::string names;
    for (std::size_t i = 0; i < std::min(clips.size(), kMostNames); ++i)
      names += (i == 0 ? "" : ", ") + Name(clips[i]);
    if (clips.size() > kMostNames) names += fmt::format(" and {} more", clips.size() - kMostNames);
    return names;
  }

  std::string Name(std::size_t index) const { return PrintablePath(findings_[index].Path()); }

  // Where a timecode lies in the day, in frames, be they counted or told in hours, minutes, seconds
  // and frames.
  static std::uint64_t AsCount(std::uint64_t code, std::uint64_t day) { return code % day; }
  static std::uint64_t AsTime(std::uint32_t code, unsigned int framesPerSecond) {
    const std::uint64_t seconds =
        (code >> 24) * std::uint64_t{3600} + (code >> 16 & 127) * 60 + (code >> 8 & 255);
    return seconds * framesPerSecond + (code & 255);
  }
  static std::uint64_t DayOf(unsigned int framesPerSecond) {
    return std::uint64_t{24} * 60 * 60 * framesPerSecond;
  }

  // The clips by where they begin, at a rate; of those that begin together the first two, since a
  // clip does not follow itself.
  class Starts {
   public:
    Starts(const OrderCheck& order, const Indices& timed, unsigned int framesPerSecond) {
      const std::uint64_t day = DayOf(framesPerSecond);
      for (const std::size_t i : timed) {
        const std::uint32_t code = order.clips_[i].timecode->first;
        Note(counted_[AsCount(code, day)], i);
        Note(told_[AsTime(code, framesPerSecond) % day], i);
      }
    }

    // The first clip but `self` that begins at one of those places; `none` if there is none.
    std::size_t FirstAt(std::uint64_t counted, std::uint64_t told, std::size_t self,
                        std::size_t none) const {
      std::size_t first = none;
      for (const auto& [starts, at] : {std::pair(&counted_, counted), std::pair(&told_, told)}) {
        const auto found = starts->find(at);
        if (found == starts->end()) continue;
        for (const std::size_t i : found->second) {
          if (i != self) first = std::min(first, i);
        }
      }
      return first;
    }

   private:
    using Map = std::unordered_map<std::uint64_t, Indices>;

    static void Note(Indices& here, std::size_t index) {
      if (here.size() < 2) here.push_back(index);
    }

    Map counted_;
    Map told_;
  };

  // The order in which each clip runs on, frame by frame and never backward, where another one
  // ended, if there is one for all of them. A day has an end.
  Indices Continuation(const Indices& timed) const {
    const std::size_t none = clips_.size();
    std::vector<std::size_t> next(clips_.size(), none);
    std::vector<std::size_t> befores(clips_.size(), 0);
    std::map<unsigned int, Starts> startsAtRate;
    for (const std::size_t a : timed) {
      const ClipTimecode& code = *clips_[a].timecode;
      const unsigned int rate = code.framesPerSecond;
      if (code.frames == 0 || rate == 0) continue;
      const Starts& starts = startsAtRate.try_emplace(rate, *this, timed, rate).first->second;
      const std::uint64_t day = DayOf(rate);
      next[a] = starts.FirstAt((code.first + code.frames) % day,
                               (AsTime(code.first, rate) + code.frames) % day, a, none);
      if (next[a] != none) ++befores[next[a]];
    }
    const auto head =
        std::find_if(timed.begin(), timed.end(), [&](std::size_t i) { return befores[i] == 0; });
    Indices order;
    for (std::size_t at = head != timed.end() ? *head : none;
         at != none && order.size() < timed.size(); at = next[at])
      order.push_back(at);
    return order.size() == timed.size() ? order : Indices();
  }

  Indices Timed() const {
    Indices timed;
    for (std::size_t i = 0; i < clips_.size(); ++i) {
      if (clips_[i].timecode) timed.push_back(i);
    }
    return timed;
  }

  void CheckTimecodes() {
    const Indices timed = Timed();
    if (timed.size() < 2) return;
    const Indices running = Continuation(timed);
    if (!running.empty()) {
      if (running != timed) Doubt(running, "their timecodes, which run on frame by frame,", timed);
      return;
    }
    Indices sorted = timed;
    std::stable_sort(sorted.begin(), sorted.end(), [this](std::size_t a, std::size_t b) {
      return clips_[a].timecode->first < clips_[b].timecode->first;
    });
    if (sorted != timed) Doubt(sorted, "their timecodes", timed);
  }

  Indices Dated() const {
    Indices dated;
    for (std::size_t i = 0; i < clips_.size(); ++i) {
      if (clips_[i].date) dated.push_back(i);
    }
    return dated;
  }

  // Equal dates leave the order as it is.
  Indices ByDate(Indices dated) const {
    std::stable_sort(dated.begin(), dated.end(), [this](std::size_t a, std::size_t b) {
      return IsoDate(*clips_[a].date) < IsoDate(*clips_[b].date);
    });
    return dated;
  }

  void CheckDates() {
    const Indices dated = Dated();
    if (const Indices sorted = ByDate(dated); sorted != dated) Doubt(sorted, "their dates", dated);
  }

  const std::vector<OrderFacts>& clips_;
  std::vector<FileFindings>& findings_;
  // Clips with identifiers, each once, in the order given.
  Indices marked_;
  std::vector<Chain> chains_;
  // The order named last.
  Indices told_;
  bool mixed_ = false;
};

}  // namespace

void CheckOrder(const std::vector<OrderFacts>& clips, std::vector<FileFindings>& findings) {
  OrderCheck(clips, findings).Run();
}

std::optional<std::vector<std::size_t>> RecordedOrder(const std::vector<OrderFacts>& clips) {
  std::vector<FileFindings> unsaid(clips.size(), FileFindings(""));
  return OrderCheck(clips, unsaid).Order();
}

}  // namespace clipchain
