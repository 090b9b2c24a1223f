#include "examples/linux-host/snapshot_fields.h"

#include <algorithm>
#include <array>
#include <optional>

#include "examples/linux-host/errors.h"
#include "examples/linux-host/text.h"

namespace linux_host {
namespace {

// Indexed by SelectorAnswerStatus.
constexpr std::array<std::string_view, 4> kAnswerStatuses = {"Ok", "TransportFailed", "Malformed",
                                                             "NowMissing"};

bool isUnreserved(char c) {
  return c > ' ' && c <= '~' && c != '%' && c != ',';
}

// For an error message: printable, in quotes and of limited length.
std::string quoted(std::string_view text) {
  constexpr std::size_t kMaxLength = 40;
  const std::string_view dots = text.size() > kMaxLength ? "..." : "";
  return "'" + printable(text.substr(0, kMaxLength)).append(dots) + "'";
}

template <typename Number>
void readNumber(std::string_view text, Number& value) {
  const std::optional<Number> number = numberIn<Number>(text);
  if (!number) rejectValue(text, "a number in range");
  value = *number;
}

// Reads a status as its index in `words`.
template <typename Status, typename Words>
void readWord(std::string_view text, const Words& words, Status& status) {
  const auto word = std::ranges::find(words, text);
  if (word == words.end()) rejectUnknown("status", text);
  status = static_cast<Status>(word - words.begin());
}

}  // namespace

std::string fieldText(const std::string& value) {
  std::string text;
  text.reserve(value.size());
  for (const char c : value) text += isUnreserved(c) ? std::string(1, c) : percentEncoded(c);
  return text;
}

std::string fieldText(bool value) {
  return value ? "true" : "false";
}
std::string fieldText(std::int32_t value) {
  return std::to_string(value);
}
std::string fieldText(std::uint32_t value) {
  return std::to_string(value);
}
std::string fieldText(egress::ConfigStatus value) {
  return egress::toString(value);
}

std::string fieldText(egress::SelectorAnswerStatus value) {
  return std::string(kAnswerStatuses.at(static_cast<std::size_t>(value)));
}

void readField(std::string_view text, std::string& value) {
  value.clear();
  while (!text.empty()) {
    if (text.front() != '%') {
      value += text.front();
      text.remove_prefix(1);
      continue;
    }
    const std::string_view digits = text.substr(1, 2);
    const std::optional<std::uint8_t> byte = numberIn<std::uint8_t>(digits, 16);
    if (!byte || digits.size() != 2) rejectValue(text.substr(0, 3), "a percent-encoded byte");
    value += static_cast<char>(*byte);
    text.remove_prefix(3);
  }
}

void readField(std::string_view text, bool& value) {
  if (text != "true" && text != "false") rejectValue(text, "'true' or 'false'");
  value = text == "true";
}

void readField(std::string_view text, std::int32_t& value) {
  readNumber(text, value);
}
void readField(std::string_view text, std::uint32_t& value) {
  readNumber(text, value);
}

void readField(std::string_view text, egress::ConfigStatus& value) {
  readWord(text, egress::declaredConfigStatus(), value);
}

void readField(std::string_view text, egress::SelectorAnswerStatus& value) {
  readWord(text, kAnswerStatuses, value);
}

void rejectValue(std::string_view text, std::string_view expected) {
  throw CannotRun(quoted(text) + " is not " + std::string(expected));
}

void rejectUnknown(std::string_view kind, std::string_view name) {
  throw CannotRun("unknown " + std::string(kind) + ' ' + quoted(name));
}

FieldReader::FieldReader(std::string_view fields) {
  while (!fields.empty()) {
    const std::string_view field = fields.substr(0, fields.find(' '));
    const std::size_t equals = field.find('=');
    if (equals == std::string_view::npos) rejectValue(field, "of the form KEY=VALUE");
    fields_.emplace_back(field.substr(0, equals), field.substr(equals + 1));
    fields.remove_prefix(std::min(fields.size(), field.size() + 1));
  }
}

void FieldReader::finish() const {
  if (!fields_.empty()) rejectUnknown("or duplicate field", fields_.front().first);
}

}  // namespace linux_host
