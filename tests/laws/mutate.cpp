#include "tests/laws/mutate.h"

#include <cstddef>

namespace egress::test {

void mutate(std::string& text, std::string_view alphabet, Choices& choices) {
  const std::size_t at = choices.below(text.size() + 1);
  const char byte = choices.oneOf(alphabet);
  const std::size_t how = choices.below(5);
  if (how == 0 || at == text.size()) {
    text.insert(at, 1, byte);
  } else if (how == 1) {
    text[at] = byte;
  } else if (how == 2) {
    text.erase(at, 1);
  } else if (how == 3) {
    text.resize(at);
  } else {
    text += text.substr(at);
  }
}

}  // namespace egress::test
