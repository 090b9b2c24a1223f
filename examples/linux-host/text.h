#ifndef EGRESS_EXAMPLES_LINUX_HOST_TEXT_H
#define EGRESS_EXAMPLES_LINUX_HOST_TEXT_H

#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace linux_host {

// The number that is all of a text, if it fits.
template <typename Number>
[[nodiscard]] std::optional<Number> numberIn(std::string_view text, int base = 10) {
  Number number = 0;
  const char* const end = text.data() + text.size();
  const auto [last, error] = std::from_chars(text.data(), end, number, base);
  if (error != std::errc() || last != end) return std::nullopt;
  return number;
}

// "%1B" for a byte: percent-encoded (RFC 3986, section 2.1).
[[nodiscard]] std::string percentEncoded(char byte);

// A text for a terminal, on one line: all but printable ASCII is percent-encoded, because the names
// of files and interfaces may hold anything, also what makes a terminal do things.
[[nodiscard]] std::string printable(std::string_view text);

}  // namespace linux_host

#endif
