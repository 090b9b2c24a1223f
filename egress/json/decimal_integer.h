#ifndef EGRESS_JSON_DECIMAL_INTEGER_H
#define EGRESS_JSON_DECIMAL_INTEGER_H

#include <cstdint>
#include <optional>
#include <string_view>

namespace egress {

// Reads all of `text` as a decimal integer: an optional '-', then one or more digits; leading zeros
// are accepted. Returns nothing for any other text and for a value that does not fit. Safe for a
// text of any length, unlike std::from_chars of libstdc++ 12, which miscounts leading zeros beyond
// 2^29.
[[nodiscard]] std::optional<std::int64_t> parseDecimalInteger(std::string_view text) noexcept;

}  // namespace egress

#endif
