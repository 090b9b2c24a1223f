#include "egress/json/json_reader.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "egress/json/decimal_integer.h"

namespace egress {
namespace {

// Growing a list moves what it holds, each value a large record. So lists begin with room: arrays
// for as many items as most short ones have, objects for about as many members as those on their
// level had of late, because objects of one level tend to be alike.
constexpr std::size_t kItemRoom = 2;
constexpr std::uint8_t kFirstMemberRoom = 8;
constexpr std::size_t kMaxMemberRoom = 32;  // one huge object shall not make the next one's room

using RoomByLevel = std::array<std::uint8_t, kMaxJsonDepth + 1>;

RoomByLevel firstMemberRooms() {
  RoomByLevel rooms{};
  rooms.fill(kFirstMemberRoom);
  return rooms;
}

struct JsonCursor {
  const char* position = nullptr;
  const char* end = nullptr;
  RoomByLevel memberRooms = firstMemberRooms();
};

bool parseJsonValue(JsonCursor& cursor, JsonValue& value, std::size_t depth);

bool atEnd(const JsonCursor& cursor) {
  return cursor.position == cursor.end;
}

// Only these four: a form feed or a byte-order mark is no blank.
bool isBlank(char byte) {
  return byte == ' ' || byte == '\t' || byte == '\n' || byte == '\r';
}

bool isDigit(char byte) {
  return byte >= '0' && byte <= '9';
}

std::string_view restOf(const JsonCursor& cursor) {
  return {cursor.position, cursor.end};
}

// Advances past `expected` when it stands at the position.
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
  const std::string_view digits = restOf(cursor).substr(0, 4);
  if (digits.size() < 4) return false;
  unit = 0;
  for (const char byte : digits) {
    const std::uint32_t digit = hexDigitValue(byte);
    if (digit == 16) return false;
    unit = (unit << 4) | digit;
  }
  cursor.position += 4;
  return true;
}

// UTF-8 (RFC 3629), but for surrogates, which are encoded like any other code point of their size.
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

// What follows a `\u`: four hex digits, and the other half of a surrogate pair when it stands
// there.
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
    // An unpaired half stands for itself; what follows it is read on its own, as if it came first.
    cursor.position = afterFirst;
  }
  appendUtf8(bytes, unit);
  return true;
}

// What follows a backslash.
bool parseEscape(JsonCursor& cursor, std::string& bytes) {
  if (atEnd(cursor)) return false;
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
    default: return false;
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

// What follows the first plain bytes of a string, from an escape on, its closing quote included.
bool finishEscapedString(JsonCursor& cursor, std::string& bytes) {
  while (consume(cursor, '\\')) {
    if (!parseEscape(cursor, bytes)) return false;
    bytes += takePlainRun(cursor);
  }
  return consume(cursor, '"');
}

// The same for any string; most end with their first plain bytes.
bool finishJsonString(JsonCursor& cursor, std::string& bytes) {
  return consume(cursor, '"') || finishEscapedString(cursor, bytes);
}

// Both read what follows an opening quote. A value's string is there already, a key is made from
// its first bytes.
bool parseStringValue(JsonCursor& cursor, JsonValue& value) {
  value.kind = JsonKind::String;
  value.stringValue += takePlainRun(cursor);
  return finishJsonString(cursor, value.stringValue);
}

bool parseMemberKey(JsonCursor& cursor, std::vector<std::string>& keys) {
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
  const char* const start = cursor.position;
  value.kind = JsonKind::Number;
  consume(cursor, '-');
  if (!skipDigits(cursor)) return false;
  const char* const integerEnd = cursor.position;
  if (consume(cursor, '.') && !skipDigits(cursor)) return false;
  if (consume(cursor, 'e') || consume(cursor, 'E')) {
    if (!consume(cursor, '+')) consume(cursor, '-');
    if (!skipDigits(cursor)) return false;
  }
  if (cursor.position > integerEnd) return true;

  if (const auto integer = parseDecimalInteger({start, integerEnd})) {
    value.kind = JsonKind::Integer;
    value.intValue = *integer;
  }
  return true;
}

bool parseJsonArray(JsonCursor& cursor, JsonValue& value, std::size_t depth) {
  value.kind = JsonKind::Array;
  consume(cursor, '[');
  skipBlanks(cursor);
  if (consume(cursor, ']')) return true;
  value.items.reserve(kItemRoom);
  do {
    if (!parseJsonValue(cursor, value.items.emplace_back(), depth + 1)) return false;
    skipBlanks(cursor);
  } while (consume(cursor, ','));
  return consume(cursor, ']');
}

bool parseJsonObject(JsonCursor& cursor, JsonValue& value, std::size_t depth) {
  value.kind = JsonKind::Object;
  consume(cursor, '{');
  skipBlanks(cursor);
  if (consume(cursor, '}')) return true;
  std::uint8_t& room = cursor.memberRooms[depth];
  value.memberKeys.reserve(room);
  value.memberValues.reserve(room);
  do {
    skipBlanks(cursor);
    if (!consume(cursor, '"') || !parseMemberKey(cursor, value.memberKeys)) return false;
    skipBlanks(cursor);
    if (!consume(cursor, ':')) return false;
    if (!parseJsonValue(cursor, value.memberValues.emplace_back(), depth + 1)) return false;
    skipBlanks(cursor);
  } while (consume(cursor, ','));
  const std::size_t members = std::min(value.memberKeys.size(), kMaxMemberRoom);
  room = static_cast<std::uint8_t>((room + members + 1) / 2);
  return consume(cursor, '}');
}

bool parseJsonValue(JsonCursor& cursor, JsonValue& value, std::size_t depth) {
  if (depth > kMaxJsonDepth) return false;
  skipBlanks(cursor);
  if (atEnd(cursor)) return false;
  switch (*cursor.position) {
    case '{': return parseJsonObject(cursor, value, depth);
    case '[': return parseJsonArray(cursor, value, depth);
    case '"': ++cursor.position; return parseStringValue(cursor, value);
    case 't':
      value.kind = JsonKind::Bool;
      value.boolValue = true;
      return consume(cursor, "true");
    case 'f': value.kind = JsonKind::Bool; return consume(cursor, "false");
    case 'n': return consume(cursor, "null");
    default: return parseJsonNumber(cursor, value);
  }
}

}  // namespace

bool parseJsonDocument(std::string_view text, JsonValue& value) {
  JsonCursor cursor{.position = text.data(), .end = text.data() + text.size()};
  JsonValue root;
  if (!parseJsonValue(cursor, root, 0)) return false;
  skipBlanks(cursor);
  if (!atEnd(cursor)) return false;
  value = std::move(root);
  return true;
}

}  // namespace egress
