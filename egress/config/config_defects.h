#ifndef EGRESS_CONFIG_CONFIG_DEFECTS_H
#define EGRESS_CONFIG_CONFIG_DEFECTS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "egress/config/selector_answer.h"
#include "egress/export.h"
#include "egress/json/json_kind.h"

namespace egress {

// Why the diagnosis cannot use something in a configuration.
enum class ConfigDefectKind : std::uint32_t {
  NOT_JSON,        // findJsonFault gives the position
  KEY_MISSING,     // `key` is absent
  VALUE_UNUSABLE,  // the value has the wrong kind, or the diagnosis cannot follow it
  SEVERAL_PORTS,   // the port keys hold a range, or more than one port
  TAG_REPEATED,    // an earlier outbound has this tag, and only the first is used
  SELECTOR_WITHOUT_ANSWER,
  ANSWER_WITHOUT_SELECTOR,  // the answer's tag is not that of a selector
  HINT_UNKNOWN,             // no outbound has the hint's tag
};

// One defect. Fields that do not apply to it are empty.
struct ConfigDefect {
  ConfigDefectKind kind = ConfigDefectKind::NOT_JSON;
  std::optional<std::size_t> position;  // in the text's "outbounds", from 0
  std::string tag;                      // of the outbound, the answer or the hint
  std::string key;  // "server", "route.auto_detect_interface", "server_ports[2]"; empty: the value
                    // at `position`, or the root
  JsonKind valueKind = JsonKind::Null;  // of a VALUE_UNUSABLE, like `value`
  std::string value;  // a number or a boolean as JSON, or a string's first kMaxDefectText bytes
};

// Limits the size of a list of defects.
inline constexpr std::size_t kMaxDefectText = 80;

// Lists what one configuration, with the answers and the hint of the same diagnosis, holds that the
// diagnosis cannot use: first the route, then each outbound in order, answers, and the hint. An
// empty hint is none.
//
// Looks at every outbound, whether the traffic takes it or not. Of an outbound without a detour
// whose type has an endpoint, everything must be usable that makes it one: type, server, port,
// transport. An outbound without such a defect, on its own under the tag "proxy", is diagnosed "OK"
// or "LEAF_HAS_NO_REMOTE_ENDPOINT". Parses the text a second time. Throws only when memory runs
// out.
[[nodiscard]] EGRESS_EXPORT std::vector<ConfigDefect> findConfigDefects(
    std::string_view configText, const std::vector<SelectorAnswer>& answers,
    std::string_view selectorHint);

// The enumerator's name; constant text, never null. A value outside the enumeration gives the last
// one.
[[nodiscard]] EGRESS_EXPORT const char* toString(ConfigDefectKind kind) noexcept;

}  // namespace egress

#endif
