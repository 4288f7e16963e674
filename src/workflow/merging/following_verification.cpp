#include "workflow/merging/following_verification.h"

#include <chrono>
#include <limits>

#include "workflow/merging/image_comparison.h"

namespace clipchain {

namespace {

// Between two calls of who listens.
constexpr std::chrono::milliseconds kPatience{50};

}  // namespace

FollowingVerification::FollowingVerification(const VerifyTask& task, int descriptor)
    : file_(task.inputs, task.image, descriptor, mark_) {
  const Progress listener = [this](const Step& step) {
    compared_ = step.current;
    total_ = step.total;
    return !stopped_;
  };
  found_ = std::async(
      std::launch::async, [this, listener, inputs = &task.inputs, image = &task.image,
                           output = task.output, fit = task.fit, chapters = task.chapters] {
        return VerifySamples({*inputs, *image, output, file_, false, listener, fit, chapters});
      });
}

FollowingVerification::~FollowingVerification() {
  stopped_ = true;
  mark_.GiveUp();
}

Findings FollowingVerification::Finish(const VerifyTask& task) {
  // All is written: whoever waits for bytes that a damaged table names would wait for ever.
  mark_.RaiseTo(std::numeric_limits<unsigned long long>::max());
  while (found_.wait_for(kPatience) != std::future_status::ready) {
    if (task.progress && !task.progress({Step::Phase::kVerifying, 0, compared_, total_}))
      stopped_ = true;
  }
  Findings damage = CompareWithImage({task.inputs, task.image, task.output, task.file});
  Findings differences = found_.get();
  // Where bytes are wrong, what the tables seem to say is only what follows from it.
  return damage.empty() ? differences : damage;
}

}  // namespace clipchain
