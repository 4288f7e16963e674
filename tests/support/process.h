// Running programs: the tool under test, and the media tools that judge its output.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace support {

struct Finished {
  int exitCode = -1;  // 128 and above for a program that a signal ended
  std::string out;
  std::string err;
};

// Runs a program with no input and waits for it. The first argument is looked up in the path.
Finished Run(const std::vector<std::string>& command);

// The same with a terminal as its three streams; `out` is what it showed there.
Finished RunOnTerminal(const std::vector<std::string>& command);

// A program on a terminal that somebody talks to.
class Talk {
 public:
  explicit Talk(const std::vector<std::string>& command);
  ~Talk();  // ends the program where End() was not called
  Talk(const Talk&) = delete;
  Talk& operator=(const Talk&) = delete;

  // Waits until it shows that text; throws if it ends before.
  void Expect(const std::string& text);
  void Say(const std::string& text);  // types it
  pid_t process() const { return process_; }
  // Waits for the end; `out` is all that it showed.
  Finished End();

 private:
  bool Listen();

  int terminal_ = -1;
  pid_t process_ = -1;
  std::string shown_;
};

// Whether a program of that name is in the path.
bool HasProgram(const std::string& name);

}  // namespace support
