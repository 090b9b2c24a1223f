#include "egress_snapshot/pseudonyms.h"

#include <algorithm>
#include <charconv>
#include <initializer_list>
#include <span>
#include <string_view>

#include "egress/core/diagnosis.h"

namespace egress::snapshot {
namespace {

// A range of IPv4 addresses, as numbers in host byte order.
struct Ipv4Range {
  std::uint32_t first = 0;
  std::uint32_t size = 0;
};

consteval Ipv4Range prefixRange(std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d,
                                unsigned prefixLength) {
  return {.first = a << 24U | b << 16U | c << 8U | d, .size = 1U << (32U - prefixLength)};
}

struct ClassRange {
  AddressClass addressClass = AddressClass::GLOBAL;
  Ipv4Range range;
};

// Replacements come from the first range of a class.
constexpr auto kIpv4Classes = std::to_array<ClassRange>({
    {.addressClass = AddressClass::LOOPBACK, .range = prefixRange(127, 0, 0, 0, 8)},
    {.addressClass = AddressClass::LINK_LOCAL, .range = prefixRange(169, 254, 0, 0, 16)},
    {.addressClass = AddressClass::SHARED, .range = prefixRange(100, 64, 0, 0, 10)},
    {.addressClass = AddressClass::PRIVATE, .range = prefixRange(10, 0, 0, 0, 8)},
    {.addressClass = AddressClass::PRIVATE, .range = prefixRange(172, 16, 0, 0, 12)},
    {.addressClass = AddressClass::PRIVATE, .range = prefixRange(192, 168, 0, 0, 16)},
});

constexpr auto kGlobalReplacements = std::to_array<Ipv4Range>({
    prefixRange(192, 0, 2, 0, 24),
    prefixRange(198, 51, 100, 0, 24),
    prefixRange(203, 0, 113, 0, 24),
    prefixRange(240, 0, 0, 0, 4),
});

AddressClass classOfIpv4(std::uint32_t address) {
  for (const ClassRange& row : kIpv4Classes) {
    // Below the range, the difference wraps around to a large one.
    if (address - row.range.first < row.range.size) return row.addressClass;
  }
  return AddressClass::GLOBAL;
}

std::span<const Ipv4Range> replacementsFor(AddressClass addressClass) {
  for (const ClassRange& row : kIpv4Classes) {
    if (row.addressClass == addressClass) return {&row.range, 1};
  }
  return kGlobalReplacements;
}

// The address with this number, not from the first one, which looks like a network's. The last
// number gives the first address.
std::uint32_t addressIn(std::span<const Ipv4Range> ranges, std::size_t number) {
  std::size_t total = 0;
  for (const Ipv4Range& range : ranges) total += range.size;
  std::size_t place = (number + 1) % total;
  for (const Ipv4Range& range : ranges.first(ranges.size() - 1)) {
    if (place < range.size) return range.first + static_cast<std::uint32_t>(place);
    place -= range.size;
  }
  return ranges.back().first + static_cast<std::uint32_t>(place);
}

std::string ipv4Text(std::uint32_t address) {
  std::string text = std::to_string(address >> 24U);
  for (const unsigned shift : {16U, 8U, 0U}) {
    text.append(".").append(std::to_string(address >> shift & 0xFFU));
  }
  return text;
}

std::string hexText(std::size_t number) {
  std::array<char, 16> digits{};
  return {digits.data(),
          std::to_chars(digits.data(), digits.data() + digits.size(), number, 16).ptr};
}

// The address with this number from 1, in the last groups of the prefix.
std::string ipv6Text(std::string_view prefix, std::size_t number) {
  std::string text(prefix);
  const std::size_t place = number + 1;
  const std::size_t high = place >> 16U;
  if (high != 0) text.append(hexText(high)).append(":");
  return text.append(hexText(place & 0xFFFFU));
}

constexpr std::size_t kMappedPrefix = 12;  // bytes before the IPv4 address of a mapped one

bool isMapped(std::span<const std::uint8_t, 16> bytes) {
  constexpr auto kPrefix = std::to_array<std::uint8_t>({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF});
  return std::ranges::equal(bytes.first<kMappedPrefix>(), kPrefix);
}

// Whether it is :: or ::1.
bool isUnspecifiedOrLoopback(std::span<const std::uint8_t, 16> bytes) {
  const auto isZero = [](std::uint8_t byte) { return byte == 0; };
  return std::ranges::all_of(bytes.first<15>(), isZero) && bytes.back() <= 1;
}

}  // namespace

std::size_t Pseudonyms::numberOf(std::uint32_t family, AddressClass addressClass,
                                 const Bytes& bytes) {
  return addresses_[{family, addressClass}].numberOf(bytes);
}

std::string Pseudonyms::ipv4(const Bytes& bytes) {
  std::uint32_t value = 0;
  for (const std::uint8_t byte : std::span(bytes).first<4>()) value = value << 8U | byte;
  if (value == 0) return ipv4Text(value);
  const AddressClass addressClass = classOfIpv4(value);
  const std::size_t number = numberOf(4, addressClass, bytes);
  return ipv4Text(addressIn(replacementsFor(addressClass), number));
}

std::string Pseudonyms::ipv6(const Bytes& bytes) {
  if (isUnspecifiedOrLoopback(bytes)) return bytes.back() == 0 ? "::" : "::1";
  if (isMapped(bytes)) {
    Bytes mapped{};
    std::ranges::copy(std::span(bytes).last<4>(), mapped.begin());
    return std::string("::ffff:").append(ipv4(mapped));
  }
  const bool isLinkLocal = bytes[0] == 0xFE && (bytes[1] & 0xC0U) == 0x80;
  if (isLinkLocal) return ipv6Text("fe80::", numberOf(6, AddressClass::LINK_LOCAL, bytes));
  const bool isUniqueLocal = (bytes[0] & 0xFEU) == 0xFC;
  if (isUniqueLocal) return ipv6Text("fd00::", numberOf(6, AddressClass::PRIVATE, bytes));
  return ipv6Text("2001:db8::", numberOf(6, AddressClass::GLOBAL, bytes));
}

std::string Pseudonyms::address(const std::string& text) {
  const NumericAddress parsed = parseNumericAddress(text);
  if (parsed.valid) return parsed.family == 4 ? ipv4(parsed.bytes) : ipv6(parsed.bytes);
  if (text.empty()) return text;
  return std::string("host-").append(std::to_string(hosts_.numberOf(text) + 1)).append(".example");
}

std::string Pseudonyms::tag(const std::string& text) {
  if (text.empty() || text == kStartTag) return text;
  return std::string("tag-").append(std::to_string(tags_.numberOf(text) + 1));
}

}  // namespace egress::snapshot
