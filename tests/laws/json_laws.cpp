#include "tests/laws/json_laws.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <utility>

#include "egress/json/json_fault.h"
#include "egress/json/json_reader.h"
#include "tests/laws/json_oracle.h"
#include "tests/laws/json_trees.h"
#include "tests/support/exact_text.h"
#include "tests/support/joined.h"

namespace egress::test {
namespace {

using namespace std::string_view_literals;

bool parses(std::string_view text) {
  JsonValue value;
  return parseJsonDocument(ExactText(text).view(), value);
}

// A value to check that rejected texts do not change it.
JsonValue markedValue() {
  JsonValue value;
  value.kind = JsonKind::Array;
  value.intValue = 4711;
  value.stringValue = "kept";
  value.items.emplace_back().kind = JsonKind::Number;
  return value;
}

// A part of a JSON string and its decoded bytes.
struct StringPart {
  std::string_view text;
  std::string_view bytes;
};

// A high surrogate is never the end of a part, because the next part could be a low surrogate.
constexpr auto kStringParts = std::to_array<StringPart>({
    {"a", "a"},
    {"now", "now"},
    {R"(\")", "\""},
    {R"(\\)", "\\"},
    {R"(\/)", "/"},
    {"/", "/"},
    {R"(\b)", "\b"},
    {R"(\f)", "\f"},
    {R"(\n)", "\n"},
    {R"(\r)", "\r"},
    {R"(\t)", "\t"},
    {"\t", "\t"},
    {"\n", "\n"},
    {"\x01", "\x01"},
    {"\x7F", "\x7F"},
    {"\0"sv, "\0"sv},
    {"\xC3\xA4", "\xC3\xA4"},
    {"\xFF", "\xFF"},
    {"\x80\xED\xA0", "\x80\xED\xA0"},
    {R"(\u0000)", "\0"sv},
    {R"(\u0041)", "A"},
    {R"(\u007f)", "\x7F"},
    {R"(\u0080)", "\xC2\x80"},
    {R"(\u07FF)", "\xDF\xBF"},
    {R"(\u0800)", "\xE0\xA0\x80"},
    {R"(\uFfFf)", "\xEF\xBF\xBF"},
    {R"(\uD800\uDC00)", "\xF0\x90\x80\x80"},
    {R"(\ud83d\ude00)", "\xF0\x9F\x98\x80"},
    {R"(\udbff\udfff)", "\xF4\x8F\xBF\xBF"},
    {R"(\ud83dx)", "\xED\xA0\xBDx"},
    {R"(\ud83d\n)", "\xED\xA0\xBD\n"},
    {R"(\ud83d\u0041)",
     "\xED\xA0\xBD"
     "A"},
    {R"(\ud83d\ud83d\ude00)", "\xED\xA0\xBD\xF0\x9F\x98\x80"},
    {R"(\udc00)", "\xED\xB0\x80"},
    {R"(\uDFFF)", "\xED\xBF\xBF"},
    {"[{,:]}", "[{,:]}"},
});

struct IntegerText {
  std::string_view text;
  std::int64_t value = 0;
};

constexpr auto kIntegers = std::to_array<IntegerText>({
    {"0", 0},
    {"-0", 0},
    {"00", 0},
    {"7", 7},
    {"007", 7},
    {"-012", -12},
    {"443", 443},
    {"65536", 65536},
    {"9223372036854775807", std::numeric_limits<std::int64_t>::max()},
    {"-9223372036854775808", std::numeric_limits<std::int64_t>::min()},
    {"-00009223372036854775808", std::numeric_limits<std::int64_t>::min()},
    {"000000000000000000000000000443", 443},
});

constexpr std::array kOtherNumbers = {"1.5"sv,
                                      "0.0"sv,
                                      "-0.0e-0"sv,
                                      "1e5"sv,
                                      "1E+2"sv,
                                      "443.0"sv,
                                      "00.50"sv,
                                      "1e0099"sv,
                                      "1e400"sv,
                                      "9223372036854775808"sv,
                                      "-9223372036854775809"sv,
                                      "123456789012345678901234567890"sv};

constexpr std::array kWhitespace = {" "sv, "\t"sv, "\n"sv, "\r"sv, ""sv, " \n\r\t "sv};

std::string generateString(Choices& choices, std::string& token) {
  std::string bytes;
  token += '"';
  for (std::size_t i = choices.below(5); i > 0; --i) {
    const StringPart& part = choices.oneOf(kStringParts);
    token += part.text;
    bytes += part.bytes;
  }
  token += '"';
  return bytes;
}

JsonValue generateValue(Choices& choices, std::size_t level, std::vector<std::string>& tokens);

void generateItems(Choices& choices, std::size_t level, std::vector<std::string>& tokens,
                   JsonValue& array) {
  for (std::size_t i = choices.below(5); i > 0; --i) {
    if (!array.items.empty()) tokens.emplace_back(",");
    array.items.push_back(generateValue(choices, level, tokens));
  }
}

void generateMembers(Choices& choices, std::size_t level, std::vector<std::string>& tokens,
                     JsonValue& object) {
  for (std::size_t i = choices.below(5); i > 0; --i) {
    if (!object.memberKeys.empty()) tokens.emplace_back(",");
    object.memberKeys.push_back(generateString(choices, tokens.emplace_back()));
    tokens.emplace_back(":");
    object.memberValues.push_back(generateValue(choices, level, tokens));
  }
}

JsonValue generateValue(Choices& choices, std::size_t level, std::vector<std::string>& tokens) {
  JsonValue value;
  value.kind = static_cast<JsonKind>(choices.below(7));
  const bool isDeepest = level == kMaxJsonDepth;  // containers at this depth must be empty
  switch (value.kind) {
    case JsonKind::Null: tokens.emplace_back("null"); break;
    case JsonKind::Bool:
      value.boolValue = choices.flag();
      tokens.emplace_back(value.boolValue ? "true" : "false");
      break;
    case JsonKind::Integer: {
      const IntegerText& integer = choices.oneOf(kIntegers);
      value.intValue = integer.value;
      tokens.emplace_back(integer.text);
      break;
    }
    case JsonKind::Number: tokens.emplace_back(choices.oneOf(kOtherNumbers)); break;
    case JsonKind::String:
      value.stringValue = generateString(choices, tokens.emplace_back());
      break;
    case JsonKind::Array:
      tokens.emplace_back("[");
      if (!isDeepest) generateItems(choices, level + 1, tokens, value);
      tokens.emplace_back("]");
      break;
    case JsonKind::Object:
      tokens.emplace_back("{");
      if (!isDeepest) generateMembers(choices, level + 1, tokens, value);
      tokens.emplace_back("}");
      break;
  }
  return value;
}

// The value inside `count` arrays.
JsonValue inArrays(JsonValue value, std::size_t count) {
  for (; count > 0; --count) {
    JsonValue array;
    array.kind = JsonKind::Array;
    array.items.push_back(std::move(value));
    value = std::move(array);
  }
  return value;
}

Violation expectTree(const std::string& text, const JsonValue& tree) {
  JsonValue value;
  if (!parseJsonDocument(ExactText(text).view(), value)) return joined({"rejected: ", text});
  return sameTree(value, tree) ? "" : joined({"wrong tree: ", text});
}

// The violation in the tree of an accepted text, or an empty text.
std::string_view treeViolation(std::string_view text, const JsonValue& value) {
  if (!isWellFormed(value)) return "a value has fields of another kind, or findMember is wrong";
  JsonValue again;
  if (!parseJsonDocument(serialized(value), again)) return "rejected after serialization";
  if (!sameTree(value, again)) return "wrong tree after serialization";
  const std::optional<JsonValue> expected = oracleTree(text);
  if (expected && !sameTree(value, *expected)) return "tree differs from nlohmann/json";
  return {};
}

// The closing brackets of the open containers, if `prefix` is a prefix of an accepted text.
std::string closersOf(std::string_view prefix) {
  std::string closers;
  bool inString = false;
  for (std::size_t i = 0; i < prefix.size(); ++i) {
    const char byte = prefix[i];
    if (inString && byte == '\\') ++i;
    if (byte == '"') inString = !inString;
    if (inString) continue;
    if (byte == '[') closers.insert(closers.begin(), ']');
    if (byte == '{') closers.insert(closers.begin(), '}');
    if ((byte == ']' || byte == '}') && !closers.empty()) closers.erase(0, 1);
  }
  return closers;
}

// Whether `prefix` is a prefix of an accepted text. Tries to complete the innermost container with
// a value, a member, the rest of either, or nothing.
bool isPrefixOfAccepted(std::string_view prefix) {
  static constexpr auto kRests = std::to_array<std::string_view>(
      {"",      "0",    "\"\":0", ":0",    "rue",     "ue",     "e",       "alse",  "lse",
       "se",    "ull",  "ll",     "l",     "\"",      "\":0",   "n\"",     "n\":0", "0\"",
       "0\":0", "00\"", "00\":0", "000\"", "000\":0", "0000\"", "0000\":0"});
  const std::string closers = closersOf(prefix);
  return std::ranges::any_of(kRests, [&](std::string_view rest) {
    return parses(joined({prefix, rest, closers}));
  });
}

}  // namespace

Violation checkFault(std::string_view text) {
  const ExactText exact(text);
  const std::optional<JsonFault> fault = findJsonFault(exact.view());
  if (fault.has_value() == parses(text)) {
    return joined({"reader and findJsonFault disagree: ", text});
  }
  if (!fault) return {};
  const std::string shown =
      joined({toString(fault->kind), " at ", std::to_string(fault->offset), ": ", text});
  const bool atEnd = fault->offset == text.size();
  if (fault->offset > text.size() || atEnd != (fault->kind == JsonFaultKind::END_OF_TEXT)) {
    return joined({"offset and END_OF_TEXT disagree, ", shown});
  }
  if (!isPrefixOfAccepted(text.substr(0, fault->offset))) {
    return joined({"offset too large, ", shown});
  }
  if (!atEnd && isPrefixOfAccepted(text.substr(0, fault->offset + 1))) {
    return joined({"offset too small, ", shown});
  }
  return {};
}

JsonVerdict checkJsonText(std::string_view text) {
  JsonVerdict verdict;
  const ExactText exact(text);
  JsonValue value = markedValue();
  verdict.accepted = parseJsonDocument(exact.view(), value);
  verdict.strict = oracleTree(text).has_value();
  std::string_view violation;
  if (verdict.accepted != oracleAccepts(text)) {
    violation = verdict.accepted ? "wrongly accepted" : "wrongly rejected";
  } else if (verdict.accepted) {
    violation = treeViolation(text, value);
  } else if (!sameTree(value, markedValue())) {
    violation = "rejected, but the value was changed";
  }
  if (!violation.empty()) verdict.violation = joined({violation, ": ", text});
  return verdict;
}

Violation checkPrefixes(std::string_view text) {
  const std::size_t last = text.find_last_not_of(" \t\n\r");
  if (last == std::string_view::npos) return {};
  text = text.substr(0, last + 1);
  const bool isContainer = text.back() == ']' || text.back() == '}';
  if (!isContainer || !parses(text)) return {};
  Violation violation;
  forEveryCut(text, [&violation](std::string_view cut) {
    if (parses(cut)) violation = joined({"accepted a prefix: ", cut});
  });
  return violation;
}

GeneratedDocument generateDocument(Choices& choices) {
  GeneratedDocument document;
  const std::size_t arrays = choices.rarely(8) ? choices.below(kMaxJsonDepth + 1) : 0;
  document.tokens.assign(arrays, "[");
  document.tree = inArrays(generateValue(choices, arrays, document.tokens), arrays);
  document.tokens.insert(document.tokens.end(), arrays, "]");
  return document;
}

std::string textOf(const GeneratedDocument& document) {
  std::string text;
  for (const std::string& token : document.tokens) text += token;
  return text;
}

Violation checkGeneratedDocument(const GeneratedDocument& document, Choices& choices) {
  const std::string dense = textOf(document);
  std::string spaced(choices.oneOf(kWhitespace));
  for (const std::string& token : document.tokens) {
    spaced += joined({token, choices.oneOf(kWhitespace)});
  }
  Violation violation = expectTree(dense, document.tree);
  if (violation.empty()) violation = expectTree(spaced, document.tree);
  if (violation.empty() && dense.size() <= 200) violation = checkPrefixes(spaced);
  return violation;
}

}  // namespace egress::test
