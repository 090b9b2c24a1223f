#ifndef EGRESS_VERSION_H
#define EGRESS_VERSION_H

#include <string_view>

// The version of the project; the build reads it from these three lines.
#define EGRESS_VERSION_MAJOR 1
#define EGRESS_VERSION_MINOR 0
#define EGRESS_VERSION_PATCH 0

// For comparisons by the preprocessor: 10203 is version 1.2.3.
#define EGRESS_VERSION \
  (EGRESS_VERSION_MAJOR * 10000 + EGRESS_VERSION_MINOR * 100 + EGRESS_VERSION_PATCH)

#define EGRESS_VERSION_QUOTE(number) #number
#define EGRESS_VERSION_TEXT(major, minor, patch) \
  EGRESS_VERSION_QUOTE(major) "." EGRESS_VERSION_QUOTE(minor) "." EGRESS_VERSION_QUOTE(patch)

namespace egress {

// "1.2.3"
inline constexpr std::string_view kVersion =
    EGRESS_VERSION_TEXT(EGRESS_VERSION_MAJOR, EGRESS_VERSION_MINOR, EGRESS_VERSION_PATCH);

}  // namespace egress

#endif
