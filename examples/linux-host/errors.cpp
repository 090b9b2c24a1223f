#include "examples/linux-host/errors.h"

#include <cerrno>
#include <system_error>

namespace linux_host {

std::string withSystemError(const std::string& what) {
  return withSystemError(what, errno);
}

std::string withSystemError(const std::string& what, int errorNumber) {
  return what + ": " + std::generic_category().message(errorNumber);
}

}  // namespace linux_host
