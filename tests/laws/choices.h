#ifndef EGRESS_TESTS_LAWS_CHOICES_H
#define EGRESS_TESTS_LAWS_CHOICES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace egress::test {

// The decisions behind one generated value, drawn from bytes: random ones in the law tests, a
// fuzzer's in fuzz/. When the bytes are used up, every decision is the first one; so any bytes,
// few or many, make a value, and every generator comes to its end.
class Choices {
 public:
  explicit Choices(std::string_view bytes) : bytes_(bytes) {}

  [[nodiscard]] bool exhausted() const { return bytes_.empty(); }

  // From 0 to count - 1; one byte for up to 256 possibilities, as many as it takes for more.
  std::size_t below(std::size_t count) {
    std::size_t drawn = nextByte();
    for (std::size_t reach = 256; reach < count; reach *= 256) drawn = drawn * 256 + nextByte();
    return drawn % count;
  }

  bool flag() { return below(2) == 1; }

  // True once in `count` times, and never any more when the bytes are used up.
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
