#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <rapidjson/document.h>
#include <rapidjson/rapidjson.h>

#include "bench/peers/tree_walk.h"

namespace egress::bench {
namespace {

using rapidjson::Document;
using rapidjson::SizeType;
using rapidjson::Value;

struct Tree {
  static Document parse(const std::string& text) {
    Document document;
    document.Parse(text.data(), text.size());
    return document;  // null after an error
  }
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

}  // namespace

JsonReader rapidJson() {
  return treeReader<Tree>("rapidjson", RAPIDJSON_VERSION_STRING);
}

}  // namespace egress::bench
