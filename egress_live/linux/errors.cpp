#include "egress_live/linux/errors.h"

#include <cerrno>
#include <system_error>

namespace egress::live {

std::string withSystemError(const std::string& what) {
  return withSystemError(what, errno);
}

std::string withSystemError(const std::string& what, int errorNumber) {
  return what + ": " + std::generic_category().message(errorNumber);
}

}  // namespace egress::live
