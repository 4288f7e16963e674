#include "support/process.h"

#include <fcntl.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "support/temp_dir.h"

namespace support {

namespace {

[[noreturn]] void Become(const std::vector<std::string>& command) {
  std::vector<char*> arguments;
  for (const std::string& argument : command)
    arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  ::execvp(arguments[0], arguments.data());
  ::_exit(127);
}

// In the child: lets a stream come from or go to a file.
void Redirect(int stream, const std::string& path, int flags) {
  const int file = ::open(path.c_str(), flags, 0600);
  if (file < 0 || ::dup2(file, stream) < 0) ::_exit(126);
  ::close(file);
}

int ExitCode(pid_t child) {
  int status = 0;
  if (::waitpid(child, &status, 0) != child) throw std::runtime_error("a child is lost");
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::string FileText(const std::string& path) {
  const Bytes bytes = ReadFile(path);
  return {bytes.begin(), bytes.end()};
}

}  // namespace

Finished Run(const std::vector<std::string>& command) {
  const TempDir folder;
  const std::string out = folder / "out";
  const std::string err = folder / "err";
  const pid_t child = ::fork();
  if (child < 0) throw std::runtime_error("no child process");
  if (child == 0) {
    Redirect(STDIN_FILENO, "/dev/null", O_RDONLY);
    Redirect(STDOUT_FILENO, out, O_WRONLY | O_CREAT);
    Redirect(STDERR_FILENO, err, O_WRONLY | O_CREAT);
    Become(command);
  }
  Finished finished;
  finished.exitCode = ExitCode(child);
  finished.out = FileText(out);
  finished.err = FileText(err);
  return finished;
}

Finished RunOnTerminal(const std::vector<std::string>& command) { return Talk(command).End(); }

Talk::Talk(const std::vector<std::string>& command) {
  process_ = ::forkpty(&terminal_, nullptr, nullptr, nullptr);
  if (process_ < 0) throw std::runtime_error("no terminal");
  if (process_ == 0) Become(command);
}

Talk::~Talk() {
  if (process_ < 0) return;
  ::kill(process_, SIGKILL);
  ::waitpid(process_, nullptr, 0);
  ::close(terminal_);
}

// Reading fails when the program has closed its end.
bool Talk::Listen() {
  std::array<char, 4096> block;
  const ssize_t count = ::read(terminal_, block.data(), block.size());
  if (count > 0) shown_.append(block.data(), static_cast<std::size_t>(count));
  return count > 0;
}

void Talk::Expect(const std::string& text) {
  while (shown_.find(text) == std::string::npos) {
    if (!Listen()) throw std::runtime_error("never shown: " + text + "\n" + shown_);
  }
}

void Talk::Say(const std::string& text) {
  if (::write(terminal_, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
    throw std::runtime_error("nobody listens");
}

Finished Talk::End() {
  while (Listen()) continue;
  Finished finished;
  finished.exitCode = ExitCode(std::exchange(process_, -1));
  finished.out = shown_;
  ::close(terminal_);
  return finished;
}

bool HasProgram(const std::string& name) {
  const char* path = std::getenv("PATH");
  std::istringstream folders(path != nullptr ? path : "");
  for (std::string folder; std::getline(folders, folder, ':');) {
    if (::access((folder + "/" + name).c_str(), X_OK) == 0) return true;
  }
  return false;
}

}  // namespace support
