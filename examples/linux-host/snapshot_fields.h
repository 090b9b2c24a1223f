#ifndef EGRESS_EXAMPLES_LINUX_HOST_SNAPSHOT_FIELDS_H
#define EGRESS_EXAMPLES_LINUX_HOST_SNAPSHOT_FIELDS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "egress/core/diagnosis_input.h"

namespace linux_host {

// Convert the values of a saved snapshot to text and back. readField throws CannotRun if the text
// is invalid.
[[nodiscard]] std::string fieldText(const std::string& value);
[[nodiscard]] std::string fieldText(bool value);
[[nodiscard]] std::string fieldText(std::int32_t value);
[[nodiscard]] std::string fieldText(std::uint32_t value);
[[nodiscard]] std::string fieldText(egress::ConfigStatus value);
[[nodiscard]] std::string fieldText(egress::SelectorAnswerStatus value);

void readField(std::string_view text, std::string& value);
void readField(std::string_view text, bool& value);
void readField(std::string_view text, std::int32_t& value);
void readField(std::string_view text, std::uint32_t& value);
void readField(std::string_view text, egress::ConfigStatus& value);
void readField(std::string_view text, egress::SelectorAnswerStatus& value);

// Throws CannotRun: "'TEXT' is not EXPECTED".
[[noreturn]] void rejectValue(std::string_view text, std::string_view expected);

// Throws CannotRun: "unknown KIND 'NAME'".
[[noreturn]] void rejectUnknown(std::string_view kind, std::string_view name);

// Lists are separated by commas. Empty items are lost, which changes no diagnosis: an empty item is
// neither an address nor a port.
template <typename Item>
[[nodiscard]] std::string fieldText(const std::vector<Item>& items) {
  std::string text;
  for (const Item& item : items) {
    if (!text.empty()) text += ',';
    text += fieldText(item);
  }
  return text;
}

template <typename Item>
void readField(std::string_view text, std::vector<Item>& items) {
  items.clear();
  while (!text.empty()) {
    const std::size_t comma = text.find(',');
    if (comma != 0) readField(text.substr(0, comma), items.emplace_back());
    text.remove_prefix(comma == std::string_view::npos ? text.size() : comma + 1);
  }
}

// Writes one line of a saved snapshot.
class FieldWriter {
 public:
  explicit FieldWriter(std::string_view record) : line_(record) {}

  template <typename Value>
  void field(std::string_view key, const Value& value) {
    line_.append(" ").append(key).append("=").append(fieldText(value));
  }

  [[nodiscard]] std::string takeLine() { return std::move(line_) + '\n'; }

 private:
  std::string line_;
};

// Reads the fields of one line, in any order.
class FieldReader {
 public:
  // `fields` is the line without the record's name.
  explicit FieldReader(std::string_view fields);

  template <typename Value>
  void field(std::string_view key, Value& value) {
    for (std::size_t i = 0; i < fields_.size(); ++i) {
      if (fields_[i].first != key) continue;
      readField(fields_[i].second, value);
      fields_.erase(fields_.begin() + static_cast<std::ptrdiff_t>(i));
      return;
    }
  }

  // Throws CannotRun if a field is unknown or duplicate.
  void finish() const;

 private:
  std::vector<std::pair<std::string_view, std::string_view>> fields_;
};

}  // namespace linux_host

#endif
