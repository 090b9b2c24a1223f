#ifndef EGRESS_EXAMPLES_LINUX_HOST_TEXT_H
#define EGRESS_EXAMPLES_LINUX_HOST_TEXT_H

#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace linux_host {

// Parses all of `text` as a number; nothing if it is malformed or out of range.
template <typename Number>
[[nodiscard]] std::optional<Number> numberIn(std::string_view text, int base = 10) {
  Number number = 0;
  const char* const end = text.data() + text.size();
  const auto [last, error] = std::from_chars(text.data(), end, number, base);
  if (error != std::errc() || last != end) return std::nullopt;
  return number;
}

// Percent-encodes a byte (RFC 3986, section 2.1), for example as "%1B".
[[nodiscard]] std::string percentEncoded(char byte);

// Percent-encodes every byte except printable ASCII. Names of files and interfaces may contain
// terminal escape sequences.
[[nodiscard]] std::string printable(std::string_view text);

}  // namespace linux_host

#endif
