#include "egress/json/json_fault.h"

namespace egress {

const char* toString(JsonFaultKind kind) noexcept {
  using enum JsonFaultKind;
  switch (kind) {
    case END_OF_TEXT: return "END_OF_TEXT";
    case NO_VALUE: return "NO_VALUE";
    case BAD_LITERAL: return "BAD_LITERAL";
    case BAD_NUMBER: return "BAD_NUMBER";
    case BAD_ESCAPE: return "BAD_ESCAPE";
    case NO_KEY: return "NO_KEY";
    case NO_COLON: return "NO_COLON";
    case NO_COMMA: return "NO_COMMA";
    case TOO_DEEP: return "TOO_DEEP";
    case BYTES_AFTER_ROOT: break;
  }
  return "BYTES_AFTER_ROOT";
}

}  // namespace egress
