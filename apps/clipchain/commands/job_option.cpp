#include "clipchain/commands/job_option.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <system_error>
#include <utility>

#include "clipchain/terminal/stop_signals.h"
#include "workflow/join.h"
#include "workflow/plan_file.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

// 0 for what is no number from 1 on.
std::size_t NumberIn(const std::string& text) {
  std::size_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stop == end ? number : 0;
}

}  // namespace

CLI::Option* AddJobOption(CLI::App& command, std::vector<std::string>& values) {
  CLI::Option* option = command.add_option(
      "--job", values,
      "Merge recording N of FILE, which \"clipchain join --plan\" wrote; nothing is done if its "
      "result is there already");
  option->expected(2)->type_name("FILE N");
  option->each([count = 0](const std::string& value) mutable {
    // The parser counts what it is given and knows no second kind of value in one option.
    if (++count == 2 && NumberIn(value) == 0)
      throw CLI::ValidationError(value + " is no number of a job; they count from 1");
  });
  return option;
}

std::optional<Finding> FindJob(const std::vector<std::string>& values, Job& job) {
  const std::size_t number = NumberIn(values[1]);
  JobReading reading = ReadJob(values[0], number, [] { return StopSignal() == 0; });
  if (reading.fault) return std::move(reading.fault);
  job = std::move(reading.job);
  // A plan holds no sizes, and the progress needs them.
  for (const std::string& input : job.inputs) job.size += FileSize(input);
  return std::nullopt;
}

JobResult MergeJob(const Job& job, const SafeMergeOptions& options, const KeepOptions& keep) {
  JoinPlan plan;
  plan.jobs.push_back(job);
  JoinOptions join;
  join.merge = options;
  join.keep = keep;
  join.merge.check.progress = [&](const Step& step) {
    // A merge counts each phase by itself; a join of one job counts all that it has to do.
    const bool verifies = step.phase == Step::Phase::kVerifying;
    const long long before = verifies ? step.total - job.size : 0;
    const long long current = std::min(step.current - before, job.size);
    return !options.check.progress ||
           options.check.progress({step.phase, step.clip, current, job.size});
  };
  // The way of a join, which knows its own results again: on many machines a job may be given out
  // twice.
  const JobReport report = Join(plan, join).jobs.front();
  JobResult result;
  result.already = report.outcome == Outcome::kAlready;
  result.merge.done = result.already || report.outcome == Outcome::kMerged;
  result.merge.findings = report.findings;
  result.merge.adaptations = report.adaptations;
  result.merge.size = report.size;
  result.merge.shared = report.shared;
  result.merge.result = report.result;
  return result;
}

}  // namespace clipchain
