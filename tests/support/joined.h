#ifndef EGRESS_TESTS_SUPPORT_JOINED_H
#define EGRESS_TESTS_SUPPORT_JOINED_H

#include <initializer_list>
#include <string>
#include <string_view>

namespace egress::test {

// The parts, one after the other. (For a literal plus a temporary text, g++ 12 gives a false
// warning when it optimises.)
inline std::string joined(std::initializer_list<std::string_view> parts) {
  std::string text;
  for (const std::string_view part : parts) text += part;
  return text;
}

}  // namespace egress::test

#endif
