#include <cstdint>
#include <optional>
#include <string>

#include <rapidjson/document.h>
#include <rapidjson/rapidjson.h>

#include "bench/peers/json_peers.h"
#include "bench/peers/tree_walk.h"

namespace egress::bench {
namespace {

using rapidjson::Document;
using rapidjson::SizeType;
using rapidjson::Value;

struct Tree {
  static const Value* find(const Value& value, std::string_view key) {
    if (!value.IsObject()) return nullptr;
    const Value name(rapidjson::StringRef(key.data(), static_cast<SizeType>(key.size())));
    const auto found = value.FindMember(name);
    return found == value.MemberEnd() ? nullptr : &found->value;
  }
  static std::optional<std::string_view> string(const Value& value) {
    if (!value.IsString()) return std::nullopt;
    return std::string_view(value.GetString(), value.GetStringLength());
  }
  static std::optional<std::int64_t> integer(const Value& value) {
    if (!value.IsInt64()) return std::nullopt;
    return value.GetInt64();
  }
  static std::optional<bool> boolean(const Value& value) {
    if (!value.IsBool()) return std::nullopt;
    return value.GetBool();
  }
  static bool isObject(const Value& value) { return value.IsObject(); }
  static bool isArray(const Value& value) { return value.IsArray(); }
  static auto items(const Value& value) { return value.GetArray(); }
};

// Hands the parsed document to `read`.
template <typename Read>
auto withDocument(const std::string& text, const Read& read) {
  Document document;
  document.Parse(text.data(), text.size());
  return read(document);
}

// The same, parsed in a copy of the text, since the parser writes into it.
template <typename Read>
auto withDocumentInSitu(const std::string& text, const Read& read) {
  std::string buffer = text;
  Document document;
  document.ParseInsitu(buffer.data());
  return read(document);
}

ProxyConfig readConfig(const Document& document) {
  return document.HasParseError() ? unusable(ConfigStatus::JSON_PARSE_FAILED)
                                  : readConfigTree<Tree>(document);
}

SelectorAnswerStatus readAnswer(const Document& document, std::string* now) {
  return document.HasParseError() ? SelectorAnswerStatus::Malformed
                                  : readAnswerTree<Tree>(document, now);
}

}  // namespace

JsonReader rapidJson() {
  return {.name = "rapidjson",
          .library = "RapidJSON " RAPIDJSON_VERSION_STRING,
          .readConfig = [](const std::string& text) { return withDocument(text, readConfig); },
          .readAnswer =
              [](const std::string& text, std::string* now) {
                return withDocument(
                    text, [now](const Document& document) { return readAnswer(document, now); });
              }};
}

JsonReader rapidJsonInSitu() {
  return {
      .name = "rapidjson-insitu",
      .library = "RapidJSON " RAPIDJSON_VERSION_STRING,
      .readConfig = [](const std::string& text) { return withDocumentInSitu(text, readConfig); },
      .readAnswer =
          [](const std::string& text, std::string* now) {
            return withDocumentInSitu(
                text, [now](const Document& document) { return readAnswer(document, now); });
          }};
}

}  // namespace egress::bench
