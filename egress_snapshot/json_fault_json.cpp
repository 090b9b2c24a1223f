#include "egress_snapshot/json_fault_json.h"

#include <algorithm>
#include <optional>

#include "egress_snapshot/blank_config.h"
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
  writer.member("message");
  writer.scalar(phraseOf(fault.kind));
  writer.close('}');
}

}  // namespace

TextPosition positionOf(std::string_view text, std::size_t offset) noexcept {
  const std::string_view before = text.substr(0, offset);
  const auto lineEnds = static_cast<std::size_t>(std::ranges::count(before, '\n'));
  const std::size_t lineStart = before.rfind('\n') + 1;  // npos + 1 is 0
  return {.line = lineEnds + 1, .column = before.size() - lineStart + 1};
}

const char* phraseOf(JsonFaultKind kind) noexcept {
  using enum JsonFaultKind;
  switch (kind) {
    case END_OF_TEXT: return "the text is cut off";
    case NO_VALUE: return "a value is missing";
    case BAD_LITERAL: return "this is not true, false or null";
    case BAD_NUMBER: return "a digit is missing";
    case BAD_ESCAPE: return "this is not an escape of a string";
    case NO_KEY: return "a key in double quotes is missing";
    case NO_COLON: return "a colon is missing";
    case NO_COMMA: return "a comma or the closing bracket is missing";
    case TOO_DEEP: return "the values are nested too deep";
    case BYTES_AFTER_ROOT: break;
  }
  return "there is more text after the end";
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

std::string configFaultToJson(std::string_view configText) {
  std::string blanked(configText);
  static_cast<void>(blankNonJson(blanked));
  return jsonFaultToJson(blanked);
}

}  // namespace egress::snapshot
