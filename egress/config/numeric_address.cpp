#include "egress/config/numeric_address.h"

#include <algorithm>

#include "egress/config/address_text.h"

namespace egress {
namespace {

constexpr std::ptrdiff_t kMaxDecimalDigits = 3;  // of one part of a dotted quad
constexpr std::ptrdiff_t kMaxHexDigits = 4;      // of one group of an IPv6 address
constexpr std::size_t kGroups = 8;               // in an IPv6 address

constexpr std::uint8_t kNoDigit = 16;

consteval std::array<std::uint8_t, 256> makeHexDigitValues() {
  std::array<std::uint8_t, 256> values{};
  values.fill(kNoDigit);
  for (std::uint8_t digit = 0; digit < 16; ++digit) {
    values.at(static_cast<unsigned char>("0123456789abcdef"[digit])) = digit;
    values.at(static_cast<unsigned char>("0123456789ABCDEF"[digit])) = digit;
  }
  return values;
}

constexpr std::array<std::uint8_t, 256> kHexDigitValues = makeHexDigitValues();

// The value of a hexadecimal digit, or kNoDigit for any other byte.
std::uint32_t hexDigitValue(char byte) noexcept {
  return kHexDigitValues[static_cast<unsigned char>(byte)];
}

// The value of a decimal digit, or more than 9 for any other byte.
std::uint32_t decimalDigitValue(char byte) noexcept {
  return static_cast<std::uint32_t>(static_cast<unsigned char>(byte)) - '0';
}

// Reads one of the first three parts of a dotted quad and its dot, and shifts the part into `quad`.
// In any address at least two more bytes follow the part's first digit, so they can be read before
// the length is known. The length is computed: part lengths are unpredictable, so branches
// mispredict.
bool takePart(const char*& position, const char* end, std::uint32_t& quad) noexcept {
  if (end - position < kMaxDecimalDigits) return false;
  const std::uint32_t first = decimalDigitValue(position[0]);
  const std::uint32_t second = decimalDigitValue(position[1]);
  const std::uint32_t third = decimalDigitValue(position[2]);
  if (first > 9) return false;
  const auto hasSecond = static_cast<std::uint32_t>(second <= 9);
  const auto hasThird = hasSecond & static_cast<std::uint32_t>(third <= 9);
  const std::uint32_t leading = hasSecond != 0 ? first * 10 + second : first;
  const std::uint32_t number = hasThird != 0 ? leading * 10 + third : leading;
  position += 1 + hasSecond + hasThird;
  if (number > 255 || position == end || *position != '.') return false;
  ++position;
  quad = (quad << 8) | number;
  return true;
}

// Reads the last part, which ends with the text, and shifts it into `quad`.
bool takeLastPart(const char* position, const char* end, std::uint32_t& quad) noexcept {
  if (position == end || end - position > kMaxDecimalDigits) return false;
  std::uint32_t number = 0;
  for (; position != end; ++position) {
    const std::uint32_t digit = decimalDigitValue(*position);
    if (digit > 9) return false;
    number = number * 10 + digit;
  }
  quad = (quad << 8) | number;
  return number <= 255;
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

// Appends groups up to the end or up to a "::". Returns the position of either, or nullptr for text
// that is not a group.
const char* appendHexGroups(const char* position, const char* end, bool mayEndWithIpv4,
                            HexGroups& groups) noexcept {
  for (;;) {
    const char* const start = position;
    std::uint32_t group = 0;
    while (position != end && hexDigitValue(*position) != kNoDigit) {
      group = (group << 4) | hexDigitValue(*position++);
    }
    if (position != end && *position == '.') {
      return mayEndWithIpv4 && appendDottedQuad({start, end}, groups) ? end : nullptr;
    }
    if (position == start || position - start > kMaxHexDigits) return nullptr;
    appendGroup(groups, group);
    if (position == end) return end;
    if (*position != ':') return nullptr;
    if (end - position > 1 && position[1] == ':') return position;
    ++position;
  }
}

// The order does not matter: only IPv6 addresses contain a colon.
bool parseEitherFamily(std::string_view text, NumericAddress& address) noexcept {
  const std::span<std::uint8_t, 16> bytes = address.bytes;
  if (parseIpv4Text(text, bytes.first<4>())) {
    address.family = 4;
  } else if (parseIpv6Text(text, bytes)) {
    address.family = 6;
  } else {
    return false;
  }
  address.valid = true;
  return true;
}

}  // namespace

bool parseIpv4Text(std::string_view text, std::span<std::uint8_t, 4> out4) noexcept {
  const char* position = text.data();
  const char* const end = position + text.size();
  std::uint32_t quad = 0;
  for (int part = 0; part < 3; ++part) {
    if (!takePart(position, end, quad)) return false;
  }
  if (!takeLastPart(position, end, quad)) return false;
  out4[0] = static_cast<std::uint8_t>(quad >> 24);
  out4[1] = static_cast<std::uint8_t>(quad >> 16);
  out4[2] = static_cast<std::uint8_t>(quad >> 8);
  out4[3] = static_cast<std::uint8_t>(quad);
  return true;
}

bool parseHexGroups(std::string_view piece, bool mayEndWithIpv4, HexGroups& groups) noexcept {
  if (piece.empty()) return true;
  const char* const end = piece.data() + piece.size();
  return appendHexGroups(piece.data(), end, mayEndWithIpv4, groups) == end;
}

bool parseIpv6Text(std::string_view text, std::span<std::uint8_t, 16> out16) noexcept {
  const char* const end = text.data() + text.size();
  HexGroups head;
  HexGroups tail;
  const char* gap = text.data();
  if (!text.starts_with("::")) gap = appendHexGroups(gap, end, /*mayEndWithIpv4=*/true, head);
  if (gap == nullptr) return false;
  const bool hasGap = gap != end;
  if (hasGap && !parseHexGroups({gap + 2, end}, /*mayEndWithIpv4=*/true, tail)) return false;
  const std::size_t count = head.count + tail.count;
  if (hasGap ? count >= kGroups : count != kGroups) return false;

  std::array<std::uint16_t, kGroups> groups{};
  std::copy_n(head.values.begin(), head.count, groups.begin());
  std::copy_n(tail.values.begin(), tail.count, groups.data() + kGroups - tail.count);
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
  NumericAddress address;
  if (parseEitherFamily(text, address)) return address;
  // Zones are rare, so search for one only after the whole text was refused.
  const std::size_t zone = text.find('%');
  if (zone != std::string_view::npos) parseEitherFamily(text.substr(0, zone), address);
  return address;
}

bool sameNumericAddress(const NumericAddress& a, const NumericAddress& b) noexcept {
  if (!a.valid || !b.valid || a.family != b.family) return false;
  const std::size_t length = a.family == 4 ? 4 : a.bytes.size();
  return std::equal(a.bytes.data(), a.bytes.data() + length, b.bytes.data());
}

}  // namespace egress
