#include "apps/report/terminal.h"

#include <algorithm>
#include <cstdlib>
#include <sys/ioctl.h>
#include <unistd.h>

namespace egress::report {
namespace {

bool forbidsColour() {
  const char* const value = std::getenv("NO_COLOR");
  return value != nullptr && *value != '\0';
}

}  // namespace

TextStyle terminalStyle() {
  constexpr std::size_t kMinWidth = 40;
  TextStyle style;
  if (isatty(STDOUT_FILENO) == 0) return style;
  style.isColoured = !forbidsColour();
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0) {
    style.width = std::max<std::size_t>(size.ws_col, kMinWidth);
  }
  return style;
}

}  // namespace egress::report
