#include "apps/report/child_process.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <fcntl.h>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>

#include "apps/report/files.h"

namespace egress::report {
namespace {

// Ends without the destructors and buffers of the process that this is a copy of.
[[noreturn]] void runChild(const std::function<std::string()>& function, int pipe) noexcept {
  const std::string result = function();
  std::string_view rest = result;
  while (!rest.empty()) {
    const ssize_t count = write(pipe, rest.data(), rest.size());
    if (count < 0) _exit(1);  // nobody reads it
    rest.remove_prefix(static_cast<std::size_t>(count));
  }
  _exit(0);
}

std::string endText(int status) {
  if (WIFSIGNALED(status)) return "was killed by signal " + std::to_string(WTERMSIG(status));
  return "ended with status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

ChildProcess::ChildProcess(const std::function<std::string()>& function) {
  std::array<int, 2> ends{-1, -1};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) throw CannotRun(withSystemError("cannot make a pipe"));
  process_ = fork();
  const int error = errno;
  if (process_ == 0) {
    close(ends[0]);
    runChild(function, ends[1]);
  }
  close(ends[1]);
  pipe_ = ends[0];
  if (process_ > 0) return;
  close(pipe_);
  errno = error;
  throw CannotRun(withSystemError("cannot start a process"));
}

ChildProcess::~ChildProcess() {
  if (process_ > 0) end();
  close(pipe_);
}

bool ChildProcess::receive(std::string& bytes) const {
  constexpr std::size_t kPart = 65536;  // of a pipe
  const std::size_t size = bytes.size();
  bytes.resize(size + kPart);
  const ssize_t count = read(pipe_, bytes.data() + size, kPart);
  const bool isInterrupted = count < 0 && errno == EINTR;
  bytes.resize(size + static_cast<std::size_t>(count > 0 ? count : 0));
  return count > 0 || isInterrupted;
}

std::string ChildProcess::end() {
  kill(process_, SIGKILL);  // it may have closed the pipe and go on
  int status = 0;
  while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
  }
  process_ = -1;
  return endText(status);
}

}  // namespace egress::report
