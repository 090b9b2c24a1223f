#include "tests/laws/violation.h"

#include <cstdint>

namespace egress::test {

std::string hexOf(std::string_view bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const char byte : bytes) {
    const auto value = static_cast<std::uint8_t>(byte);
    text.push_back(kDigits[value >> 4]);
    text.push_back(kDigits[value & 0xF]);
  }
  return text;
}

}  // namespace egress::test
