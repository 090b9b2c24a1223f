#include "egress/json/json_reader.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "egress/json/decimal_integer.h"

namespace egress {
namespace {

// Growing a list moves 120-byte values, so an object reserves room before its first member, by the
// running average of earlier objects at its depth.
constexpr std::uint8_t kFirstMemberRoom = 8;
constexpr std::size_t kMaxMemberRoom = 32;  // so that one huge object does not inflate the next

using RoomByLevel = std::array<std::uint8_t, kMaxJsonDepth + 1>;

RoomByLevel firstMemberRooms() {
  RoomByLevel rooms{};
  rooms.fill(kFirstMemberRoom);
  return rooms;
}

struct JsonCursor {
  const char* position = nullptr;  // after a failure: the faulty byte
  const char* end = nullptr;
  NumberText numberText = NumberText::Drop;
  bool keepsElements = true;  // false: each is dropped before the next, to save memory
  JsonFaultKind fault = JsonFaultKind::END_OF_TEXT;  // set by the production that fails
  RoomByLevel memberRooms = firstMemberRooms();
};

bool parseJsonValue(JsonCursor& cursor, JsonValue& value, std::size_t depth);

bool atEnd(const JsonCursor& cursor) {
  return cursor.position == cursor.end;
}

// Only these four; a form feed or a byte-order mark is not a blank.
bool isBlank(char byte) {
  return byte == ' ' || byte == '\t' || byte == '\n' || byte == '\r';
}

bool isDigit(char byte) {
  return byte >= '0' && byte <= '9';
}

// Every production that fails returns through here, with the position on the faulty byte. Inlined,
// it makes accepted texts take 5% more time.
[[gnu::cold, gnu::noinline]] bool fail(JsonCursor& cursor, JsonFaultKind fault) {
  cursor.fault = atEnd(cursor) ? JsonFaultKind::END_OF_TEXT : fault;
  return false;
}

std::string_view restOf(const JsonCursor& cursor) {
  return {cursor.position, cursor.end};
}

// Advances past `expected` if it is next.
bool consume(JsonCursor& cursor, char expected) {
  if (atEnd(cursor) || *cursor.position != expected) return false;
  ++cursor.position;
  return true;
}

bool consume(JsonCursor& cursor, std::string_view expected) {
  if (!restOf(cursor).starts_with(expected)) return false;
  cursor.position += expected.size();
  return true;
}

bool parseLiteral(JsonCursor& cursor, std::string_view literal) {
  if (consume(cursor, literal)) return true;
  const std::string_view rest = restOf(cursor);
  cursor.position += std::ranges::mismatch(rest, literal).in1 - rest.begin();
  return fail(cursor, JsonFaultKind::BAD_LITERAL);
}

void skipBlanks(JsonCursor& cursor) {
  while (!atEnd(cursor) && isBlank(*cursor.position)) ++cursor.position;
}

// The value of a hexadecimal digit, or 16 for any other byte.
std::uint32_t hexDigitValue(char byte) {
  if (isDigit(byte)) return static_cast<std::uint32_t>(byte - '0');
  if (byte >= 'a' && byte <= 'f') return static_cast<std::uint32_t>(byte - 'a') + 10;
  if (byte >= 'A' && byte <= 'F') return static_cast<std::uint32_t>(byte - 'A') + 10;
  return 16;
}

bool parseFourHexDigits(JsonCursor& cursor, std::uint32_t& unit) {
  unit = 0;
  for (int i = 0; i < 4; ++i) {
    const std::uint32_t digit = atEnd(cursor) ? 16 : hexDigitValue(*cursor.position);
    if (digit == 16) return fail(cursor, JsonFaultKind::BAD_ESCAPE);
    unit = (unit << 4) | digit;
    ++cursor.position;
  }
  return true;
}

// UTF-8 (RFC 3629), except that surrogates are encoded like any other code point of their size.
void appendUtf8(std::string& bytes, std::uint32_t codePoint) {
  const auto append = [&bytes](std::uint32_t byte) { bytes.push_back(static_cast<char>(byte)); };
  const auto appendContinuation = [&append](std::uint32_t bits) { append(0x80 | (bits & 0x3F)); };
  if (codePoint <= 0x7F) {
    append(codePoint);
  } else if (codePoint <= 0x7FF) {
    append(0xC0 | (codePoint >> 6));
    appendContinuation(codePoint);
  } else if (codePoint <= 0xFFFF) {
    append(0xE0 | (codePoint >> 12));
    appendContinuation(codePoint >> 6);
    appendContinuation(codePoint);
  } else {
    append(0xF0 | (codePoint >> 18));
    appendContinuation(codePoint >> 12);
    appendContinuation(codePoint >> 6);
    appendContinuation(codePoint);
  }
}

bool isHighSurrogate(std::uint32_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}

bool isLowSurrogate(std::uint32_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

// The rest of an escape after `\u`, including the second half of a surrogate pair.
bool parseUnicodeEscape(JsonCursor& cursor, std::string& bytes) {
  std::uint32_t unit = 0;
  if (!parseFourHexDigits(cursor, unit)) return false;
  if (isHighSurrogate(unit)) {
    const char* const afterFirst = cursor.position;
    std::uint32_t low = 0;
    if (consume(cursor, "\\u") && parseFourHexDigits(cursor, low) && isLowSurrogate(low)) {
      appendUtf8(bytes, 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00));
      return true;
    }
    // Keep an unpaired high surrogate, and read what follows it on its own.
    cursor.position = afterFirst;
  }
  appendUtf8(bytes, unit);
  return true;
}

// The rest of an escape after the backslash.
bool parseEscape(JsonCursor& cursor, std::string& bytes) {
  if (atEnd(cursor)) return fail(cursor, JsonFaultKind::END_OF_TEXT);
  switch (*cursor.position++) {
    case '"': bytes.push_back('"'); return true;
    case '\\': bytes.push_back('\\'); return true;
    case '/': bytes.push_back('/'); return true;
    case 'b': bytes.push_back('\b'); return true;
    case 'f': bytes.push_back('\f'); return true;
    case 'n': bytes.push_back('\n'); return true;
    case 'r': bytes.push_back('\r'); return true;
    case 't': bytes.push_back('\t'); return true;
    case 'u': return parseUnicodeEscape(cursor, bytes);
    default: --cursor.position; return fail(cursor, JsonFaultKind::BAD_ESCAPE);
  }
}

// The bytes up to the next quote or backslash, or up to the end.
std::string_view takePlainRun(JsonCursor& cursor) {
  const char* const start = cursor.position;
  const char* end = start;
  while (end != cursor.end && *end != '"' && *end != '\\') ++end;
  cursor.position = end;
  return {start, end};
}

// The rest of a string, starting at an escape.
bool finishEscapedString(JsonCursor& cursor, std::string& bytes) {
  while (consume(cursor, '\\')) {
    if (!parseEscape(cursor, bytes)) return false;
    bytes += takePlainRun(cursor);
  }
  if (!consume(cursor, '"')) return fail(cursor, JsonFaultKind::END_OF_TEXT);
  return true;
}

// The rest of a string after its first run of plain bytes, which is all of most strings.
bool finishJsonString(JsonCursor& cursor, std::string& bytes) {
  return consume(cursor, '"') || finishEscapedString(cursor, bytes);
}

// `bytes` is empty.
bool parseJsonString(JsonCursor& cursor, std::string& bytes) {
  consume(cursor, '"');
  bytes += takePlainRun(cursor);
  return finishJsonString(cursor, bytes);
}

// Constructs the key from its first run, which takes less time than appending to an empty key.
bool parseMemberKey(JsonCursor& cursor, std::vector<std::string>& keys) {
  if (!consume(cursor, '"')) return fail(cursor, JsonFaultKind::NO_KEY);
  keys.emplace_back(takePlainRun(cursor));
  return finishJsonString(cursor, keys.back());
}

// One or more decimal digits.
bool skipDigits(JsonCursor& cursor) {
  const char* const start = cursor.position;
  while (!atEnd(cursor) && isDigit(*cursor.position)) ++cursor.position;
  return cursor.position > start;
}

bool parseJsonNumber(JsonCursor& cursor, JsonValue& value) {
  using enum JsonFaultKind;
  const char* const start = cursor.position;
  value.kind = JsonKind::Number;
  const bool negative = consume(cursor, '-');
  if (!skipDigits(cursor)) return fail(cursor, negative ? BAD_NUMBER : NO_VALUE);
  const char* const integerEnd = cursor.position;
  if (consume(cursor, '.') && !skipDigits(cursor)) return fail(cursor, BAD_NUMBER);
  if (consume(cursor, 'e') || consume(cursor, 'E')) {
    if (!consume(cursor, '+')) consume(cursor, '-');
    if (!skipDigits(cursor)) return fail(cursor, BAD_NUMBER);
  }
  if (cursor.position == integerEnd) {
    if (const auto integer = parseDecimalInteger({start, integerEnd})) {
      value.kind = JsonKind::Integer;
      value.intValue = *integer;
      return true;
    }
  }
  if (cursor.numberText == NumberText::Keep) value.stringValue.assign(start, cursor.position);
  return true;
}

bool parseJsonArray(JsonCursor& cursor, JsonValue& value, std::size_t depth) {
  value.kind = JsonKind::Array;
  consume(cursor, '[');
  skipBlanks(cursor);
  if (consume(cursor, ']')) return true;
  if (depth == kMaxJsonDepth) return fail(cursor, JsonFaultKind::TOO_DEEP);
  do {
    if (!cursor.keepsElements) value.items.clear();
    if (!parseJsonValue(cursor, value.items.emplace_back(), depth + 1)) return false;
    skipBlanks(cursor);
  } while (consume(cursor, ','));
  if (!consume(cursor, ']')) return fail(cursor, JsonFaultKind::NO_COMMA);
  return true;
}

void dropMembers(JsonValue& object) {
  object.memberKeys.clear();
  object.memberValues.clear();
}

bool parseJsonObject(JsonCursor& cursor, JsonValue& value, std::size_t depth) {
  value.kind = JsonKind::Object;
  consume(cursor, '{');
  skipBlanks(cursor);
  if (consume(cursor, '}')) return true;
  if (depth == kMaxJsonDepth) return fail(cursor, JsonFaultKind::TOO_DEEP);
  std::uint8_t& room = cursor.memberRooms[depth];
  value.memberKeys.reserve(room);
  value.memberValues.reserve(room);
  do {
    if (!cursor.keepsElements) dropMembers(value);
    skipBlanks(cursor);
    if (!parseMemberKey(cursor, value.memberKeys)) return false;
    skipBlanks(cursor);
    if (!consume(cursor, ':')) return fail(cursor, JsonFaultKind::NO_COLON);
    if (!parseJsonValue(cursor, value.memberValues.emplace_back(), depth + 1)) return false;
    skipBlanks(cursor);
  } while (consume(cursor, ','));
  if (!consume(cursor, '}')) return fail(cursor, JsonFaultKind::NO_COMMA);
  const std::size_t members = std::min(value.memberKeys.size(), kMaxMemberRoom);
  room = static_cast<std::uint8_t>((room + members + 1) / 2);
  return true;
}

// `depth` is at most kMaxJsonDepth: a container at that depth refuses its first element, so the
// fault is where the text goes too deep and not one value later.
bool parseJsonValue(JsonCursor& cursor, JsonValue& value, std::size_t depth) {
  skipBlanks(cursor);
  if (atEnd(cursor)) return fail(cursor, JsonFaultKind::NO_VALUE);
  switch (*cursor.position) {
    case '{': return parseJsonObject(cursor, value, depth);
    case '[': return parseJsonArray(cursor, value, depth);
    case '"': value.kind = JsonKind::String; return parseJsonString(cursor, value.stringValue);
    case 't':
      value.kind = JsonKind::Bool;
      value.boolValue = true;
      return parseLiteral(cursor, "true");
    case 'f': value.kind = JsonKind::Bool; return parseLiteral(cursor, "false");
    case 'n': return parseLiteral(cursor, "null");
    default: return parseJsonNumber(cursor, value);
  }
}

bool parseRoot(JsonCursor& cursor, JsonValue& root) {
  if (!parseJsonValue(cursor, root, 0)) return false;
  skipBlanks(cursor);
  if (!atEnd(cursor)) return fail(cursor, JsonFaultKind::BYTES_AFTER_ROOT);
  return true;
}

JsonCursor cursorAt(std::string_view text) {
  return {.position = text.data(), .end = text.data() + text.size()};
}

}  // namespace

bool parseJsonDocument(std::string_view text, JsonValue& value, NumberText numberText) {
  JsonCursor cursor = cursorAt(text);
  cursor.numberText = numberText;
  JsonValue root;
  if (!parseRoot(cursor, root)) return false;
  value = std::move(root);
  return true;
}

std::optional<JsonFault> findJsonFault(std::string_view text) {
  JsonCursor cursor = cursorAt(text);
  cursor.keepsElements = false;
  JsonValue root;
  if (parseRoot(cursor, root)) return std::nullopt;
  return JsonFault{.kind = cursor.fault,
                   .offset = static_cast<std::size_t>(cursor.position - text.data())};
}

}  // namespace egress
