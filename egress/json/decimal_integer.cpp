#include "egress/json/decimal_integer.h"

#include <limits>

namespace egress {

std::optional<std::int64_t> parseDecimalInteger(std::string_view text) noexcept {
  constexpr std::int64_t kLowest = std::numeric_limits<std::int64_t>::min();
  const bool negative = text.starts_with('-');
  if (negative) text.remove_prefix(1);
  if (text.empty()) return std::nullopt;

  std::int64_t value = 0;  // accumulated as a negative number: the range has one more of those
  for (const char byte : text) {
    if (byte < '0' || byte > '9') return std::nullopt;
    const int digit = byte - '0';
    if (value < (kLowest + digit) / 10) return std::nullopt;
    value = value * 10 - digit;
  }
  if (negative) return value;
  if (value == kLowest) return std::nullopt;
  return -value;
}

}  // namespace egress
