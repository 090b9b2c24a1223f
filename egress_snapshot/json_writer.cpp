#include "egress_snapshot/json_writer.h"

#include <algorithm>
#include <utility>

namespace egress::snapshot {
namespace {

constexpr std::string_view kIndent = "  ";

// Whether a string consists of bytes that stand for themselves (RFC 8259, section 7).
bool needsNoEscape(std::string_view text) {
  return std::ranges::all_of(text,
                             [](char c) { return c >= ' ' && c <= '~' && c != '"' && c != '\\'; });
}

}  // namespace

JsonWriter::JsonWriter(Sink sink, JsonLayout layout) : sink_(std::move(sink)), layout_(layout) {}

void JsonWriter::member(std::string_view key) {
  element();
  if (needsNoEscape(key)) {  // nearly always, and much faster than a JSON value
    append(std::string("\"").append(key).append("\""));
  } else {
    scalar(key);
  }
  append(layout_ == JsonLayout::INDENTED ? ": " : ":");
}

void JsonWriter::element() {
  if (!isEmpty_) append(",");
  isEmpty_ = false;
  newLine();
}

void JsonWriter::scalar(const Json& value) {
  constexpr int kOneLine = -1;
  using nlohmann::detail::error_handler_t;
  append(value.dump(kOneLine, ' ', /*ensure_ascii=*/false, error_handler_t::replace));
}

void JsonWriter::open(char bracket) {
  append({&bracket, 1});
  ++depth_;
  isEmpty_ = true;
}

void JsonWriter::close(char bracket) {
  --depth_;
  if (!isEmpty_) newLine();
  isEmpty_ = false;
  append({&bracket, 1});
}

void JsonWriter::finish() {
  sink_(part_);
}

void JsonWriter::newLine() {
  if (layout_ == JsonLayout::ONE_LINE) return;
  append("\n");
  for (std::size_t i = 0; i < depth_; ++i) append(kIndent);
}

void JsonWriter::append(std::string_view text) {
  if (part_.size() + text.size() > kMaxPart) {
    sink_(part_);
    part_.clear();
  }
  part_ += text;
}

}  // namespace egress::snapshot
