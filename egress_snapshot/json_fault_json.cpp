#include "egress_snapshot/json_fault_json.h"

#include <algorithm>
#include <optional>

#include "egress/json/json_fault.h"
#include "egress_snapshot/json_writer.h"

namespace egress::snapshot {
namespace {

void writeFault(JsonWriter& writer, std::string_view text, const JsonFault& fault) {
  const TextPosition position = positionOf(text, fault.offset);
  writer.open('{');
  writer.member("kind");
  writer.scalar(egress::toString(fault.kind));
  writer.member("offset");
  writer.scalar(fault.offset);
  writer.member("line");
  writer.scalar(position.line);
  writer.member("column");
  writer.scalar(position.column);
  writer.close('}');
}

}  // namespace

TextPosition positionOf(std::string_view text, std::size_t offset) noexcept {
  const std::string_view before = text.substr(0, offset);
  const auto lineEnds = static_cast<std::size_t>(std::ranges::count(before, '\n'));
  const std::size_t lineStart = before.rfind('\n') + 1;  // npos + 1 is 0
  return {.line = lineEnds + 1, .column = before.size() - lineStart + 1};
}

std::string jsonFaultToJson(std::string_view text) {
  std::string json;
  JsonWriter writer([&json](std::string_view part) { json += part; });
  if (const std::optional<JsonFault> fault = findJsonFault(text)) {
    writeFault(writer, text, *fault);
  } else {
    writer.scalar(nullptr);
  }
  writer.finish();
  return json;
}

}  // namespace egress::snapshot
