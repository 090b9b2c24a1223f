#include "tests/laws/json_oracle.h"

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "egress/json/json_reader.h"

namespace egress::test {
namespace {

bool isDigit(char byte) {
  return byte >= '0' && byte <= '9';
}

// Replaces bytes outside printable ASCII by 'x': valid inside a string, invalid outside.
char plainByte(char byte) {
  return byte >= 0x20 && byte < 0x7F ? byte : 'x';
}

bool isWhitespace(char byte) {
  return byte == ' ' || byte == '\t' || byte == '\n' || byte == '\r';
}

// Whether the text starts with an escaped surrogate, \uD800 to \uDFFF.
bool startsWithSurrogate(std::string_view text) {
  const auto isHex = [](char byte) { return std::isxdigit(static_cast<unsigned char>(byte)) != 0; };
  return text.size() >= 6 && text.starts_with("\\u") && (text[2] == 'd' || text[2] == 'D') &&
         isHex(text[3]) && !(text[3] >= '0' && text[3] <= '7') && isHex(text[4]) && isHex(text[5]);
}

// The text with the extensions of the reader rewritten as strict JSON: runs of digits become one
// digit, raw bytes in strings and escaped surrogates become letters. Other errors remain.
std::string strictForm(std::string_view text) {
  std::string strict;
  bool inString = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char byte = text[i];
    if (inString && startsWithSurrogate(text.substr(i))) {
      strict += "\\u0041";
      i += 5;
    } else if (inString && byte == '\\' && i + 1 < text.size()) {
      strict += byte;
      strict += plainByte(text[++i]);
    } else if (inString || byte == '"') {
      if (byte == '"') inString = !inString;
      strict += plainByte(byte);
    } else if (isDigit(byte)) {
      const bool isLastOfRun = i + 1 == text.size() || !isDigit(text[i + 1]);
      if (isLastOfRun) strict += byte;
    } else {
      strict += isWhitespace(byte) ? byte : plainByte(byte);
    }
  }
  return strict;
}

// Whether a value starts inside more than kMaxJsonDepth containers. The text must be valid.
bool isTooDeep(std::string_view text) {
  std::size_t open = 0;
  bool inString = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char byte = text[i];
    if (inString) {
      if (byte == '\\') ++i;
      if (byte == '"') inString = false;
      continue;
    }
    if (byte == ']' || byte == '}') --open;
    if (byte == ']' || byte == '}' || byte == ',' || byte == ':' || isWhitespace(byte)) continue;
    if (open > kMaxJsonDepth) return true;
    if (byte == '[' || byte == '{') ++open;
    if (byte == '"') inString = true;
  }
  return false;
}

// Builds the tree from the SAX events of nlohmann/json.
class TreeBuilder : public nlohmann::json_sax<nlohmann::json> {
 public:
  bool null() override {
    return add(JsonKind::Null, [](JsonValue&) {});
  }
  bool boolean(bool value) override {
    return add(JsonKind::Bool, [=](JsonValue& made) { made.boolValue = value; });
  }
  bool number_integer(number_integer_t value) override {
    return add(JsonKind::Integer, [=](JsonValue& made) { made.intValue = value; });
  }
  bool number_unsigned(number_unsigned_t value) override {
    const auto signedValue = static_cast<std::int64_t>(value);
    return signedValue < 0 ? number_float(0, {}) : number_integer(signedValue);
  }
  bool number_float(number_float_t /*value*/, const string_t& /*text*/) override {
    return add(JsonKind::Number, [](JsonValue&) {});
  }
  bool string(string_t& bytes) override {
    return add(JsonKind::String, [&](JsonValue& made) { made.stringValue = bytes; });
  }
  bool binary(binary_t& /*bytes*/) override { return false; }
  bool start_array(std::size_t /*size*/) override { return open(JsonKind::Array); }
  bool end_array() override { return close(); }
  bool start_object(std::size_t /*size*/) override { return open(JsonKind::Object); }
  bool end_object() override { return close(); }
  bool key(string_t& bytes) override {
    open_.back().memberKeys.push_back(bytes);
    return true;
  }
  bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                   const nlohmann::detail::exception& /*error*/) override {
    return false;
  }

  JsonValue takeRoot() { return std::move(root_); }

 private:
  template <typename Fill>
  bool add(JsonKind kind, Fill fill) {
    JsonValue value;
    value.kind = kind;
    fill(value);
    return put(std::move(value));
  }

  bool open(JsonKind kind) {
    open_.emplace_back().kind = kind;
    return true;
  }

  bool close() {
    JsonValue value = std::move(open_.back());
    open_.pop_back();
    return put(std::move(value));
  }

  bool put(JsonValue value) {
    if (open_.empty()) {
      root_ = std::move(value);
    } else if (open_.back().kind == JsonKind::Array) {
      open_.back().items.push_back(std::move(value));
    } else {
      open_.back().memberValues.push_back(std::move(value));
    }
    return true;
  }

  JsonValue root_;
  std::vector<JsonValue> open_;  // the containers around the next value, the outermost first
};

}  // namespace

bool oracleAccepts(std::string_view text) {
  return nlohmann::json::accept(strictForm(text)) && !isTooDeep(text);
}

std::optional<JsonValue> oracleTree(std::string_view text) {
  // As extensions to RFC 8259, nlohmann/json skips a byte-order mark and stops at NUL.
  if (text.starts_with("\xEF\xBB\xBF") || text.find('\0') != std::string_view::npos) return {};
  TreeBuilder builder;
  if (!nlohmann::json::sax_parse(text, &builder)) return {};
  return builder.takeRoot();
}

}  // namespace egress::test
