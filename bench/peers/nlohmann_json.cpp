#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "bench/peers/tree_walk.h"

namespace egress::bench {
namespace {

using nlohmann::json;

struct Tree {
  static json parse(const std::string& text) {
    return json::parse(text, nullptr, /*allow_exceptions=*/false);
  }
  static const json* find(const json& value, std::string_view key) {
    const auto found = value.find(key);
    return found == value.end() ? nullptr : &*found;
  }
  static std::optional<std::string_view> string(const json& value) {
    if (!value.is_string()) return std::nullopt;
    return value.get_ref<const std::string&>();
  }
  static std::optional<std::int64_t> integer(const json& value) {
    if (!value.is_number_integer()) return std::nullopt;
    return value.get<std::int64_t>();
  }
  static std::optional<bool> boolean(const json& value) {
    if (!value.is_boolean()) return std::nullopt;
    return value.get<bool>();
  }
  static bool isObject(const json& value) { return value.is_object(); }
  static bool isArray(const json& value) { return value.is_array(); }
  static const json& items(const json& value) { return value; }
};

}  // namespace

JsonReader nlohmannJson() {
  return treeReader<Tree>("nlohmann-json", json::meta()["version"]["string"].get<std::string>());
}

}  // namespace egress::bench
