#ifndef EGRESS_TESTS_LAWS_EVERY_TEXT_H
#define EGRESS_TESTS_LAWS_EVERY_TEXT_H

#include <cstddef>
#include <string>
#include <string_view>

namespace egress::test {

// Calls `use` with `text` followed by each string of up to `length` bytes of the alphabet, the
// empty string first.
template <typename Use>
void forEveryText(std::string_view alphabet, std::size_t length, std::string& text, Use use) {
  use(text);
  if (length == 0) return;
  for (const char byte : alphabet) {
    text.push_back(byte);
    forEveryText(alphabet, length - 1, text, use);
    text.pop_back();
  }
}

}  // namespace egress::test

#endif
