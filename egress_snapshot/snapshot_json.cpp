#include "egress_snapshot/snapshot_json.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "egress/core/status_words.h"
#include "egress_snapshot/base64.h"
#include "egress_snapshot/json_text.h"
#include "egress_snapshot/json_writer.h"
#include "egress_snapshot/snapshot_fields.h"
#include "egress_snapshot/write_record.h"

namespace egress::snapshot {
namespace {

// Returns whether it is a known word.
bool parseWord(std::string_view word, ConfigStatus& status) {
  const std::optional<ConfigStatus> parsed = parseConfigStatus(word);
  status = parsed.value_or(status);
  return parsed.has_value();
}
bool parseWord(std::string_view word, SelectorAnswerStatus& status) {
  const std::optional<SelectorAnswerStatus> parsed = parseSelectorAnswerStatus(word);
  status = parsed.value_or(status);
  return parsed.has_value();
}
template <typename Enum, typename Words>
bool parseWordIn(const Words& words, std::string_view word, Enum& value) {
  const auto found = std::ranges::find(words, word);
  if (found == words.end()) return false;
  value = static_cast<Enum>(found - words.begin());
  return true;
}
bool parseWord(std::string_view word, InterfaceKind& kind) {
  return parseWordIn(kInterfaceKindWords, word, kind);
}
bool parseWord(std::string_view word, FactKind& fact) {
  return parseWordIn(kFactKindWords, word, fact);
}
bool parseWord(std::string_view word, NameSource& source) {
  return parseWordIn(kNameSourceWords, word, source);
}
bool parseWord(std::string_view word, QueryOutcome& outcome) {
  return parseWordIn(kQueryOutcomeWords, word, outcome);
}
bool parseWord(std::string_view word, SocketProtocol& protocol) {
  return parseWordIn(kSocketProtocolWords, word, protocol);
}
bool parseWord(std::string_view word, SocketState& state) {
  return parseWordIn(kSocketStateWords, word, state);
}

// Reading. What has been read is freed before the next: the parsed values and the record together
// would be twice the memory.

template <Number Value>
Problem readValue(const Json& value, const Place& place, Value& result) {
  std::int64_t number = 0;
  if (Problem problem = readValue(value, place, number)) return problem;
  if (!std::in_range<Value>(number)) return refuse(place, value, "does not fit");
  result = static_cast<Value>(number);
  return std::nullopt;
}

template <Enumeration Value>
Problem readValue(const Json& value, const Place& place, Value& result) {
  const auto* const word = value.get_ptr<const std::string*>();
  if (word == nullptr || !parseWord(*word, result)) {
    return refuse(place, value, "is not a word that is known here");
  }
  return std::nullopt;
}

Problem readValue(Json& value, const Place& place, std::string& result) {
  if (auto* const text = value.get_ptr<std::string*>()) {
    result = std::move(*text);
    return std::nullopt;
  }
  const auto encoded = value.find(kBase64Key);  // its end, unless the value is an object
  if (encoded == value.end()) return refuse(place, value, "is not a text");
  const Place base64Place{.parent = &place, .key = kBase64Key};
  const auto* const digits = encoded->get_ptr<const std::string*>();
  std::optional<std::string> bytes;
  if (digits != nullptr) bytes = bytesOfBase64(*digits);
  if (!bytes) return refuse(base64Place, *encoded, "is not base64");
  result = *std::move(bytes);
  return std::nullopt;
}

template <typename Item>
Problem readValue(Json& value, const Place& place, std::vector<Item>& items);

template <typename Fact>
Problem readValue(Json& value, const Place& place, std::optional<Fact>& result) {
  return readValue(value, place, result.emplace());
}

Problem readValue(Json& value, const Place& place, Record auto& record) {
  if (!value.is_object()) return refuse(place, value, "is not an object");
  Problem problem;
  const auto readField = [&](const char* key, auto& field) {
    if (problem) return;
    const auto member = value.find(key);
    const Place memberPlace{.parent = &place, .key = key};
    if (member != value.end()) problem = readValue(*member, memberPlace, field);
  };
  visitFields(readField, record);
  return problem;
}

template <typename Item>
Problem readValue(Json& value, const Place& place, std::vector<Item>& items) {
  if (!value.is_array()) return refuse(place, value, "is not an array");
  items.reserve(value.size());
  for (Json& item : value) {
    const Place itemPlace{.parent = &place, .index = items.size()};
    if (Problem problem = readValue(item, itemPlace, items.emplace_back())) return problem;
    release(item);
  }
  release(value);
  return std::nullopt;
}

Problem checkFormat(const Json& object, const Place& root) {
  const Place place{.parent = &root, .key = kFormatKey};
  const auto format = object.find(kFormatKey);
  if (format == object.end()) return refusalAt(place, "missing: this is not a saved snapshot");
  if (*format != kSnapshotFormat) return refuse(place, *format, "is not \"egress-snapshot\"");
  return std::nullopt;
}

Problem checkVersion(const Json& object, const Place& root) {
  const Place place{.parent = &root, .key = kVersionKey};
  const auto version = object.find(kVersionKey);
  if (version == object.end()) return refusalAt(place, "missing");
  if (*version == kSnapshotVersion) return std::nullopt;
  if (!version->is_number() || *version < kSnapshotVersion) {
    return refuse(place, *version, "is not a version");
  }
  return refusalAt(place, std::string("written by a newer program: version ")
                              .append(shownValue(*version))
                              .append(", this one reads ")
                              .append(std::to_string(kSnapshotVersion)));
}

}  // namespace

void writeSnapshot(const HostSnapshot& snapshot, const TextSink& sink) {
  JsonWriter writer(sink);
  openDocument(writer, kSnapshotFormat, kSnapshotVersion);
  writeFields(writer, snapshot);
  writer.close('}');
  writer.finish();
}

std::string snapshotToJson(const HostSnapshot& snapshot) {
  std::string text;
  writeSnapshot(snapshot, [&text](std::string_view part) { text += part; });
  return text;
}

Result<HostSnapshot> snapshotFromJson(std::string_view text) {
  JsonTree tree;
  if (Problem problem = parseJson(text, tree)) return *std::move(problem);
  Json& root = tree.root;
  const Place place;
  HostSnapshot snapshot;
  Problem problem = checkFormat(root, place);
  if (!problem) problem = checkVersion(root, place);
  if (!problem) problem = readValue(root, place, snapshot);
  if (problem) return *std::move(problem);
  return snapshot;
}

}  // namespace egress::snapshot
