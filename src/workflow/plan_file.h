// Writes and reads a plan as a file, for batch systems, which run each job by its number.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "foundation/export.h"
#include "workflow/finding.h"
#include "workflow/plan.h"

namespace clipchain {

// The plan as a JSON document; docs/json.md has the fields. Only jobs that are to be run have a
// number. Paths are absolute, so that it does not matter where a job is started.
[[nodiscard]] CLIPCHAIN_API std::string PlanText(const JoinPlan& plan);

// More bytes than a plan of a hundred thousand clips has. No larger one is written or read: in
// memory it takes many times as much.
inline constexpr std::size_t kLargestPlan = std::size_t{64} << 20;

// Writes that document to a new file and flushes it. What speaks against it, if anything does: then
// there is no such file, or the one that was there.
[[nodiscard]] CLIPCHAIN_API std::optional<Finding> WritePlan(const JoinPlan& plan,
                                                             const std::string& path);

struct PlanReading {
  // Those that are to be run; inputs and output alone are filled in.
  std::vector<Job> jobs;
  // Why there are none, where there are none.
  std::optional<Finding> fault;
};

// Reads such a document and no other file. One that contradicts itself anywhere is
// refused as a whole. A plan may name any path; what keeps existing files safe is the merge. `goOn`
// is asked now and then, and false ends the reading; it may be empty.
[[nodiscard]] CLIPCHAIN_API PlanReading ReadPlan(const std::string& path,
                                                 const std::function<bool()>& goOn = {});

struct JobReading {
  // Inputs and output alone are filled in.
  Job job;
  // Why there is none, where there is none.
  std::optional<Finding> fault;
};

// Reads the job of that number, from 1 on, so that each job of a long plan can be run by itself: in
// a plan that is as it was written only that job is read. One that was edited is read as a whole,
// as by ReadPlan.
[[nodiscard]] CLIPCHAIN_API JobReading ReadJob(const std::string& path, std::size_t number,
                                               const std::function<bool()>& goOn = {});

}  // namespace clipchain
