#include <cstdint>
#include <optional>
#include <simdjson.h>
#include <string>
#include <utility>

#include "bench/peers/json_peers.h"
#include "bench/peers/tree_walk.h"

namespace egress::bench {
namespace {

using simdjson::dom::element;

template <typename T>
std::optional<T> asOptional(simdjson::simdjson_result<T>&& result) {
  T value{};
  if (std::move(result).get(value) != simdjson::SUCCESS) return std::nullopt;
  return value;
}

struct Tree {
  static std::optional<element> find(const element& value, std::string_view key) {
    return asOptional<element>(value.at_key(key));
  }
  static std::optional<std::string_view> string(const element& value) {
    return asOptional<std::string_view>(value.get_string());
  }
  static std::optional<std::int64_t> integer(const element& value) {
    return asOptional<std::int64_t>(value.get_int64());
  }
  static std::optional<bool> boolean(const element& value) {
    return asOptional<bool>(value.get_bool());
  }
  static bool isObject(const element& value) { return value.is_object(); }
  static bool isArray(const element& value) { return value.is_array(); }
  static simdjson::dom::array items(const element& value) {
    return value.get_array().value_unsafe();
  }
};

// One parser for all documents, as the library advises; it keeps its buffers.
std::optional<element> parse(const std::string& text) {
  static simdjson::dom::parser parser;
  return asOptional<element>(parser.parse(text));
}

}  // namespace

JsonReader simdjsonDom() {
  return {.name = "simdjson-dom",
          .library = "simdjson " + std::to_string(simdjson::SIMDJSON_VERSION_MAJOR) + "." +
                     std::to_string(simdjson::SIMDJSON_VERSION_MINOR) + "." +
                     std::to_string(simdjson::SIMDJSON_VERSION_REVISION),
          .readConfig =
              [](const std::string& text) {
                const std::optional<element> root = parse(text);
                return root ? readConfigTree<Tree>(*root)
                            : unusable(ConfigStatus::JSON_PARSE_FAILED);
              },
          .readAnswer =
              [](const std::string& text, std::string* now) {
                const std::optional<element> root = parse(text);
                return root ? readAnswerTree<Tree>(*root, now) : SelectorAnswerStatus::Malformed;
              }};
}

}  // namespace egress::bench
