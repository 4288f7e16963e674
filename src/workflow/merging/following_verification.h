// Verifies a result while it is written, in a thread of its own.
#pragma once

#include <atomic>
#include <future>
#include <string>
#include <vector>

#include "workflow/merging/verify.h"
#include "workflow/merging/watermark.h"

namespace clipchain {

// Compares the samples of what was written with those of the clips while the rest is being written,
// and what stands in no clip in the end.
class FollowingVerification {
 public:
  // Begins. The task's inputs, image and fit, and the descriptor of the result, must outlive this
  // object; the task's file is not read. Throws std::system_error where there is no thread to be
  // had.
  FollowingVerification(const VerifyTask& task, int descriptor);
  // Ends what is not finished.
  ~FollowingVerification();
  FollowingVerification(const FollowingVerification&) = delete;
  FollowingVerification& operator=(const FollowingVerification&) = delete;

  // To be raised by the writer.
  Watermark& Mark() { return mark_; }
  // Once all is written: what `Verify` would find. The progress is told from here, and ends the
  // work if it says so.
  Findings Finish(const VerifyTask& task);

 private:
  Watermark mark_;
  FollowingBytes file_;
  std::atomic<long long> compared_ = 0;
  std::atomic<long long> total_ = 0;
  std::atomic<bool> stopped_ = false;
  // Last: it waits for the thread when it goes.
  std::future<Findings> found_;
};

}  // namespace clipchain
