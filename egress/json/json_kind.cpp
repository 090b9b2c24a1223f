#include "egress/json/json_kind.h"

namespace egress {

const char* toString(JsonKind kind) noexcept {
  using enum JsonKind;
  switch (kind) {
    case Null: return "Null";
    case Bool: return "Bool";
    case Integer: return "Integer";
    case Number: return "Number";
    case String: return "String";
    case Array: return "Array";
    case Object: break;
  }
  return "Object";
}

}  // namespace egress
