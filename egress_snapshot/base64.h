#ifndef EGRESS_SNAPSHOT_BASE64_H
#define EGRESS_SNAPSHOT_BASE64_H

#include <optional>
#include <string>
#include <string_view>

namespace egress::snapshot {

// Bytes as base64 with padding (RFC 4648, section 4).
[[nodiscard]] std::string base64Of(std::string_view bytes);

// The bytes that are written as this text, or nothing if base64Of gives the text for none.
[[nodiscard]] std::optional<std::string> bytesOfBase64(std::string_view text);

}  // namespace egress::snapshot

#endif
