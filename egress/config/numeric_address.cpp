#include "egress/config/numeric_address.h"

#include <algorithm>
#include <charconv>

namespace egress {
namespace {

constexpr std::size_t kMaxDecimalDigits = 3;  // of one part of a dotted quad
constexpr std::size_t kMaxHexDigits = 4;      // of one group of an IPv6 address
constexpr std::size_t kGroups = 8;            // in an IPv6 address

// Reads all of `text` as a number of 1 to `maxDigits` digits and nothing else.
bool parseDigits(std::string_view text, std::size_t maxDigits, int base,
                 std::uint16_t& number) noexcept {
  if (text.size() > maxDigits) return false;
  const char* const end = text.data() + text.size();
  const auto converted = std::from_chars(text.data(), end, number, base);
  return converted.ec == std::errc{} && converted.ptr == end;
}

void appendGroup(HexGroups& groups, std::uint32_t group) noexcept {
  if (groups.count < groups.values.size()) {
    groups.values[groups.count] = static_cast<std::uint16_t>(group);
  }
  ++groups.count;
}

bool appendDottedQuad(std::string_view text, HexGroups& groups) noexcept {
  std::array<std::uint8_t, 4> quad{};
  if (!parseIpv4Text(text, quad)) return false;
  appendGroup(groups, (std::uint32_t{quad[0]} << 8) | quad[1]);
  appendGroup(groups, (std::uint32_t{quad[2]} << 8) | quad[3]);
  return true;
}

}  // namespace

bool parseIpv4Text(std::string_view text, std::span<std::uint8_t, 4> out4) noexcept {
  std::array<std::uint8_t, 4> bytes{};
  for (std::size_t part = 0; part < bytes.size(); ++part) {
    const bool isLast = part == bytes.size() - 1;
    const std::size_t dot = text.find('.');
    if (isLast != (dot == std::string_view::npos)) return false;
    std::uint16_t number = 0;
    if (!parseDigits(text.substr(0, dot), kMaxDecimalDigits, 10, number)) return false;
    if (number > 255) return false;
    bytes[part] = static_cast<std::uint8_t>(number);
    if (!isLast) text.remove_prefix(dot + 1);
  }
  std::ranges::copy(bytes, out4.begin());
  return true;
}

bool parseHexGroups(std::string_view piece, bool mayEndWithIpv4, HexGroups& groups) noexcept {
  if (piece.empty()) return true;
  for (;;) {
    const std::size_t colon = piece.find(':');
    const bool isLast = colon == std::string_view::npos;
    const std::string_view text = piece.substr(0, colon);
    if (text.find('.') != std::string_view::npos) {
      return isLast && mayEndWithIpv4 && appendDottedQuad(text, groups);
    }
    std::uint16_t group = 0;
    if (!parseDigits(text, kMaxHexDigits, 16, group)) return false;
    appendGroup(groups, group);
    if (isLast) return true;
    piece.remove_prefix(colon + 1);
  }
}

bool parseIpv6Text(std::string_view text, std::span<std::uint8_t, 16> out16) noexcept {
  const std::size_t gap = text.find("::");
  const bool hasGap = gap != std::string_view::npos;
  // The second search starts inside the first "::", so that ":::" counts as two of them.
  if (hasGap && text.find("::", gap + 1) != std::string_view::npos) return false;

  HexGroups head;
  HexGroups tail;
  if (!parseHexGroups(text.substr(0, gap), /*mayEndWithIpv4=*/!hasGap, head)) return false;
  if (hasGap && !parseHexGroups(text.substr(gap + 2), /*mayEndWithIpv4=*/true, tail)) return false;
  const std::size_t count = head.count + tail.count;
  if (hasGap ? count >= kGroups : count != kGroups) return false;

  std::array<std::uint16_t, kGroups> groups{};
  std::copy_n(head.values.begin(), head.count, groups.begin());
  std::copy_n(tail.values.begin(), tail.count, groups.end() - tail.count);
  for (std::size_t i = 0; i < kGroups; ++i) {
    out16[2 * i] = static_cast<std::uint8_t>(groups[i] >> 8);
    out16[2 * i + 1] = static_cast<std::uint8_t>(groups[i] & 0xFF);
  }
  return true;
}

NumericAddress parseNumericAddress(std::string_view text) noexcept {
  if (text.size() >= 2 && text.front() == '[' && text.back() == ']') {
    text = text.substr(1, text.size() - 2);
  }
  text = text.substr(0, text.find('%'));

  NumericAddress address;
  const std::span<std::uint8_t, 16> bytes = address.bytes;
  if (text.find(':') != std::string_view::npos) {
    address.family = 6;
    address.valid = parseIpv6Text(text, bytes);
  } else {
    address.family = 4;
    address.valid = parseIpv4Text(text, bytes.first<4>());
  }
  return address.valid ? address : NumericAddress{};
}

bool sameNumericAddress(const NumericAddress& a, const NumericAddress& b) noexcept {
  if (!a.valid || !b.valid || a.family != b.family) return false;
  const std::size_t length = a.family == 4 ? 4 : a.bytes.size();
  return std::equal(a.bytes.begin(), a.bytes.begin() + length, b.bytes.begin());
}

}  // namespace egress
