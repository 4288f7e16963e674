#include "support/small_stack.h"

#include <pthread.h>

#include <cstddef>
#include <stdexcept>

namespace support {

namespace {

// What the fuzzer and the sanitizers add together takes more of a stack than the code itself.
#ifdef CLIPCHAIN_FUZZED
constexpr std::size_t kSize = 1024 * 1024;
#else
constexpr std::size_t kSize = 512 * 1024;
#endif

void* Run(void* work) {
  (*static_cast<const std::function<void()>*>(work))();
  return nullptr;
}

}  // namespace

void OnSmallStack(const std::function<void()>& work) {
  pthread_attr_t attributes;
  pthread_t thread;
  if (pthread_attr_init(&attributes) != 0 || pthread_attr_setstacksize(&attributes, kSize) != 0 ||
      pthread_create(&thread, &attributes, Run, const_cast<std::function<void()>*>(&work)) != 0)
    throw std::runtime_error("no thread with a small stack");
  pthread_attr_destroy(&attributes);
  pthread_join(thread, nullptr);
}

}  // namespace support
