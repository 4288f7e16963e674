#include "foundation/pointer_list.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

// Notes down which one is destroyed.
struct Noisy {
  ~Noisy() {
    if (log != nullptr) log->push_back(number);
  }
  std::vector<int>* log = nullptr;
  int number = 0;
};

TEST(DeletePointerList, DeletesFrontToBackAndPassesOverNull) {
  std::vector<int> log;
  std::list<Noisy*> list = {new Noisy{&log, 1}, nullptr, new Noisy{&log, 2}};
  QUIRVA::DeletePointerList(list, 0);
  EXPECT_TRUE(list.empty());
  EXPECT_EQ((std::vector<int>{1, 2}), log);
}

TEST(DeletePointerList, DeletesArraysWhereAskedTo) {
  std::vector<int> log;
  std::list<Noisy*> list = {new Noisy[2]{{&log, 1}, {&log, 2}}, nullptr};
  QUIRVA::DeletePointerList(list, 1);
  EXPECT_TRUE(list.empty());
  EXPECT_EQ((std::vector<int>{2, 1}), log);
}

TEST(DeletePointerList, TakesAnyOtherFlagForSingleObjects) {
  for (const signed char flag : {static_cast<signed char>(-1), static_cast<signed char>(2)}) {
    std::vector<int> log;
    std::list<Noisy*> list = {new Noisy{&log, 1}};
    QUIRVA::DeletePointerList(list, flag);
    EXPECT_EQ(std::vector<int>{1}, log);
  }
}

}  // namespace
