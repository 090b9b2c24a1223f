#ifndef EGRESS_TESTS_SUPPORT_EXACT_TEXT_H
#define EGRESS_TESTS_SUPPORT_EXACT_TEXT_H

#include <cstddef>
#include <string_view>
#include <vector>

namespace egress::test {

// A copy of a text in a heap allocation of exactly its size, so that a sanitizer detects a read
// past the end.
class ExactText {
 public:
  explicit ExactText(std::string_view text) : bytes_(text.begin(), text.end()) {}

  [[nodiscard]] std::string_view view() const { return {bytes_.data(), bytes_.size()}; }

 private:
  std::vector<char> bytes_;
};

// Calls `use` with every proper prefix of `text`, shortest first, each in an allocation of exactly
// its size.
template <typename Use>
void forEveryCut(std::string_view text, Use use) {
  for (std::size_t length = 0; length < text.size(); ++length) {
    use(ExactText(text.substr(0, length)).view());
  }
}

}  // namespace egress::test

#endif
