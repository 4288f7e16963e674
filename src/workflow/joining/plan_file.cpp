#include "workflow/plan_file.h"

#include <fmt/format.h>

#include <filesystem>
#include <new>
#include <system_error>

#include "workflow/clips/clip_json.h"
#include "workflow/joining/plan_json.h"
#include "workflow/system/file_bytes.h"
#include "workflow/system/files.h"
#include "workflow/system/part_file.h"
#include "workflow/system/part_name.h"
#include "workflow/system/text_file.h"

namespace clipchain {

namespace {

constexpr const char* kFormat = "clipchain plan";
constexpr int kVersion = 1;

std::string ErrorText(int error) { return std::generic_category().message(error); }

std::string Absolute(const std::string& path) { return std::filesystem::absolute(path).string(); }

Job WithAbsolutePaths(Job job) {
  for (std::string& input : job.inputs) input = Absolute(input);
  if (!job.output.empty()) job.output = Absolute(job.output);
  return job;
}

// Where in a document something is wrong.
struct Fault {
  std::string place;  // a JSON pointer
  std::string text;
};

struct Unreadable {
  std::string text;
};

std::string TextOf(const std::string& path) {
  FileBytes file(path);
  if (!file.IsFile()) throw Unreadable{WhyUnreadable(path)};
  const unsigned long long size = file.Size();
  if (size > kLargestPlan)
    throw Fault{"", fmt::format("has {} bytes, and a plan has {} at most", size, kLargestPlan)};
  std::string text(size, '\0');
  if (!file.Read(0, text.data(), text.size())) throw Unreadable{ErrorText(file.error())};
  return text;
}

// A parser takes many times the memory of brackets that only nest.
bool IsShallow(int depth, Json::parse_event_t, const Json&) {
  constexpr int kDeepest = 32;
  if (depth > kDeepest) throw Fault{"", "is nested too deeply"};
  return true;
}

const Json& Field(const Json& object, const std::string& place, const char* name) {
  if (!object.is_object()) throw Fault{place, "is no object"};
  const auto field = object.find(name);
  if (field == object.end()) throw Fault{place + '/' + name, "is missing"};
  return *field;
}

std::string PathAt(const Json& object, const std::string& place) {
  if (!object.is_object()) throw Fault{place, "is no object"};
  const std::optional<std::string> path = PathOf(object);
  if (!path) throw Fault{place, "has no path that a file can have"};
  return *path;
}

Job JobAt(const Json& object, const std::string& place, std::size_t number) {
  if (Field(object, place, "number") != number)
    throw Fault{place + "/number", fmt::format("is not {}", number)};
  Job job;
  const Json& inputs = Field(object, place, "inputs");
  if (!inputs.is_array() || inputs.empty())
    throw Fault{place + "/inputs", "is no list with at least one clip"};
  for (const Json& input : inputs)
    job.inputs.push_back(PathAt(input, fmt::format("{}/inputs/{}", place, job.inputs.size())));
  job.output = PathAt(Field(object, place, "output"), place + "/output");
  const std::string name = NameOf(job.output);
  if (name.empty() || name == "." || name == "..")
    throw Fault{place + "/output", "has a path that ends in a folder"};
  return job;
}

std::vector<Job> JobsOf(const Json& document) {
  if (Field(document, "", "format") != kFormat) throw Fault{"/format", "is of another program"};
  if (Field(document, "", "version") != kVersion)
    throw Fault{"/version", fmt::format("is not {}, which this program knows", kVersion)};
  const Json& list = Field(document, "", "jobs");
  if (!list.is_array()) throw Fault{"/jobs", "is no list"};
  std::vector<Job> jobs;
  for (const Json& job : list) {
    jobs.push_back(JobAt(job, fmt::format("/jobs/{}", jobs.size()), jobs.size() + 1));
  }
  return jobs;
}

}  // namespace

std::string PlanText(const JoinPlan& plan) {
  Json document;
  document["format"] = kFormat;
  document["version"] = kVersion;
  document["jobs"] = Json::array();
  document["left_out"] = Json::array();
  for (const Job& job : plan.jobs) {
    const Json fields = JobJson(WithAbsolutePaths(job));
    Json object;
    if (job.leftOut == LeftOut::kNo) {
      object["number"] = document["jobs"].size() + 1;
    } else {
      object["reason"] = LeftOutName(job.leftOut);
    }
    object.update(fields);
    document[job.leftOut == LeftOut::kNo ? "jobs" : "left_out"].push_back(object);
  }
  return JsonText(document);
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
  const std::string why = WriteTextFile(path, text, false);
  if (why.empty()) return std::nullopt;
  return MakeFinding(Message::kPlanUnwritable, path, why, "choose another name or folder");
}

PlanReading ReadPlan(const std::string& path) {
  constexpr const char* kAnew = "make it anew with \"clipchain join --plan\"";
  const auto refuse = [&path](Message message, const std::string& text, const char* remedy) {
    return PlanReading{{}, MakeFinding(message, path, text, remedy)};
  };
  const auto invalid = [&](const std::string& text) {
    return refuse(Message::kPlanInvalid, text, kAnew);
  };
  try {
    return {JobsOf(Json::parse(TextOf(path), IsShallow)), std::nullopt};
  } catch (const Unreadable& why) {
    return refuse(Message::kPlanUnreadable, "can't be read: " + why.text,
                  "check the name and the permissions");
  } catch (const Json::parse_error& error) {
    return invalid(fmt::format("is no JSON from byte {} on", error.byte));
  } catch (const Json::exception&) {
    return invalid("is no plan: it has a number that is too large");
  } catch (const Fault& fault) {
    return invalid(
        fmt::format("is no plan: {} {}", fault.place.empty() ? "/" : fault.place, fault.text));
  } catch (const std::bad_alloc&) {
    return refuse(Message::kOutOfMemory, "needs more memory than there is",
                  "free some memory, or make several plans");
  }
}

}  // namespace clipchain
