#include "egress/json/json_value.h"

#include <cstddef>

namespace egress {

const JsonValue* findMember(const JsonValue& object, std::string_view key) noexcept {
  if (object.kind != JsonKind::Object) return nullptr;
  for (std::size_t i = 0; i < object.memberKeys.size(); ++i) {
    if (object.memberKeys[i] == key) return &object.memberValues[i];
  }
  return nullptr;
}

}  // namespace egress
