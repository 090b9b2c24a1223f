#ifndef EGRESS_EXAMPLES_LINUX_HOST_ERRORS_H
#define EGRESS_EXAMPLES_LINUX_HOST_ERRORS_H

#include <stdexcept>
#include <string>

namespace linux_host {

// A snapshot cannot be taken. The diagnosis continues without it.
struct EnumerationError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The program cannot run: an invalid option, an unreadable file, no such process.
struct CannotRun : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Returns "what: strerror", for errno unless an error number is given.
[[nodiscard]] std::string withSystemError(const std::string& what);
[[nodiscard]] std::string withSystemError(const std::string& what, int errorNumber);

}  // namespace linux_host

#endif
