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

// The values that stand in a saved snapshot's fields, as text. What reads one throws CannotRun for
// text that is none.
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

// Throws CannotRun: "'text' is no wanted". The text may come from anybody, so it is shown
// printable and cut.
[[noreturn]] void refuse(std::string_view text, std::string_view wanted);

// Lists are joined by commas. An item that is empty is lost, which changes no diagnosis: it is
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

// Writes the fields that it is shown.
class FieldWriter {
 public:
  explicit FieldWriter(std::string_view word) : line_(word) {}

  template <typename Value>
  void field(std::string_view key, const Value& value) {
    line_.append(" ").append(key).append("=").append(fieldText(value));
  }

  [[nodiscard]] std::string takeLine() { return std::move(line_) + '\n'; }

 private:
  std::string line_;
};

// Reads the fields that it is shown, in any order.
class FieldReader {
 public:
  // `fields` is a line without its word.
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

  // Throws CannotRun when a field is left that nobody wanted, or that stands there twice.
  void finish() const;

 private:
  std::vector<std::pair<std::string_view, std::string_view>> fields_;
};

}  // namespace linux_host

#endif
