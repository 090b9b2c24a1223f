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

// A value that no refused text may change.
JsonValue markedValue() {
  JsonValue value;
  value.kind = JsonKind::Array;
  value.intValue = 4711;
  value.stringValue = "kept";
  value.items.emplace_back().kind = JsonKind::Number;
  return value;
}

// How a part of a string may be written, and the bytes that it stands for.
struct StringPart {
  std::string_view text;
  std::string_view bytes;
};

// A half of a surrogate pair is followed by something that cannot be its other half, because parts
// stand side by side.
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

constexpr std::array kBlanks = {" "sv, "\t"sv, "\n"sv, "\r"sv, ""sv, " \n\r\t "sv};

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
  const bool isDeepest = level == kMaxJsonDepth;  // a container has nothing in it there
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

// The value as the only item of an array, that one again, and so on.
JsonValue inArrays(JsonValue value, std::size_t count) {
  for (; count > 0; --count) {
    JsonValue array;
    array.kind = JsonKind::Array;
    array.items.push_back(std::move(value));
    value = std::move(array);
  }
  return value;
}

Complaint expectTree(const std::string& text, const JsonValue& tree) {
  JsonValue value;
  if (!parseJsonDocument(ExactText(text).view(), value)) return joined({"refused: ", text});
  return sameTree(value, tree) ? "" : joined({"read as another tree: ", text});
}

// What is wrong with the tree of an accepted text, if anything.
std::string_view flawOf(std::string_view text, const JsonValue& value) {
  if (!isSound(value)) return "a value of the tree holds what its kind does not name";
  JsonValue again;
  if (!parseJsonDocument(writtenDown(value), again)) return "refused when written down";
  if (!sameTree(value, again)) return "another tree when written down";
  const std::optional<JsonValue> wanted = oracleTree(text);
  if (wanted && !sameTree(value, *wanted)) return "another tree than nlohmann/json's";
  return {};
}

// The closing brackets of everything that `begun` leaves open, if some accepted text begins with
// it.
std::string closersOf(std::string_view begun) {
  std::string closers;
  bool inString = false;
  for (std::size_t i = 0; i < begun.size(); ++i) {
    const char byte = begun[i];
    if (inString && byte == '\\') ++i;
    if (byte == '"') inString = !inString;
    if (inString) continue;
    if (byte == '[') closers.insert(closers.begin(), ']');
    if (byte == '{') closers.insert(closers.begin(), '}');
    if ((byte == ']' || byte == '}') && !closers.empty()) closers.erase(0, 1);
  }
  return closers;
}

// Whether some accepted text begins with `begun`. What may be missing inside the innermost brackets
// is a value or its rest, a member or its rest, or nothing.
bool canBeContinued(std::string_view begun) {
  static constexpr auto kRests = std::to_array<std::string_view>(
      {"",      "0",    "\"\":0", ":0",    "rue",     "ue",     "e",       "alse",  "lse",
       "se",    "ull",  "ll",     "l",     "\"",      "\":0",   "n\"",     "n\":0", "0\"",
       "0\":0", "00\"", "00\":0", "000\"", "000\":0", "0000\"", "0000\":0"});
  const std::string closers = closersOf(begun);
  return std::ranges::any_of(kRests, [&](std::string_view rest) {
    return parses(joined({begun, rest, closers}));
  });
}

}  // namespace

Complaint judgeFault(std::string_view text) {
  const ExactText exact(text);
  const std::optional<JsonFault> fault = findJsonFault(exact.view());
  if (fault.has_value() == parses(text)) return joined({"wrongly with or without a fault: ", text});
  if (!fault) return {};
  const std::string shown =
      joined({toString(fault->kind), " at ", std::to_string(fault->offset), ": ", text});
  const bool atEnd = fault->offset == text.size();
  if (fault->offset > text.size() || atEnd != (fault->kind == JsonFaultKind::END_OF_TEXT)) {
    return joined({"no such byte, ", shown});
  }
  if (!canBeContinued(text.substr(0, fault->offset))) return joined({"too late, ", shown});
  if (!atEnd && canBeContinued(text.substr(0, fault->offset + 1))) {
    return joined({"too early, ", shown});
  }
  return {};
}

JsonVerdict judgeJsonText(std::string_view text) {
  JsonVerdict verdict;
  const ExactText exact(text);
  JsonValue value = markedValue();
  verdict.accepted = parseJsonDocument(exact.view(), value);
  verdict.strict = oracleTree(text).has_value();
  std::string_view broken;
  if (verdict.accepted != oracleAccepts(text)) {
    broken = verdict.accepted ? "wrongly accepted" : "wrongly refused";
  } else if (verdict.accepted) {
    broken = flawOf(text, value);
  } else if (!sameTree(value, markedValue())) {
    broken = "refused, but the value was changed";
  }
  if (!broken.empty()) verdict.complaint = joined({broken, ": ", text});
  return verdict;
}

Complaint judgeCuts(std::string_view text) {
  const std::size_t last = text.find_last_not_of(" \t\n\r");
  if (last == std::string_view::npos) return {};
  text = text.substr(0, last + 1);
  const bool isContainer = text.back() == ']' || text.back() == '}';
  if (!isContainer || !parses(text)) return {};
  Complaint complaint;
  forEveryCut(text, [&complaint](std::string_view cut) {
    if (parses(cut)) complaint = joined({"accepted although cut: ", cut});
  });
  return complaint;
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

Complaint judgeGeneratedDocument(const GeneratedDocument& document, Choices& choices) {
  const std::string dense = textOf(document);
  std::string spaced(choices.oneOf(kBlanks));
  for (const std::string& token : document.tokens) {
    spaced += joined({token, choices.oneOf(kBlanks)});
  }
  Complaint complaint = expectTree(dense, document.tree);
  if (complaint.empty()) complaint = expectTree(spaced, document.tree);
  if (complaint.empty() && dense.size() <= 200) complaint = judgeCuts(spaced);
  return complaint;
}

}  // namespace egress::test
