#include "apps/report/watch_events.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstddef>
#include <poll.h>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>

#include "apps/report/files.h"

namespace egress::report {
namespace {

[[noreturn]] void failToWrite(int error) {
  throw std::system_error(error, std::generic_category(), "cannot write to standard output");
}

// For poll(2), rounded up; -1 is never.
int millisecondsUntil(Moment moment) {
  if (moment == Moment::max()) return -1;
  const auto rest =
      std::chrono::ceil<std::chrono::milliseconds>(moment - std::chrono::steady_clock::now());
  return static_cast<int>(std::clamp<std::int64_t>(rest.count(), 0, INT_MAX));
}

}  // namespace

int blockStopSignals() {
  sigset_t stops;
  sigemptyset(&stops);
  for (const int number : {SIGINT, SIGTERM}) {
    struct sigaction action {};
    sigaction(number, nullptr, &action);
    if (action.sa_handler != SIG_IGN) sigaddset(&stops, number);
  }
  sigprocmask(SIG_BLOCK, &stops, nullptr);
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
  const int descriptor = signalfd(-1, &stops, SFD_CLOEXEC);
  if (descriptor < 0) throw CannotRun(withSystemError("cannot receive signals"));
  return descriptor;
}

Event waitForEvent(int stopDescriptor, int descriptor, Moment moment) {
  while (true) {
    std::array<pollfd, 3> waited{{{stopDescriptor, POLLIN, 0},
                                  {descriptor, POLLIN, 0},
                                  {STDOUT_FILENO, 0, 0}}};  // errors alone
    const int count = poll(waited.data(), waited.size(), millisecondsUntil(moment));
    if (count < 0 && errno != EINTR) throw CannotRun(withSystemError("cannot wait for changes"));
    if (count < 0) continue;
    if (waited[0].revents != 0) return Event::STOP;
    if (waited[2].revents != 0) failToWrite((waited[2].revents & POLLNVAL) != 0 ? EBADF : EPIPE);
    if (waited[1].revents != 0) return Event::READY;
    if (count == 0) return Event::TIME;
  }
}

bool writeUnlessStopped(int stopDescriptor, std::string_view text) {
  while (!text.empty()) {
    std::array<pollfd, 2> waited{{{stopDescriptor, POLLIN, 0}, {STDOUT_FILENO, POLLOUT, 0}}};
    if (poll(waited.data(), waited.size(), -1) < 0) continue;
    if (waited[0].revents != 0) return false;
    // As many bytes as never block once a pipe can be written to.
    const ssize_t count =
        write(STDOUT_FILENO, text.data(), std::min<std::size_t>(text.size(), PIPE_BUF));
    if (count < 0 && errno != EINTR && errno != EAGAIN) failToWrite(errno);
    if (count > 0) text.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

}  // namespace egress::report
