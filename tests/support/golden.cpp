#include "support/golden.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <string_view>

#include "support/temp_dir.h"

namespace support {

namespace {

// Splits the text of a file at its marks and collects what stands between them.
class Collector {
 public:
  explicit Collector(Golden& golden) : golden_(golden) {}

  void Add(char c) {
    constexpr std::string_view kMarks = "{}[|]";
    if (kMarks.find(c) == std::string_view::npos) {
      digits_ += c;
      return;
    }
    const std::string expected[] = {"{[", "}", "|", "]"};
    if (expected[static_cast<int>(state_)].find(c) == std::string::npos)
      throw std::invalid_argument(golden_.name + ": misplaced mark");
    Flush();
    state_ = c == '{'   ? State::kDropped
             : c == '[' ? State::kDamaged
             : c == '|' ? State::kSound
                        : State::kPlain;
  }

  void Finish() {
    if (state_ != State::kPlain) throw std::invalid_argument(golden_.name + ": open mark");
    Flush();
  }

 private:
  enum class State { kPlain, kDropped, kDamaged, kSound };

  void Flush() {
    const Bytes bytes = Hex(digits_);
    const Bytes zeros = Zeros(bytes.size());
    digits_.clear();
    if (state_ != State::kSound) golden_.bytes = golden_.bytes + bytes;
    if (state_ == State::kDamaged) return;
    golden_.sound = golden_.sound + bytes;
    golden_.written = golden_.written + (state_ == State::kDropped ? zeros : bytes);
  }

  Golden& golden_;
  State state_ = State::kPlain;
  std::string digits_;
};

}  // namespace

std::ostream& operator<<(std::ostream& out, const Golden& golden) { return out << golden.name; }

Golden ParseGolden(const std::string& name, const std::string& text) {
  Golden golden;
  golden.name = name;
  golden.type = name.substr(0, std::min<std::size_t>(name.find('-'), 4));
  golden.type.resize(4, '_');
  std::replace(golden.type.begin(), golden.type.end(), '_', ' ');
  golden.result = "S_OK";

  Collector collector(golden);
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    line = line.substr(0, line.find('#'));
    if (line.rfind("! ", 0) == 0) {
      golden.result = line.substr(2, line.find_last_not_of(' ') - 1);
      continue;
    }
    for (const char c : line) collector.Add(c);
  }
  collector.Finish();
  return golden;
}

std::vector<Golden> LoadGoldens(const std::string& folder) {
  std::vector<Golden> goldens;
  for (const auto& entry :
       std::filesystem::directory_iterator(SourcePath("tests/golden/" + folder))) {
    if (entry.is_directory()) continue;
    const Bytes text = ReadFile(entry.path());
    goldens.push_back(ParseGolden(entry.path().stem().string(), {text.begin(), text.end()}));
  }
  std::sort(goldens.begin(), goldens.end(),
            [](const Golden& a, const Golden& b) { return a.name < b.name; });
  return goldens;
}

}  // namespace support
