#include "apps/report/text.h"

#include <iostream>

namespace egress::report {

std::string printable(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string shown;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c >= ' ' && c <= '~') {
      shown += c;
    } else {
      shown.append({'%', kDigits[byte >> 4U], kDigits[byte & 0xFU]});
    }
  }
  return shown;
}

void printError(std::string_view text) {
  std::cerr << "egress-report: " << printable(text) << '\n';
}

}  // namespace egress::report
