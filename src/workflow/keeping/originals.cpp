#include "workflow/keeping/originals.h"

#include <algorithm>
#include <map>
#include <set>

#include "workflow/system/part_name.h"

namespace clipchain {

namespace {

// Names that some systems take for a device, whatever ending they have.
bool IsDevice(std::string_view name) {
  std::string stem(name.substr(0, name.find('.')));
  while (stem.ends_with(' ')) stem.pop_back();
  for (char& c : stem) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  for (const std::string_view device : {"CON", "PRN", "AUX", "NUL", "CONIN$", "CONOUT$"}) {
    if (stem == device) return true;
  }
  return stem.size() == 4 && (stem.starts_with("COM") || stem.starts_with("LPT")) &&
         stem[3] >= '0' && stem[3] <= '9';
}

std::string Numbered(const std::string& name, unsigned int number) {
  const std::size_t dot = name.rfind('.');
  const std::size_t end = dot == std::string::npos || dot == 0 ? name.size() : dot;
  return name.substr(0, end) + '-' + std::to_string(number) + name.substr(end);
}

}  // namespace

unsigned long long OriginalClip::KeptBytes() const {
  unsigned long long sum = 0;
  for (const RecipeStep& step : recipe) sum += step.kept;
  return sum;
}

bool IsFileName(std::string_view name) {
  // Bytes, the most that nearly every file system takes.
  constexpr std::size_t kLongest = 255;
  return !name.empty() && name.size() <= kLongest && name != "." && name != ".." &&
         name.find('/') == std::string_view::npos && name.find('\0') == std::string_view::npos &&
         !IsDevice(name);
}

std::vector<std::string> NamesFor(const std::vector<std::string>& paths) {
  std::vector<std::string> names;
  std::set<std::string> taken{std::string(kContentsName)};
  for (const std::string& path : paths) taken.insert(NameOf(path));
  std::set<std::string> used{std::string(kContentsName)};
  // Of each name the last one that was given: thousands of clips may be called alike.
  std::map<std::string, unsigned int> numbers;
  for (const std::string& path : paths) {
    std::string name = NameOf(path);
    unsigned int& number = numbers.try_emplace(name, 1).first->second;
    while (used.contains(name)) {
      name = Numbered(NameOf(path), ++number);
      // Another clip may really be called so.
      if (taken.contains(name)) name = NameOf(path);
    }
    used.insert(name);
    names.push_back(std::move(name));
  }
  return names;
}

}  // namespace clipchain
