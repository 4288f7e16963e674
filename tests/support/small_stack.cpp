#include "support/small_stack.h"

#include <pthread.h>

#include <stdexcept>

namespace support {

namespace {

void* Run(void* work) {
  (*static_cast<const std::function<void()>*>(work))();
  return nullptr;
}

}  // namespace

void OnSmallStack(const std::function<void()>& work) {
  pthread_attr_t attributes;
  pthread_t thread;
  if (pthread_attr_init(&attributes) != 0 ||
      pthread_attr_setstacksize(&attributes, 512 * 1024) != 0 ||
      pthread_create(&thread, &attributes, Run, const_cast<std::function<void()>*>(&work)) != 0)
    throw std::runtime_error("no thread with a small stack");
  pthread_attr_destroy(&attributes);
  pthread_join(thread, nullptr);
}

}  // namespace support
