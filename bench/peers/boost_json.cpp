#include <cstdint>
#include <optional>
#include <string>

#include <boost/json.hpp>
#include <boost/version.hpp>

#include "bench/peers/json_peers.h"
#include "bench/peers/tree_walk.h"

namespace egress::bench {
namespace {

namespace json = boost::json;

struct Tree {
  static const json::value* find(const json::value& value, std::string_view key) {
    const json::object* const object = value.if_object();
    return object == nullptr ? nullptr : object->if_contains(key);
  }
  static std::optional<std::string_view> string(const json::value& value) {
    const json::string* const text = value.if_string();
    if (text == nullptr) return std::nullopt;
    return std::string_view(text->data(), text->size());
  }
  static std::optional<std::int64_t> integer(const json::value& value) {
    const std::int64_t* const integer = value.if_int64();
    if (integer == nullptr) return std::nullopt;
    return *integer;
  }
  static std::optional<bool> boolean(const json::value& value) {
    const bool* const flag = value.if_bool();
    if (flag == nullptr) return std::nullopt;
    return *flag;
  }
  static bool isObject(const json::value& value) { return value.is_object(); }
  static bool isArray(const json::value& value) { return value.is_array(); }
  static const json::array& items(const json::value& value) { return value.get_array(); }
};

ProxyConfig readConfig(const std::string& text, const json::storage_ptr& storage) {
  json::error_code error;
  const json::value root = json::parse(text, error, storage);
  return error ? unusable(ConfigStatus::JSON_PARSE_FAILED) : readConfigTree<Tree>(root);
}

SelectorAnswerStatus readAnswer(const std::string& text, std::string* now,
                                const json::storage_ptr& storage) {
  json::error_code error;
  const json::value root = json::parse(text, error, storage);
  return error ? SelectorAnswerStatus::Malformed : readAnswerTree<Tree>(root, now);
}

std::string version() {
  return "Boost.JSON " + std::to_string(BOOST_VERSION / 100000) + "." +
         std::to_string(BOOST_VERSION / 100 % 1000);
}

}  // namespace

JsonReader boostJson() {
  return {.name = "boost-json",
          .library = version(),
          .readConfig = [](const std::string& text) { return readConfig(text, {}); },
          .readAnswer = [](const std::string& text,
                           std::string* now) { return readAnswer(text, now, {}); }};
}

// With the storage that the library's documentation advises for a tree that is only read.
JsonReader boostJsonMonotonic() {
  return {.name = "boost-json-monotonic",
          .library = version(),
          .readConfig =
              [](const std::string& text) {
                json::monotonic_resource storage;
                return readConfig(text, &storage);
              },
          .readAnswer =
              [](const std::string& text, std::string* now) {
                json::monotonic_resource storage;
                return readAnswer(text, now, &storage);
              }};
}

}  // namespace egress::bench
