#ifndef EGRESS_TESTS_SUPPORT_JOINED_H
#define EGRESS_TESTS_SUPPORT_JOINED_H

#include <initializer_list>
#include <string>
#include <string_view>

namespace egress::test {

// Concatenates the parts. For `literal + std::string()`, optimising g++ 12 reports a false
// -Wrestrict.
inline std::string joined(std::initializer_list<std::string_view> parts) {
  std::string text;
  for (const std::string_view part : parts) text += part;
  return text;
}

}  // namespace egress::test

#endif
