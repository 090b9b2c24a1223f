#include "tests/laws/blank_laws.h"

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "egress/config/proxy_config.h"
#include "egress/json/json_fault.h"
#include "egress/json/json_reader.h"
#include "egress_snapshot/blank_config.h"
#include "tests/laws/config_laws.h"
#include "tests/laws/config_reading.h"
#include "tests/laws/json_laws.h"
#include "tests/laws/json_trees.h"
#include "tests/support/exact_text.h"
#include "tests/support/joined.h"
#include "tests/support/record_equality.h"

namespace egress::test {
namespace {

using snapshot::BlankedParts;
using namespace std::string_view_literals;

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::size_t kNowhere = std::string_view::npos;

enum class TokenKind : std::uint8_t {
  ByteOrderMark,
  Blanks,
  Comment,
  String,
  Mark,    // one of []{}:,
  Scalar,  // and any other bytes
  Rest,    // what begins with an incomplete comment
};

struct Token {
  TokenKind kind = TokenKind::Rest;
  std::string_view text;
};

std::string_view upTo(std::string_view text, std::size_t end) {
  return text.substr(0, end == kNowhere ? text.size() : end);
}

Token stringAt(std::string_view text) {
  std::size_t size = 1;
  while (size < text.size() && text[size] != '"') size += text[size] == '\\' ? 2U : 1U;
  return {TokenKind::String, text.substr(0, size + 1)};
}

Token commentAt(std::string_view text) {
  if (text.starts_with("//")) return {TokenKind::Comment, upTo(text, text.find_first_of("\r\n"))};
  const std::size_t end = text.starts_with("/*") ? text.find("*/", 2) : kNowhere;
  if (end == kNowhere) return {TokenKind::Rest, text};
  return {TokenKind::Comment, text.substr(0, end + 2)};
}

Token tokenAt(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  constexpr std::string_view kMarks = "[]{}:,";
  if (text[0] == '"') return stringAt(text);
  if (text[0] == '/') return commentAt(text);
  if (kMarks.find(text[0]) != kNowhere) return {TokenKind::Mark, text.substr(0, 1)};
  if (kBlanks.find(text[0]) != kNowhere) {
    return {TokenKind::Blanks, upTo(text, text.find_first_not_of(kBlanks))};
  }
  return {TokenKind::Scalar, upTo(text, text.find_first_of("\"/[]{}:, \t\r\n"))};
}

// The tokens, which together are the text.
std::vector<Token> tokensOf(std::string_view text) {
  std::vector<Token> tokens;
  if (text.starts_with(kByteOrderMark)) {
    tokens.push_back({TokenKind::ByteOrderMark, text.substr(0, kByteOrderMark.size())});
    text.remove_prefix(kByteOrderMark.size());
  }
  while (!text.empty()) {
    tokens.push_back(tokenAt(text));
    text.remove_prefix(tokens.back().text.size());
  }
  return tokens;
}

// Whether the reader passes over it, at least after blanking.
bool isSpace(const Token& token) {
  return token.kind == TokenKind::ByteOrderMark || token.kind == TokenKind::Blanks ||
         token.kind == TokenKind::Comment;
}

bool isOneOf(const Token& token, std::string_view marks) {
  return token.kind == TokenKind::Mark && marks.find(token.text) != kNowhere;
}

bool isTrailingComma(const std::vector<Token>& tokens, std::size_t at) {
  if (!isOneOf(tokens[at], ",")) return false;
  std::size_t before = at;
  while (before > 0 && isSpace(tokens[before - 1])) --before;
  std::size_t after = at + 1;
  while (after < tokens.size() && isSpace(tokens[after])) ++after;
  return before > 0 && !isOneOf(tokens[before - 1], "[{:,") && after < tokens.size() &&
         isOneOf(tokens[after], "]}");
}

std::string blanksFor(std::string_view bytes) {
  std::string blanks(bytes);
  for (char& byte : blanks) byte = byte == '\n' || byte == '\r' ? byte : ' ';
  return blanks;
}

struct Blanked {
  std::string text;
  BlankedParts parts;
};

Blanked expectedOf(std::string_view text) {
  Blanked expected;
  const std::vector<Token> tokens = tokensOf(text);
  for (std::size_t i = 0; i < tokens.size(); ++i) {
    const bool isMark = tokens[i].kind == TokenKind::ByteOrderMark;
    const bool isComment = tokens[i].kind == TokenKind::Comment;
    const bool isComma = isTrailingComma(tokens, i);
    if (isMark) expected.parts.byteOrderMark = true;
    if (isComment) ++expected.parts.comments;
    if (isComma) ++expected.parts.trailingCommas;
    expected.text += isMark || isComment || isComma ? blanksFor(tokens[i].text) : tokens[i].text;
  }
  return expected;
}

Blanked blankedOf(std::string_view text) {
  Blanked blanked;
  blanked.text = text;
  blanked.parts = snapshot::blankNonJson(blanked.text);
  return blanked;
}

bool areEqual(const Blanked& a, const Blanked& b) {
  return a.text == b.text && a.parts.byteOrderMark == b.parts.byteOrderMark &&
         a.parts.comments == b.parts.comments && a.parts.trailingCommas == b.parts.trailingCommas;
}

Blanked unchanged(std::string_view text) {
  return {.text = std::string(text), .parts = {}};
}

// Whether only blanks replace bytes, and line ends stay.
bool isOnlyBlanked(std::string_view before, std::string_view after) {
  if (before.size() != after.size()) return false;
  for (std::size_t i = 0; i < before.size(); ++i) {
    if (before[i] == after[i]) continue;
    if (after[i] != ' ' || before[i] == '\n' || before[i] == '\r') return false;
  }
  return true;
}

// The violation, or an empty text.
std::string_view violationIn(std::string_view text, const Blanked& blanked, BlankVerdict& verdict) {
  const std::optional<JsonFault> before = findJsonFault(text);
  const std::optional<JsonFault> after = findJsonFault(blanked.text);
  verdict.isChanged = blanked.text != text;
  verdict.isRepaired = before && !after;
  if (!isOnlyBlanked(text, blanked.text)) return "not only blanks replace bytes";
  if (!areEqual(blanked, expectedOf(text))) return "differs from the simple implementation";
  if (!areEqual(blankedOf(blanked.text), unchanged(blanked.text))) return "changed the second time";
  if (!before && !areEqual(blanked, unchanged(text))) return "JSON is changed";
  if (before && after && after->offset < before->offset) return "refused earlier";
  return {};
}

// Inserts.

constexpr auto kComments = std::to_array<std::string_view>({
    "//\n"sv,
    "// a, \"b\" ]}/* \r\n"sv,
    "///*\n"sv,
    "//\0\xFF\r"sv,
    "/**/"sv,
    "/***/"sv,
    "/*//*/"sv,
    "/* [{\"\n,:]} \r\\ \xEF\xBB\xBF */"sv,
});

constexpr auto kSpaces = std::to_array<std::string_view>({"", " ", "\t", "\n", "\r\n"});

struct Insertion {
  std::string text;
  BlankedParts parts;
};

void insertSpace(Choices& choices, Insertion& insertion) {
  insertion.text += choices.oneOf(kSpaces);
  while (choices.rarely(3)) {
    insertion.text += joined({choices.oneOf(kComments), choices.oneOf(kSpaces)});
    ++insertion.parts.comments;
  }
}

bool isOpening(std::string_view token) {
  return token == "[" || token == "{";
}

bool isClosing(std::string_view token) {
  return token == "]" || token == "}";
}

Insertion withInsertions(const std::vector<std::string>& tokens, Choices& choices) {
  Insertion insertion;
  insertion.parts.byteOrderMark = choices.flag();
  if (insertion.parts.byteOrderMark) insertion.text = kByteOrderMark;
  insertSpace(choices, insertion);
  for (std::size_t i = 0; i < tokens.size(); ++i) {
    const bool endsValues = i > 0 && isClosing(tokens[i]) && !isOpening(tokens[i - 1]);
    if (endsValues && choices.flag()) {
      insertion.text += ",";
      ++insertion.parts.trailingCommas;
      insertSpace(choices, insertion);
    }
    insertion.text += tokens[i];
    insertSpace(choices, insertion);
  }
  return insertion;
}

// Blanks the text with its insertions, and counts these.
Violation blankInsertions(Insertion& insertion, InsertedParts& inserted) {
  const Insertion before = insertion;
  insertion.parts = snapshot::blankNonJson(insertion.text);
  if (insertion.parts.byteOrderMark != before.parts.byteOrderMark ||
      insertion.parts.comments != before.parts.comments ||
      insertion.parts.trailingCommas != before.parts.trailingCommas) {
    return joined({"wrong number of parts: ", before.text});
  }
  inserted.byteOrderMarks += before.parts.byteOrderMark ? 1 : 0;
  inserted.comments += before.parts.comments;
  inserted.trailingCommas += before.parts.trailingCommas;
  return checkBlankedText(before.text).violation;
}

}  // namespace

BlankVerdict checkBlankedText(std::string_view text) {
  BlankVerdict verdict;
  const ExactText exact(text);
  const std::string_view violation = violationIn(exact.view(), blankedOf(exact.view()), verdict);
  if (!violation.empty()) verdict.violation = joined({violation, ": ", text});
  return verdict;
}

std::string generateBlankableText(Choices& choices) {
  return withInsertions(generateDocument(choices).tokens, choices).text;
}

Violation checkBlankedDocument(Choices& choices, InsertedParts& inserted) {
  const GeneratedDocument document = generateDocument(choices);
  Insertion insertion = withInsertions(document.tokens, choices);
  Violation violation = blankInsertions(insertion, inserted);
  if (!violation.empty()) return violation;
  JsonValue tree;
  if (!parseJsonDocument(insertion.text, tree)) return joined({"refused: ", insertion.text});
  return sameTree(tree, document.tree) ? "" : joined({"another tree: ", insertion.text});
}

Violation checkBlankedConfig(Choices& choices, InsertedParts& inserted) {
  const std::string text = generateConfigText(choices);
  if (findJsonFault(text)) return {};
  std::vector<std::string> tokens;
  for (const Token& token : tokensOf(text)) {
    if (token.kind != TokenKind::Blanks) tokens.emplace_back(token.text);
  }
  Insertion insertion = withInsertions(tokens, choices);
  Violation violation = blankInsertions(insertion, inserted);
  if (!violation.empty()) return violation;
  const bool isSame = readProxyConfig(insertion.text, true) == readProxyConfig(text, true);
  return isSame ? "" : joined({"another configuration: ", insertion.text, " for ", text});
}

}  // namespace egress::test
