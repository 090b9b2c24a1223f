#ifndef EGRESS_SNAPSHOT_JSON_TEXT_H
#define EGRESS_SNAPSHOT_JSON_TEXT_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "egress_snapshot/json_tree.h"
#include "egress_snapshot/refusal.h"

namespace egress::snapshot {

// What reading and writing JSON have in common. nlohmann/json is used without its exceptions:
// values are asked for their type first.

// Where a value stands in the text; lives on the stack of the functions that read it.
struct Place {
  const Place* parent = nullptr;          // null: this is the root
  std::string_view key = {};              // of a member
  std::optional<std::size_t> index = {};  // of an element; nothing: this is a member
};

[[nodiscard]] Refusal refusalAt(const Place& place, std::string reason);

// A scalar as JSON, its beginning if it is long, or the name of its type. Printable ASCII.
[[nodiscard]] std::string shownValue(const Json& value);

// "VALUE VERDICT", for example "true is not a number".
[[nodiscard]] Refusal refuse(const Place& place, const Json& value, const char* verdict);

// Why a value was refused, or nothing.
using Problem = std::optional<Refusal>;

// Each reads a value of one type; a refused one changes nothing.
[[nodiscard]] Problem readValue(const Json& value, const Place& place, bool& result);
[[nodiscard]] Problem readValue(const Json& value, const Place& place, std::int64_t& result);

// Parses a text into a fresh tree; a byte-order mark before it is ignored. Refuses what is not
// strict JSON, and what is nested deeper than kMaxJsonDepth. The refusal says where the text breaks
// off; a text that only lacks its end is called cut off.
[[nodiscard]] Problem parseJson(std::string_view text, JsonTree& tree);

// Whether these bytes are UTF-8 (RFC 3629).
[[nodiscard]] bool isUtf8(const std::string& bytes);

}  // namespace egress::snapshot

#endif
