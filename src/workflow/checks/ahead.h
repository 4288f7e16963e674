// Prepares the next things of a row while the one before them is used.
#pragma once

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <future>
#include <mutex>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

namespace clipchain {

// Makes the things number 0 to `count` - 1, a few of them ahead in threads. To be used from one
// thread.
template <typename Thing>
class Ahead {
 public:
  // `make` is called once for each number, in any thread and several at once.
  Ahead(std::size_t count, std::function<Thing(std::size_t)> make)
      : count_(count), make_(std::move(make)), slots_(std::min(count, kAhead)) {
    try {
      for (std::size_t i = 0; count >= kFew && i < kThreads; ++i)
        threads_.push_back(std::async(std::launch::async, [this] { Run(); }));
    } catch (const std::system_error&) {
      // With fewer threads it takes longer.
    }
  }
  Ahead(const Ahead&) = delete;
  Ahead& operator=(const Ahead&) = delete;
  // Waits for what has begun, and begins nothing else.
  ~Ahead() {
    {
      const std::lock_guard guard(lock_);
      begun_ = count_;
    }
    room_.notify_all();
  }

  // The next thing in the row; throws what `make` threw for it. As many calls as there are things.
  Thing Take() {
    const std::size_t number = taken_;
    std::unique_lock guard(lock_);
    // Where nobody has begun with it, waiting would take longer than making it.
    while (begun_ <= number) Make(begun_++, guard);
    Slot& slot = slots_[number % slots_.size()];
    made_.wait(guard, [&] { return slot.thing || slot.failure; });
    ++taken_;
    Slot made = std::exchange(slot, Slot());
    // To wake a thread for every thing costs more than some things do.
    const bool isHalfEmpty = begun_ - taken_ <= slots_.size() / 2;
    guard.unlock();
    if (isHalfEmpty) room_.notify_all();
    if (made.failure) std::rethrow_exception(made.failure);
    return std::move(*made.thing);
  }

 private:
  struct Slot {
    std::optional<Thing> thing{};
    std::exception_ptr failure{};
  };

  // Things take memory: no more of them than that are ready and not used.
  static constexpr std::size_t kAhead = 8;
  static constexpr std::size_t kThreads = 3;
  // Few things are not worth a thread.
  static constexpr std::size_t kFew = 8;

  void Run() {
    std::unique_lock guard(lock_);
    while (true) {
      room_.wait(guard, [&] { return begun_ >= count_ || begun_ < taken_ + slots_.size(); });
      if (begun_ >= count_) return;
      Make(begun_++, guard);
      made_.notify_one();
    }
  }

  // Without the lock meanwhile.
  void Make(std::size_t number, std::unique_lock<std::mutex>& guard) {
    Slot made;
    guard.unlock();
    try {
      made.thing.emplace(make_(number));
    } catch (...) {
      made.failure = std::current_exception();
    }
    guard.lock();
    slots_[number % slots_.size()] = std::move(made);
  }

  const std::size_t count_;
  const std::function<Thing(std::size_t)> make_;
  std::mutex lock_;
  // For what is to be made, and with something that was.
  std::condition_variable room_;
  std::condition_variable made_;
  std::vector<Slot> slots_;
  std::size_t begun_ = 0;
  std::size_t taken_ = 0;
  // Ends first, and waits for the threads.
  std::vector<std::future<void>> threads_;
};

}  // namespace clipchain
