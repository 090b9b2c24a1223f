#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <boost/json.hpp>
#include <boost/version.hpp>

#include "bench/peers/tree_walk.h"

namespace egress::bench {
namespace {

namespace json = boost::json;

struct Tree {
  static json::value parse(const std::string& text) {
    json::error_code error;
    return json::parse(text, error);  // null after an error
  }
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

}  // namespace

JsonReader boostJson() {
  return treeReader<Tree>("boost-json", std::to_string(BOOST_VERSION / 100000) + "." +
                                            std::to_string(BOOST_VERSION / 100 % 1000));
}

}  // namespace egress::bench
