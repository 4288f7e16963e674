// Operations whose cost is to grow with the size of what they are given.
#pragma once

#include <functional>
#include <map>
#include <string>

namespace cost {

// Makes the input for `n` things and gives the operation on it.
using Maker = std::function<std::function<void()>(unsigned int n)>;

struct Job {
  unsigned int n;  // to begin with
  Maker make;
};

const std::map<std::string, Job>& Jobs();

}  // namespace cost
