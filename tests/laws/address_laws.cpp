#include "tests/laws/address_laws.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cstddef>
#include <cstdint>
#include <netinet/in.h>
#include <vector>

#include "egress/config/numeric_address.h"
#include "tests/laws/mutate.h"
#include "tests/support/exact_text.h"
#include "tests/support/joined.h"

namespace egress::test {
namespace {

using namespace std::string_view_literals;

bool isDigit(char byte) {
  return byte >= '0' && byte <= '9';
}

bool equalInEveryField(const NumericAddress& a, const NumericAddress& b) {
  return a.valid == b.valid && a.family == b.family && a.bytes == b.bytes;
}

// The result of inet_pton for either family.
NumericAddress parsedBySystem(std::string_view text) {
  NumericAddress address;
  if (text.find('\0') != std::string_view::npos) return address;  // inet_pton stops at NUL
  const std::string terminated(text);
  if (inet_pton(AF_INET, terminated.c_str(), address.bytes.data()) == 1) {
    address.family = 4;
  } else if (inet_pton(AF_INET6, terminated.c_str(), address.bytes.data()) == 1) {
    address.family = 6;
  } else {
    return {};
  }
  address.valid = true;
  return address;
}

// A part of a dotted quad without leading zeros. Parts of more than three bytes are left unchanged:
// both parsers reject them.
std::string plainPart(std::string_view part, bool& hadZeros) {
  const bool isNumber = !part.empty() && part.size() <= 3 && std::ranges::all_of(part, isDigit);
  if (!isNumber || part.size() == 1 || part.front() != '0') return std::string(part);
  hadZeros = true;
  while (part.size() > 1 && part.front() == '0') part.remove_prefix(1);
  return std::string(part);
}

// The text after the last colon is a dotted quad if it contains dots.
std::string withoutLeadingZeros(std::string_view text, bool& hadZeros) {
  const std::size_t quadStart = text.rfind(':') + 1;  // 0 when there is no colon
  std::string plain(text.substr(0, quadStart));
  std::string_view quad = text.substr(quadStart);
  if (quad.find('.') == std::string_view::npos) return std::string(text);
  for (std::size_t dot = quad.find('.'); dot != std::string_view::npos; dot = quad.find('.')) {
    plain += plainPart(quad.substr(0, dot), hadZeros);
    plain += '.';
    quad.remove_prefix(dot + 1);
  }
  return plain + plainPart(quad, hadZeros);
}

std::string withoutExtensions(std::string_view text, Extensions& extensions) {
  if (text.size() >= 2 && text.starts_with('[') && text.ends_with(']')) {
    extensions.brackets = true;
    text.remove_prefix(1);
    text.remove_suffix(1);
  }
  if (const std::size_t percent = text.find('%'); percent != std::string_view::npos) {
    extensions.zone = true;
    text = text.substr(0, percent);
  }
  return withoutLeadingZeros(text, extensions.leadingZeros);
}

std::string describe(const NumericAddress& address) {
  if (!address.valid) return "invalid";
  const std::string_view bytes(reinterpret_cast<const char*>(address.bytes.data()),
                               address.bytes.size());
  return joined({"family ", std::to_string(address.family), ", bytes ", hexOf(bytes)});
}

NumericAddress drawAddress(Choices& choices) {
  NumericAddress address;
  address.valid = true;
  address.family = choices.flag() ? 6 : 4;
  const std::size_t size = address.family == 4 ? 4 : 16;
  // Half of the bytes are zero, because runs of zeros are abbreviated in text.
  for (std::size_t i = 0; i < size; ++i) {
    address.bytes[i] = choices.flag() ? choices.nextByte() : std::uint8_t{0};
  }
  return address;
}

// The output of inet_ntop.
std::string formatted(const NumericAddress& address) {
  std::array<char, INET6_ADDRSTRLEN> text{};
  inet_ntop(address.family == 4 ? AF_INET : AF_INET6, address.bytes.data(), text.data(),
            text.size());
  return text.data();
}

NumericAddress mappedIntoIpv6(const NumericAddress& ipv4) {
  NumericAddress mapped;
  mapped.valid = true;
  mapped.family = 6;
  mapped.bytes[10] = 0xFF;
  mapped.bytes[11] = 0xFF;
  std::copy_n(ipv4.bytes.begin(), 4, mapped.bytes.begin() + 12);
  return mapped;
}

std::string generateDottedQuad(Choices& choices) {
  constexpr std::array<std::string_view, 12> kParts = {"0",   "1",   "9",   "10",  "99", "100",
                                                       "199", "255", "256", "007", "00", "010"};
  std::string text(choices.oneOf(kParts));
  const std::size_t parts = choices.rarely(16) ? choices.below(6) : 4;
  for (std::size_t i = 1; i < parts; ++i) text += joined({".", choices.oneOf(kParts)});
  return text;
}

std::string generateIpv6Text(Choices& choices) {
  constexpr std::array<std::string_view, 8> kGroups = {"0",    "1",    "a0",   "DB8",
                                                       "ffff", "0db8", "0000", "FE80"};
  const bool endsInQuad = choices.below(4) == 3;
  const bool hasGap = choices.flag();
  const std::size_t whole = endsInQuad ? 6 : 8;
  std::size_t groups = whole;
  if (hasGap) groups = choices.below(whole);
  if (choices.rarely(16)) groups = choices.below(10);
  const std::size_t gap = hasGap ? choices.below(groups + 1) : groups + 1;

  std::string text;
  for (std::size_t i = 0; i < groups; ++i) {
    if (i == gap) text += "::";
    if (i > 0 && i != gap) text += ":";
    text += choices.oneOf(kGroups);
  }
  if (gap == groups) text += "::";
  if (!endsInQuad) return text;
  if (!text.empty() && gap != groups) text += ":";
  return text + generateDottedQuad(choices);
}

// Addresses that are equal or differ in one byte or the family, and an invalid one.
std::vector<NumericAddress> drawSimilarAddresses(Choices& choices) {
  const NumericAddress address = drawAddress(choices);
  NumericAddress similar = address;
  similar.bytes[choices.below(16)] ^= static_cast<std::uint8_t>(choices.below(2));
  NumericAddress ofOtherFamily = address;
  ofOtherFamily.family = 10 - address.family;
  return {{}, address, similar, mappedIntoIpv6(address), ofOtherFamily, similar};
}

bool shouldBeSame(const NumericAddress& a, const NumericAddress& b) {
  const std::ptrdiff_t size = a.family == 4 ? 4 : 16;
  return a.valid && b.valid && a.family == b.family &&
         std::equal(a.bytes.begin(), a.bytes.begin() + size, b.bytes.begin());
}

}  // namespace

AddressVerdict checkAddressText(std::string_view text) {
  AddressVerdict verdict;
  const ExactText exact(text);
  const NumericAddress actual = parseNumericAddress(exact.view());
  const NumericAddress expected = parsedBySystem(withoutExtensions(text, verdict.extensions));
  verdict.accepted = actual.valid;
  verdict.systemAgrees = equalInEveryField(actual, parsedBySystem(text));
  if (!equalInEveryField(actual, expected)) {
    verdict.violation =
        joined({"'", text, "' parsed as ", describe(actual), ", expected ", describe(expected)});
  } else if (!verdict.systemAgrees && !verdict.extensions.any()) {
    verdict.violation = joined({"'", text, "' differs from inet_pton without an extension"});
  }
  return verdict;
}

Violation checkFormattedAddress(Choices& choices) {
  const NumericAddress address = drawAddress(choices);
  const std::string text = formatted(address);
  const NumericAddress readBack = parseNumericAddress(text);
  if (!equalInEveryField(readBack, address)) {
    return joined({"'", text, "' parsed as ", describe(readBack)});
  }
  if (address.family == 4) {
    const NumericAddress mapped = parseNumericAddress(joined({"::ffff:", text}));
    if (!equalInEveryField(mapped, mappedIntoIpv6(address))) {
      return "wrong IPv4-mapped address: " + text;
    }
    if (sameNumericAddress(address, mapped)) return "equals its IPv4-mapped address: " + text;
  }
  return {};
}

Violation checkEquality(Choices& choices) {
  const std::vector<NumericAddress> addresses = drawSimilarAddresses(choices);
  for (const NumericAddress& a : addresses) {
    for (const NumericAddress& b : addresses) {
      const bool same = sameNumericAddress(a, b);
      if (same != shouldBeSame(a, b)) {
        return joined({same ? "equal: " : "not equal: ", describe(a), " and ", describe(b)});
      }
      if (same != sameNumericAddress(b, a)) {
        return joined({"not symmetric: ", describe(a), " and ", describe(b)});
      }
      const bool transitive = std::ranges::all_of(addresses, [&](const NumericAddress& c) {
        return !same || !sameNumericAddress(b, c) || sameNumericAddress(a, c);
      });
      if (!transitive) return joined({"not transitive: ", describe(a), " and ", describe(b)});
    }
  }
  return {};
}

std::string generateAddressText(Choices& choices) {
  constexpr std::string_view kAlphabet = "0123456789afAFgx.:%[] -+\0\xFF"sv;
  constexpr std::array<std::string_view, 4> kZones = {"%eth0", "%", "%1:2", "%]"};
  std::string text = choices.flag() ? generateIpv6Text(choices) : generateDottedQuad(choices);
  if (choices.below(8) == 7) text += choices.oneOf(kZones);
  if (choices.below(8) == 7) text = joined({"[", text, "]"});
  if (choices.flag()) {
    for (std::size_t changes = choices.below(3) + 1; changes > 0; --changes) {
      mutate(text, kAlphabet, choices);
    }
  }
  return text;
}

}  // namespace egress::test
