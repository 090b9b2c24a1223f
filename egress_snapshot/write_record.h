#ifndef EGRESS_SNAPSHOT_WRITE_RECORD_H
#define EGRESS_SNAPSHOT_WRITE_RECORD_H

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "egress/core/egress_report.h"
#include "egress_snapshot/cross_check.h"
#include "egress_snapshot/json_writer.h"
#include "egress_snapshot/snapshot_fields.h"

namespace egress::snapshot {

// Writes records as JSON: the members that snapshot_fields.h lists, without absent facts.

// The first members of a document.
inline constexpr const char* kFormatKey = "format";
inline constexpr const char* kVersionKey = "version";

// The member of the object that stands for a text that is not UTF-8.
inline constexpr const char* kBase64Key = "base64";

template <typename Value>
concept Enumeration = std::is_enum_v<Value>;
template <typename Value>
concept Number = std::same_as<Value, std::int32_t> || std::same_as<Value, std::uint32_t>;
template <typename Value>
concept Record = std::is_class_v<Value>;  // texts, vectors and facts have overloads of their own

// The word of each enumerator. A value outside the enumeration has the last word, or that of
// toString of egress.
[[nodiscard]] std::string_view wordOf(ConfigStatus status);
[[nodiscard]] std::string_view wordOf(ActiveEndpointStatus status);
[[nodiscard]] std::string_view wordOf(SelectorAnswerStatus status);
[[nodiscard]] std::string_view wordOf(InterfaceKind kind);
[[nodiscard]] std::string_view wordOf(FactKind fact);
[[nodiscard]] std::string_view wordOf(NameSource source);
[[nodiscard]] std::string_view wordOf(QueryOutcome outcome);
[[nodiscard]] std::string_view wordOf(SocketProtocol protocol);
[[nodiscard]] std::string_view wordOf(SocketState state);
[[nodiscard]] std::string_view wordOf(CrossCheckStatus status);
[[nodiscard]] std::string_view wordOf(Evidence evidence);
[[nodiscard]] std::string_view wordOf(SocketRole role);

// Opens the root object, with its format and version.
void openDocument(JsonWriter& writer, std::string_view format, std::uint32_t version);

void writeValue(JsonWriter& writer, const std::string& text);
void writeValue(JsonWriter& writer, const EgressReport& report);
template <typename Item>
void writeValue(JsonWriter& writer, const std::vector<Item>& items);
void writeValue(JsonWriter& writer, const Record auto& record);

inline void writeValue(JsonWriter& writer, bool value) {
  writer.scalar(value);
}
void writeValue(JsonWriter& writer, Number auto value) {
  writer.scalar(value);
}
void writeValue(JsonWriter& writer, Enumeration auto value) {
  writer.scalar(wordOf(value));
}

template <typename Value>
void writeMember(JsonWriter& writer, const char* key, const Value& value) {
  if constexpr (requires { value.has_value(); }) {
    if (value) writeMember(writer, key, *value);
  } else {
    writer.member(key);
    writeValue(writer, value);
  }
}

void writeFields(JsonWriter& writer, const Record auto& record) {
  visitFields([&writer](const char* key, const auto& value) { writeMember(writer, key, value); },
              record);
}

void writeValue(JsonWriter& writer, const Record auto& record) {
  writer.open('{');
  writeFields(writer, record);
  writer.close('}');
}

template <typename Item>
void writeValue(JsonWriter& writer, const std::vector<Item>& items) {
  writer.open('[');
  for (const Item& item : items) {
    writer.element();
    writeValue(writer, item);
  }
  writer.close(']');
}

}  // namespace egress::snapshot

#endif
