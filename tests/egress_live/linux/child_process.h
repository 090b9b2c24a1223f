#ifndef EGRESS_TESTS_EGRESS_LIVE_LINUX_CHILD_PROCESS_H
#define EGRESS_TESTS_EGRESS_LIVE_LINUX_CHILD_PROCESS_H

#include <array>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <grp.h>
#include <iostream>
#include <sched.h>
#include <string>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>

#include "egress_live/linux/descriptor.h"

namespace egress::live {

// A pipe.
struct Pipe {
  Descriptor read;
  Descriptor write;
};

inline Pipe makePipe() {
  std::array<int, 2> ends = {-1, -1};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) std::abort();
  return {.read = Descriptor(ends[0]), .write = Descriptor(ends[1])};
}

// A child process that calls `start` and waits until it is destroyed. It has all descriptors of
// this process. `start` returns what the child has to say, for example why it could not start.
class ChildProcess {
 public:
  explicit ChildProcess(const std::function<std::string()>& start)
      : end_(makePipe()), id_(begin(start)) {}
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ChildProcess(ChildProcess&&) = delete;
  ChildProcess& operator=(ChildProcess&&) = delete;
  ~ChildProcess() {
    end_.write = Descriptor();
    waitpid(id_, nullptr, 0);
  }

  [[nodiscard]] std::uint32_t id() const { return static_cast<std::uint32_t>(id_); }
  [[nodiscard]] const std::string& text() const { return text_; }

 private:
  pid_t begin(const std::function<std::string()>& start) {
    Pipe result = makePipe();
    const pid_t child = fork();
    if (child == 0) {
      end_.write = Descriptor();
      run(start, result);
    }
    result.write = Descriptor();
    char byte = 0;
    while (read(result.read.number(), &byte, 1) == 1) text_ += byte;
    return child;
  }

  [[noreturn]] void run(const std::function<std::string()>& start, Pipe& result) const {
    const std::string text = start();
    if (write(result.write.number(), text.data(), text.size()) < 0) _exit(1);
    result.write = Descriptor();
    char byte = 0;
    _exit(static_cast<int>(read(end_.read.number(), &byte, 1)));
  }

  Pipe end_;  // of the test
  std::string text_;
  pid_t id_;  // last, because begin() uses the others
};

// Moves this process, which has one thread, into a new network namespace, also as an ordinary user.
inline bool enterNewNetwork() {
  return unshare(CLONE_NEWNET) == 0 || unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0;
}

// Says that this user may not do what a test needs. Not GTEST_SKIP: where network namespaces can be
// created, scripts/test-restricted accepts no skipped test.
inline void printSkipped(std::string_view reason) {
  std::cout << "skipped: " << reason << '\n';
}

constexpr uid_t kOtherUser = 12345;

// Gives up all rights of root.
inline bool becomeOtherUser() {
  return setgroups(0, nullptr) == 0 && setgid(kOtherUser) == 0 && setuid(kOtherUser) == 0;
}

// A directory of its own that every user can reach, removed with what is in it.
class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    if (mkdtemp(path_.data()) == nullptr) std::abort();
    std::filesystem::permissions(path_, std::filesystem::perms::all);
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  TemporaryDirectory(TemporaryDirectory&&) = delete;
  TemporaryDirectory& operator=(TemporaryDirectory&&) = delete;
  ~TemporaryDirectory() { std::filesystem::remove_all(path_); }

  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  std::string path_ = std::filesystem::temp_directory_path() / "egress-live-XXXXXX";
};

}  // namespace egress::live

#endif
