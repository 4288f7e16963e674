#include "workflow/plan_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <new>
#include <system_error>
#include <utility>

#include "workflow/clips/clip_json.h"
#include "workflow/joining/plan_json.h"
#include "workflow/joining/plan_reader.h"
#include "workflow/system/file_bytes.h"
#include "workflow/system/files.h"
#include "workflow/system/text_file.h"

namespace clipchain {

namespace {

// How a plan's text is laid out as long as nobody has edited it: each job has a line of its own, so
// that one can be found without reading the others. The bytes of the whole text take so many
// digits, with blanks in front.
constexpr std::size_t kDigits = 12;
constexpr const char* kJobLine = "    {\"number\":";

std::string Head(std::size_t bytes) {
  return fmt::format(
      "{{\n  \"format\":\"{}\",\n  \"version\":{},\n  \"bytes\":{:>{}},\n  \"jobs\":[", kPlanFormat,
      kPlanVersion, bytes, kDigits);
}

std::string Absolute(const std::string& path) { return std::filesystem::absolute(path).string(); }

Job WithAbsolutePaths(Job job) {
  for (std::string& input : job.inputs) input = Absolute(input);
  if (!job.output.empty()) job.output = Absolute(job.output);
  return job;
}

// The jobs that are left out, or that are not, each on a line.
std::string Lines(const JoinPlan& plan, bool leftOut) {
  std::string lines;
  std::size_t number = 0;
  for (const Job& job : plan.jobs) {
    if ((job.leftOut != LeftOut::kNo) != leftOut) continue;
    Json object;
    if (leftOut)
      object["reason"] = LeftOutName(job.leftOut);
    else
      object["number"] = ++number;
    object.update(JobJson(WithAbsolutePaths(job)));
    lines += lines.empty() ? "\n    " : ",\n    ";
    lines += object.dump(-1, ' ', false, Json::error_handler_t::replace);
  }
  return lines.empty() ? "" : lines + "\n  ";
}

// What was proposed, each on a line, with the number of its job where it is one.
std::string ProposedLines(const JoinPlan& plan) {
  std::vector<Json> numbers;
  std::size_t number = 0;
  for (const Job& job : plan.jobs)
    numbers.push_back(job.leftOut == LeftOut::kNo ? Json(++number) : Json());
  std::string lines;
  for (const PlannedProposal& planned : plan.proposed) {
    Json object = PlannedJson(planned);
    object["job"] = planned.accepted ? numbers[planned.job] : Json();
    lines += lines.empty() ? "\n    " : ",\n    ";
    lines += object.dump(-1, ' ', false, Json::error_handler_t::replace);
  }
  return lines.empty() ? "" : lines + "\n  ";
}

// A plan in a file, and what stands in the way of reading it.
class PlanFileText {
 public:
  using GoOn = std::function<bool()>;

  PlanFileText(const std::string& path, GoOn goOn)
      : path_(path), goOn_(std::move(goOn)), file_(path), size_(file_.Size()) {}

  // Every job of the text, as it is told of them; what is wrong with it, if anything is.
  std::optional<Finding> ReadAll(const std::function<void(Job&&)>& take) {
    if (!file_.IsFile()) return Unreadable(UnreadableWords(path_));
    if (size_ > kLargestPlan)
      return Invalid(fmt::format("is no plan: it has {} bytes, and a plan has {} at most", size_,
                                 kLargestPlan));
    std::string text(size_, '\0');
    if (!ReadText(text)) return stopped_ ? Stopped() : Unreadable(EndWords());
    PlanReader reader(1, take, goOn_);
    const Reason fault = reader.Read(text);
    if (reader.stopped()) return Stopped();
    return fault ? std::optional(Invalid(*fault)) : std::nullopt;
  }

  // The job of that number, found by its line alone; nothing where that can't be, or it is wrong.
  std::optional<Job> ReadOne(std::size_t number) {
    if (!file_.IsFile() || size_ > kLargestPlan || !IsAsWritten()) return std::nullopt;
    const std::optional<std::string> line = Line(number);
    if (!line) return std::nullopt;
    std::optional<Job> job;
    PlanReader reader(
        number, [&job](Job&& found) { job = std::move(found); }, goOn_);
    const std::string rest = "]}";
    const Reason fault = reader.Read(Head(0) + *line + rest);
    return fault || reader.stopped() ? std::nullopt : job;
  }

 private:
  bool IsAsWritten() {
    const std::string head = Head(size_) + '\n';
    std::string there(head.size(), '\0');
    return size_ > head.size() && file_.Read(0, there.data(), there.size()) && there == head;
  }

  // Halves what is left until the line stands there.
  std::optional<std::string> Line(std::size_t number) {
    // Where a line begins, none behind the wanted one.
    unsigned long long low = Head(0).size() + 1;
    unsigned long long high = size_;
    while (low < high) {
      const unsigned long long half = low + (high - low) / 2;
      const unsigned long long line = LineFrom(half);
      const std::size_t found = line < high ? NumberAt(line) : static_cast<std::size_t>(-1);
      if (found == number) return TextOfLine(line);
      if (found > number) {
        high = half;
      } else {
        low = LineFrom(line + 1);
      }
    }
    return std::nullopt;
  }

  // The beginning of the first line that does not begin in front of that place.
  unsigned long long LineFrom(unsigned long long place) {
    for (unsigned long long at = place - 1; at < size_; at += block_.size()) {
      if (!Load(at)) return size_;
      if (const std::size_t end = block_.find('\n'); end != std::string::npos) return at + end + 1;
    }
    return size_;
  }

  // The number of the job in that line; more than any where it is no job's.
  std::size_t NumberAt(unsigned long long line) {
    constexpr std::string_view kMark = kJobLine;
    std::size_t number = 0;
    if (!Load(line) || !block_.starts_with(kMark)) return static_cast<std::size_t>(-1);
    const char* const digits = block_.data() + kMark.size();
    const auto [end, error] = std::from_chars(digits, block_.data() + block_.size(), number);
    return error == std::errc() && end != digits ? number : static_cast<std::size_t>(-1);
  }

  std::optional<std::string> TextOfLine(unsigned long long line) {
    std::string text(LineFrom(line + 1) - line, '\0');
    if (!file_.Read(line, text.data(), text.size())) return std::nullopt;
    text.resize(text.find_last_not_of("\n,") + 1);
    return text;
  }

  bool Load(unsigned long long place) {
    constexpr unsigned long long kBlock = 4096;
    block_.resize(std::min(kBlock, size_ - std::min(size_, place)));
    return !block_.empty() && file_.Read(place, block_.data(), block_.size());
  }

  bool ReadText(std::string& text) {
    constexpr std::size_t kPart = std::size_t{1} << 20;
    for (std::size_t at = 0; at < text.size(); at += kPart) {
      stopped_ = goOn_ && !goOn_();
      if (stopped_ || !file_.Read(at, text.data() + at, std::min(kPart, text.size() - at)))
        return false;
    }
    return true;
  }

  // The system may have given less than the size that it told, without an error.
  std::string EndWords() const {
    return file_.error() ? ErrorText(file_.error()) : std::string("it ends too early");
  }

  Finding Invalid(const std::string& text) const {
    return MakeFinding(Message::kPlanInvalid, path_, text,
                       "make it anew with \"clipchain join --plan\"");
  }
  Finding Unreadable(const std::string& why) const {
    return MakeFinding(Message::kPlanUnreadable, path_, "can't be read: " + why,
                       "check the name and the permissions");
  }
  Finding Stopped() const {
    return MakeFinding(Message::kMergeStopped, path_, "was not read to its end: that was stopped",
                       "run it again");
  }

  const std::string& path_;
  const GoOn goOn_;
  FileBytes file_;
  const unsigned long long size_;
  std::string block_;
  bool stopped_ = false;
};

Finding TooLittleMemory(const std::string& path) {
  return MakeFinding(Message::kOutOfMemory, path, "needs more memory than there is",
                     "free some memory, or make several plans");
}

}  // namespace

std::string PlanText(const JoinPlan& plan) {
  const std::string rest = fmt::format("{}],\n  \"left_out\":[{}],\n  \"proposed\":[{}]\n}}\n",
                                       Lines(plan, false), Lines(plan, true), ProposedLines(plan));
  return Head(Head(0).size() + rest.size()) + rest;
}

std::optional<Finding> WritePlan(const JoinPlan& plan, const std::string& path) {
  if (Exists(path)) {
    return MakeFinding(Message::kPlanUnwritable, path,
                       "exists already, and jobs may be running from it",
                       "choose another name, or remove it");
  }
  const std::string text = PlanText(plan);
  if (text.size() > kLargestPlan) {
    return MakeFinding(
        Message::kPlanUnwritable, path,
        fmt::format("would take {} bytes, and a plan has {} at most", text.size(), kLargestPlan),
        "make several plans, each for some of the recordings");
  }
  const Reason why = WriteTextFile(path, text, false);
  if (!why) return std::nullopt;
  return MakeFinding(Message::kPlanUnwritable, path, *why, "choose another name or folder");
}

PlanReading ReadPlan(const std::string& path, const std::function<bool()>& goOn) {
  try {
    PlanReading reading;
    reading.fault = PlanFileText(path, goOn).ReadAll([&reading](Job&& job) {
      reading.jobs.push_back(std::move(job));
    });
    if (reading.fault) reading.jobs.clear();
    return reading;
  } catch (const std::bad_alloc&) {
    return {{}, TooLittleMemory(path)};
  }
}

JobReading ReadJob(const std::string& path, std::size_t number, const std::function<bool()>& goOn) {
  try {
    PlanFileText text(path, goOn);
    if (std::optional<Job> job = text.ReadOne(number)) return {std::move(*job), std::nullopt};
    JobReading reading;
    std::size_t count = 0;
    reading.fault = text.ReadAll([&](Job&& job) {
      if (++count == number) reading.job = std::move(job);
    });
    if (!reading.fault && number > count)
      reading.fault =
          MakeFinding(Message::kJobMissing, path,
                      fmt::format("has jobs up to number {}, and no job {}", count, number),
                      "give numbers of jobs that the plan has");
    return reading;
  } catch (const std::bad_alloc&) {
    return {{}, TooLittleMemory(path)};
  }
}

}  // namespace clipchain
