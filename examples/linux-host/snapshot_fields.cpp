#include "examples/linux-host/snapshot_fields.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <system_error>

#include "examples/linux-host/errors.h"

namespace linux_host {
namespace {

constexpr std::string_view kHexDigits = "0123456789ABCDEF";

// By the number of the status.
constexpr std::array<std::string_view, 4> kAnswerStatuses = {"Ok", "TransportFailed", "Malformed",
                                                             "NowMissing"};

bool standsForItself(char c) {
  return c > ' ' && c <= '~' && c != '%' && c != ',';
}

template <typename Number>
void readNumber(std::string_view text, Number& value) {
  const char* const end = text.data() + text.size();
  const auto [last, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || last != end) refuse(text, "number that fits here");
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
  for (const char c : value) {
    if (standsForItself(c)) {
      text += c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    text += {'%', kHexDigits[byte >> 4U], kHexDigits[byte & 0xFU]};
  }
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
    const std::size_t high = text.size() < 3 ? std::string_view::npos : kHexDigits.find(text[1]);
    const std::size_t low = text.size() < 3 ? std::string_view::npos : kHexDigits.find(text[2]);
    if (high == std::string_view::npos || low == std::string_view::npos) {
      refuse(text.substr(0, 3), "percent-encoded byte");
    }
    value += static_cast<char>(high << 4U | low);
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
  std::string shown = fieldText(std::string(text.substr(0, kLongest)));
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
