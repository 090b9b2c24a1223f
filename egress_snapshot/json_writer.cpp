#include "egress_snapshot/json_writer.h"

#include <utility>

namespace egress::snapshot {
namespace {

constexpr std::size_t kIndent = 2;

}  // namespace

JsonWriter::JsonWriter(Sink sink) : sink_(std::move(sink)) {}

void JsonWriter::member(std::string_view key) {
  element();
  scalar(key);
  append(": ");
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
  append("\n");
  append(std::string(depth_ * kIndent, ' '));
}

void JsonWriter::append(std::string_view text) {
  if (part_.size() + text.size() > kMaxPart) {
    sink_(part_);
    part_.clear();
  }
  part_ += text;
}

}  // namespace egress::snapshot
