#ifndef EGRESS_TESTS_LAWS_CHOICES_H
#define EGRESS_TESTS_LAWS_CHOICES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace egress::test {

// A source of decisions for generators, driven by bytes: random bytes in the law tests, fuzzer
// input in fuzz/. After the last byte, every decision is the first option, so any input gives a
// value and every generator terminates.
class Choices {
 public:
  explicit Choices(std::string_view bytes) : bytes_(bytes) {}

  [[nodiscard]] bool exhausted() const { return bytes_.empty(); }

  // A number from 0 to count - 1. Takes one byte for up to 256 options, more bytes for more.
  std::size_t below(std::size_t count) {
    std::size_t drawn = nextByte();
    for (std::size_t reach = 256; reach < count; reach *= 256) drawn = drawn * 256 + nextByte();
    return drawn % count;
  }

  bool flag() { return below(2) == 1; }

  // True with probability 1 / `count`; false after the last byte.
  bool rarely(std::size_t count) { return below(count) == count - 1; }

  template <typename List>
  const auto& oneOf(const List& list) {
    return list[below(std::size(list))];
  }

  std::uint8_t nextByte() {
    if (bytes_.empty()) return 0;
    const char byte = bytes_.front();
    bytes_.remove_prefix(1);
    return static_cast<std::uint8_t>(byte);
  }

 private:
  std::string_view bytes_;
};

}  // namespace egress::test

#endif
