#ifndef EGRESS_SNAPSHOT_BLANK_CONFIG_H
#define EGRESS_SNAPSHOT_BLANK_CONFIG_H

#include <string>

#include "egress_snapshot/export.h"
#include "egress_snapshot/host_snapshot.h"

namespace egress::snapshot {

// Replaces what people write into a JSON configuration although it is not JSON (RFC 8259) by
// blanks, byte for byte, so that offsets, lines and columns stay: a UTF-8 byte-order mark at the
// beginning, comments from "//" to the end of the line and from "/*" to "*/", and a comma between a
// value and the closing bracket. Line ends, LF and CR, stay in comments. Comments do not nest.
//
// Bytes inside strings are never touched. What is not complete stays as it is, for the reader to
// refuse: a "/*" without its "*/" or a single "/", with everything that follows, and a comma that
// follows no value. A text without any of these stays unchanged, and so does one that was blanked
// before. Takes time in proportion to the text. Returns what was blanked. Allocates nothing.
EGRESS_SNAPSHOT_EXPORT BlankedParts blankNonJson(std::string& text) noexcept;

}  // namespace egress::snapshot

#endif
