#include "examples/linux-host/snapshot_fields.h"

#include <algorithm>
#include <array>
#include <optional>

#include "examples/linux-host/errors.h"
#include "examples/linux-host/text.h"

namespace linux_host {
namespace {

// By the number of the status.
constexpr std::array<std::string_view, 4> kAnswerStatuses = {"Ok", "TransportFailed", "Malformed",
                                                             "NowMissing"};

bool standsForItself(char c) {
  return c > ' ' && c <= '~' && c != '%' && c != ',';
}

template <typename Number>
void readNumber(std::string_view text, Number& value) {
  const std::optional<Number> number = numberIn<Number>(text);
  if (!number) refuse(text, "number that fits here");
  value = *number;
}

// Reads a word as its place in a list.
template <typename Status, typename Words>
void readWord(std::string_view text, const Words& words, Status& status) {
  const auto word = std::ranges::find(words, text);
  if (word == words.end()) refuse(text, "status that is known here");
  status = static_cast<Status>(word - words.begin());
}

}  // namespace

std::string fieldText(const std::string& value) {
  std::string text;
  text.reserve(value.size());
  for (const char c : value) text += standsForItself(c) ? std::string(1, c) : percentEncoded(c);
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
    if (!byte || digits.size() != 2) refuse(text.substr(0, 3), "percent-encoded byte");
    value += static_cast<char>(*byte);
    text.remove_prefix(3);
  }
}

void readField(std::string_view text, bool& value) {
  if (text != "true" && text != "false") refuse(text, "'true' or 'false'");
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

void refuse(std::string_view text, std::string_view wanted) {
  constexpr std::size_t kLongest = 40;
  std::string shown = printable(text.substr(0, kLongest));
  if (text.size() > kLongest) shown += "...";
  throw CannotRun("'" + shown + "' is no " + std::string(wanted));
}

FieldReader::FieldReader(std::string_view fields) {
  while (!fields.empty()) {
    const std::string_view field = fields.substr(0, fields.find(' '));
    const std::size_t equals = field.find('=');
    if (equals == std::string_view::npos) refuse(field, "field of the form KEY=VALUE");
    fields_.emplace_back(field.substr(0, equals), field.substr(equals + 1));
    fields.remove_prefix(std::min(fields.size(), field.size() + 1));
  }
}

void FieldReader::finish() const {
  if (!fields_.empty()) refuse(fields_.front().first, "field of this record, or stands here twice");
}

}  // namespace linux_host
