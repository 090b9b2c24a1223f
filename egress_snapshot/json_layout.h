#ifndef EGRESS_SNAPSHOT_JSON_LAYOUT_H
#define EGRESS_SNAPSHOT_JSON_LAYOUT_H

#include <cstdint>

namespace egress::snapshot {

// Where a JSON text has blanks and line ends between its tokens. Strings never have line ends: JSON
// escapes them.
enum class JsonLayout : std::uint8_t {
  INDENTED,  // by two blanks, with a line for each member and element
  ONE_LINE,  // none at all, so that each line of a file can be a text
};

}  // namespace egress::snapshot

#endif
