#include "tests/tools/Program.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <thread>

std::string ExamplePath(const std::string& built) {
  const char* const folder = std::getenv("CMM_PROGRAMS");
  return folder != nullptr ? folder + built.substr(built.rfind('/')) : built;
}

// Output goes to files: nothing blocks, however much or little is read.
Program::Program(const Command& command, const BeforeStart& beforeStart) {
  const std::string out = folder_.File("out");
  const std::string err = folder_.File("err");
  std::vector<char*> arguments;
  for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);

  process_ = fork();
  if (process_ < 0) throw std::runtime_error("fork failed");
  if (process_ > 0) return;
  dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
  dup2(open(out.c_str(), O_CREAT | O_WRONLY, 0600), STDOUT_FILENO);
  dup2(open(err.c_str(), O_CREAT | O_WRONLY, 0600), STDERR_FILENO);
  if (beforeStart) beforeStart();
  execvp(arguments[0], arguments.data());
  _exit(127);
}

Program::~Program() {
  if (ended_) return;
  Send(SIGKILL);
  waitpid(process_, &status_, 0);
}

Outcome Program::Wait() {
  if (!ended_) waitpid(process_, &status_, 0);
  ended_ = true;
  const int code = WIFEXITED(status_) ? WEXITSTATUS(status_) : 128 + WTERMSIG(status_);
  return {code, Said("out"), Said("err")};
}

/// A stream's text, with this system's line ends.
std::string Program::Said(const std::string& stream) const {
  std::string text = FileText(folder_.File(stream));
  for (std::size_t at = 0; (at = text.find("\r\n", at)) != std::string::npos;) text.erase(at, 1);
  return text;
}

void Program::WaitUntil(const std::function<bool()>& isSo) {
  while (!ended_ && !isSo()) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    ended_ = waitpid(process_, &status_, WNOHANG) == process_;
  }
}

void Program::WaitForBytes(const fs::path& file, std::uintmax_t bytes) {
  WaitUntil([&] { return fs::exists(file) && fs::file_size(file) >= bytes; });
}

void Program::WaitToSay(const std::string& text) {
  WaitUntil([&] { return Said("out").find(text) != std::string::npos; });
}

void LimitFiles(std::uintmax_t bytes) {
  std::signal(SIGXFSZ, SIG_IGN);
  const rlimit limit{bytes, bytes};
  setrlimit(RLIMIT_FSIZE, &limit);
}
