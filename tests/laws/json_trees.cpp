#include "tests/laws/json_trees.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "tests/laws/violation.h"
#include "tests/support/joined.h"

namespace egress::test {
namespace {

std::string quoted(std::string_view bytes) {
  std::string text = "\"";
  for (const char byte : bytes) {
    if (byte == '"' || byte == '\\') text += '\\';
    if (static_cast<std::uint8_t>(byte) < 0x20) {
      text += joined({"\\u00", hexOf({&byte, 1})});
    } else {
      text += byte;
    }
  }
  return text + '"';
}

}  // namespace

bool sameTree(const JsonValue& a, const JsonValue& b) {
  return a.kind == b.kind && a.boolValue == b.boolValue && a.intValue == b.intValue &&
         a.stringValue == b.stringValue && a.memberKeys == b.memberKeys &&
         std::ranges::equal(a.items, b.items, sameTree) &&
         std::ranges::equal(a.memberValues, b.memberValues, sameTree);
}

bool isWellFormed(const JsonValue& value) {
  if (value.boolValue && value.kind != JsonKind::Bool) return false;
  if (value.intValue != 0 && value.kind != JsonKind::Integer) return false;
  if (!value.stringValue.empty() && value.kind != JsonKind::String) return false;
  if (!value.items.empty() && value.kind != JsonKind::Array) return false;
  if (!value.memberKeys.empty() && value.kind != JsonKind::Object) return false;
  if (value.memberKeys.size() != value.memberValues.size()) return false;
  for (const std::string& key : value.memberKeys) {
    std::size_t first = 0;
    while (value.memberKeys[first] != key) ++first;
    if (findMember(value, key) != &value.memberValues[first]) return false;
  }
  return std::ranges::all_of(value.items, isWellFormed) &&
         std::ranges::all_of(value.memberValues, isWellFormed);
}

std::string serialized(const JsonValue& value) {
  std::string text;
  switch (value.kind) {
    case JsonKind::Null: return "null";
    case JsonKind::Bool: return value.boolValue ? "true" : "false";
    case JsonKind::Integer: return std::to_string(value.intValue);
    case JsonKind::Number: return "1.5";
    case JsonKind::String: return quoted(value.stringValue);
    case JsonKind::Array:
      for (const JsonValue& item : value.items) {
        text += joined({text.empty() ? "" : ",", serialized(item)});
      }
      return joined({"[", text, "]"});
    case JsonKind::Object: break;
  }
  for (std::size_t i = 0; i < value.memberKeys.size(); ++i) {
    text += joined({text.empty() ? "" : ",", quoted(value.memberKeys[i]), ":",
                    serialized(value.memberValues[i])});
  }
  return joined({"{", text, "}"});
}

}  // namespace egress::test
