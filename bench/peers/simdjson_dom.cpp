#include <cstdint>
#include <optional>
#include <simdjson.h>
#include <string>
#include <string_view>
#include <utility>

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
  // One parser for all documents, as the library advises; it keeps its buffers.
  static element parse(const std::string& text) {
    static simdjson::dom::parser parser;
    return parser.parse(text).value();
  }
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

}  // namespace

JsonReader simdjsonDom() {
  return treeReader<Tree>("simdjson", std::to_string(simdjson::SIMDJSON_VERSION_MAJOR) + "." +
                                          std::to_string(simdjson::SIMDJSON_VERSION_MINOR) + "." +
                                          std::to_string(simdjson::SIMDJSON_VERSION_REVISION));
}

}  // namespace egress::bench
