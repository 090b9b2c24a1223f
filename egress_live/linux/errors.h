#ifndef EGRESS_LIVE_LINUX_ERRORS_H
#define EGRESS_LIVE_LINUX_ERRORS_H

#include <stdexcept>
#include <string>

namespace egress::live {

// A list cannot be taken. The record is taken without it.
struct EnumerationError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Returns "what: strerror", for errno unless an error number is given.
[[nodiscard]] std::string withSystemError(const std::string& what);
[[nodiscard]] std::string withSystemError(const std::string& what, int errorNumber);

}  // namespace egress::live

#endif
