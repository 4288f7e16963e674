#include "workflow/joining/plan_reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "workflow/joining/accepted_words.h"
#include "workflow/system/part_name.h"

namespace clipchain {

namespace {

constexpr const char* kFields[] = {"format", "version", "jobs"};
constexpr const char* kJobFields[] = {"number", "inputs", "output"};

bool IsOne(const char* const (&names)[3], const std::string& name) {
  return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

}  // namespace

PlanReader::PlanReader(std::size_t firstNumber, std::function<void(Job&&)> take,
                       std::function<bool()> goOn)
    : firstNumber_(firstNumber), take_(std::move(take)), goOn_(std::move(goOn)) {}

Reason PlanReader::Read(const std::string& text) {
  // Event by event: a tree of all jobs would take many times the memory of the text.
  static_cast<void>(Json::sax_parse(text, this));
  return std::move(fault_);
}

bool PlanReader::parse_error(std::size_t position, const std::string&,
                             const nlohmann::detail::exception& error) {
  fault_ = dynamic_cast<const Json::parse_error*>(&error) != nullptr
               ? fmt::format("is no JSON from byte {} on", position)
               : "is no plan: it has a number that is too large";
  return false;
}

void PlanReader::Fault(const std::string& place, const std::string& text) {
  fault_ = fmt::format("is no plan: {} {}", place.empty() ? "/" : place, text);
}

std::string PlanReader::JobPlace() const { return fmt::format("/jobs/{}", jobs_); }

std::string PlanReader::Place() const {
  switch (levels_.back()) {
    case Level::kText:
      return "";
    case Level::kDocument:
      return '/' + key_;
    case Level::kJobs:
      return JobPlace();
    case Level::kJob:
      return JobPlace() + '/' + key_;
    case Level::kOutput:
      return JobPlace() + "/output";
    case Level::kAccepted:
      return JobPlace() + "/accepted/" + key_;
    default:
      return fmt::format("{}/inputs/{}", JobPlace(), job_.inputs.size());
  }
}

// A plan may be long, and whoever waits for it may not want to.
bool PlanReader::AsksToGoOn() {
  constexpr std::size_t kEventsBetween = 10000;
  if (++events_ % kEventsBetween == 0 && goOn_ && !goOn_()) stopped_ = true;
  return !stopped_;
}

bool PlanReader::key(std::string& name) {
  const Level level = levels_.back();
  key_ = name;
  // Of two fields of one name readers of JSON take either: a plan must have one meaning.
  if (level == Level::kDocument && IsOne(kFields, name) && !fields_.insert(name).second)
    Fault(Place(), "comes twice");
  if (level == Level::kJob && IsOne(kJobFields, name) && !jobFields_.insert(name).second)
    Fault(Place(), "comes twice");
  if ((level == Level::kInput || level == Level::kOutput) && path_.contains(name))
    Fault(Place() + '/' + name, "comes twice");
  return !fault_;
}

bool PlanReader::Value(const Json& value) {
  return AsksToGoOn() && (levels_.back() == Level::kOther || Take(value));
}

// What a value begins that is an object or a list; kOther if that is not what belongs there.
PlanReader::Level PlanReader::LevelWithin(const Json& empty) const {
  const bool isObject = empty.is_object();
  switch (levels_.back()) {
    case Level::kText:
      return isObject ? Level::kDocument : Level::kOther;
    case Level::kDocument:
      return !isObject && key_ == "jobs" ? Level::kJobs : Level::kOther;
    case Level::kJobs:
      return isObject ? Level::kJob : Level::kOther;
    case Level::kJob:
      if (isObject && key_ == "accepted") return Level::kAccepted;
      if (isObject) return key_ == "output" ? Level::kOutput : Level::kOther;
      return key_ == "inputs" ? Level::kInputs : Level::kOther;
    case Level::kInputs:
      return isObject ? Level::kInput : Level::kOther;
    default:
      return Level::kOther;
  }
}

bool PlanReader::Begin(const Json& empty) {
  if (!AsksToGoOn()) return false;
  const Level within = LevelWithin(empty);
  if (within == Level::kOther) {
    // What is passed over is not held, but the parser holds a bit for each level.
    constexpr std::size_t kDeepest = 32;
    if (levels_.back() != Level::kOther && !Take(empty)) return false;
    if (++depth_ > kDeepest) {
      Fault("", "is nested too deeply");
      return false;
    }
  }
  if (within == Level::kJob) {
    job_ = {};
    jobFields_.clear();
  }
  if (within == Level::kInput || within == Level::kOutput) path_ = Json::object();
  if (depth_ <= 1) levels_.push_back(within);
  return true;
}

bool PlanReader::End() {
  if (levels_.back() == Level::kOther && --depth_ > 0) return true;
  const Level ended = levels_.back();
  const bool right = ended == Level::kInput || ended == Level::kOutput ? EndPath() : true;
  levels_.pop_back();
  if (!right) return false;
  if (ended == Level::kDocument) return IsComplete(fields_, kFields, "");
  if (ended == Level::kJob) return EndJob();
  if (ended == Level::kAccepted) return EndAccepted();
  if (ended == Level::kInputs && job_.inputs.empty())
    Fault(JobPlace() + "/inputs", "is no list with at least one clip");
  return !fault_;
}

// A value where no object or list of a plan begins.
bool PlanReader::Take(const Json& value) {
  switch (levels_.back()) {
    case Level::kDocument:
      return TakeField(value);
    case Level::kJob:
      return TakeJobField(value);
    case Level::kInput:
    case Level::kOutput:
      if (key_ == "path" || key_ == "path_bytes") path_[key_] = value;
      return true;
    case Level::kAccepted:
      return TakeAccepted(value);
    default:
      Fault(Place(), "is no object");
      return false;
  }
}

// What a job says about the evidence that put it together.
bool PlanReader::TakeAccepted(const Json& value) {
  if (key_ == "grade") {
    if (value.is_string()) job_.accepted = GradeOfName(value.get<std::string>());
    if (!job_.accepted) Fault(Place(), "is no grade");
    return !fault_;
  }
  // What else stands there is passed over, as everywhere in a plan.
  if (key_ != "evidence") return true;
  if (value.is_string())
    job_.evidence = value.get<std::string>();
  else
    Fault(Place(), "is no text");
  return !fault_;
}

bool PlanReader::EndAccepted() {
  if (!job_.accepted) Fault(JobPlace() + "/accepted/grade", "is missing");
  return !fault_;
}

bool PlanReader::TakeField(const Json& value) {
  if (key_ == "format" && value != kPlanFormat) Fault(Place(), "is of another program");
  if (key_ == "version" && value != kPlanVersion)
    Fault(Place(), fmt::format("is not {}, which this program knows", kPlanVersion));
  if (key_ == "jobs") Fault(Place(), "is no list");
  return !fault_;
}

bool PlanReader::TakeJobField(const Json& value) {
  const std::size_t number = firstNumber_ + jobs_;
  // Jobs that were moved or cut out by hand would run under the numbers of others.
  if (key_ == "number" && value != number) Fault(Place(), fmt::format("is not {}", number));
  if (key_ == "inputs") Fault(Place(), "is no list with at least one clip");
  if (key_ == "output") Fault(Place(), "is no object");
  return !fault_;
}

bool PlanReader::IsComplete(const std::set<std::string>& fields, const char* const (&names)[3],
                            const std::string& place) {
  for (const char* const name : names) {
    if (fields.count(name) == 0 && !fault_) Fault(place + '/' + name, "is missing");
  }
  return !fault_;
}

bool PlanReader::EndJob() {
  if (!IsComplete(jobFields_, kJobFields, JobPlace())) return false;
  ++jobs_;
  if (job_.accepted) job_.findings.push_back(AcceptedFinding(job_));
  take_(std::move(job_));
  return true;
}

bool PlanReader::EndPath() {
  const std::optional<std::string> path = PathFrom(path_);
  if (!path) {
    Fault(Place(), "has no path that a file can have");
    return false;
  }
  if (levels_.back() == Level::kInput) {
    job_.inputs.push_back(*path);
    return true;
  }
  job_.output = *path;
  const std::string name = NameOf(*path);
  const bool isFolder = name.empty() || name == "." || name == "..";
  if (isFolder) Fault(Place(), "has a path that ends in a folder");
  return !fault_;
}

}  // namespace clipchain
