#include "examples/linux-host/text.h"

namespace linux_host {

std::string percentEncoded(char byte) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  const auto number = static_cast<unsigned char>(byte);
  return {'%', kDigits[number >> 4U], kDigits[number & 0xFU]};
}

std::string printable(std::string_view text) {
  std::string shown;
  for (const char c : text) {
    const bool isPrintable = c >= ' ' && c <= '~';
    shown += isPrintable ? std::string(1, c) : percentEncoded(c);
  }
  return shown;
}

}  // namespace linux_host
