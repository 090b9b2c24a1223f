#include "egress/config/numeric_address.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "egress/config/address_text.h"
#include "tests/support/exact_text.h"

namespace egress::test {
namespace {

using namespace std::string_view_literals;
using testing::ElementsAre;
using testing::ElementsAreArray;

using Bytes = std::array<std::uint8_t, 16>;

constexpr int kByteValues = 256;
constexpr std::uint8_t kUntouched = 0xA5;

static_assert(noexcept(parseNumericAddress(std::string_view{})));
static_assert(noexcept(sameNumericAddress(NumericAddress{}, NumericAddress{})));
static_assert(std::is_same_v<decltype(NumericAddress::family), std::uint32_t>);

constexpr Bytes ipv4(std::uint8_t a, std::uint8_t b, std::uint8_t c, std::uint8_t d) {
  return {a, b, c, d};
}

constexpr Bytes ipv6(std::array<int, 8> groups) {
  Bytes bytes{};
  for (std::size_t i = 0; i < groups.size(); ++i) {
    bytes[2 * i] = static_cast<std::uint8_t>(groups[i] / 256);
    bytes[2 * i + 1] = static_cast<std::uint8_t>(groups[i] % 256);
  }
  return bytes;
}

NumericAddress parsed(std::string_view text) {
  return parseNumericAddress(ExactText(text).view());
}

bool isAllZero(const NumericAddress& address) {
  return !address.valid && address.family == 0 && address.bytes == Bytes{};
}

struct ValidRow {
  std::string_view text;
  std::uint32_t family = 6;
  Bytes bytes{};
};

// Every prefix gives the same result in its own allocation and inside the whole text.
void expectValidRow(const ValidRow& row) {
  SCOPED_TRACE(row.text);
  const NumericAddress address = parsed(row.text);
  EXPECT_TRUE(address.valid);
  EXPECT_EQ(address.family, row.family);
  EXPECT_EQ(address.bytes, row.bytes);
  forEveryCut(row.text, [&row](std::string_view cut) {
    const NumericAddress exact = parseNumericAddress(cut);
    const NumericAddress inPlace = parseNumericAddress(row.text.substr(0, cut.size()));
    EXPECT_TRUE(exact.valid ? sameNumericAddress(exact, inPlace) : isAllZero(inPlace)) << cut;
  });
}

void expectValid(std::initializer_list<ValidRow> rows) {
  for (const ValidRow& row : rows) expectValidRow(row);
}

void expectInvalid(std::initializer_list<std::string_view> texts) {
  for (const std::string_view text : texts) {
    EXPECT_TRUE(isAllZero(parsed(text))) << testing::PrintToString(text);
  }
}

HexGroups groupsOf(std::span<const std::uint16_t> values) {
  HexGroups groups;
  std::copy(values.begin(), values.end(), groups.values.begin());
  groups.count = values.size();
  return groups;
}

std::vector<std::uint16_t> keptGroups(const HexGroups& groups) {
  const std::size_t kept = std::min(groups.count, groups.values.size());
  return {groups.values.begin(), groups.values.begin() + static_cast<std::ptrdiff_t>(kept)};
}

TEST(NumericAddress, BytesAreInNetworkOrder) {
  expectValid({
      {.text = "198.51.100.10",
       .family = 4,
       .bytes = {0xC6, 0x33, 0x64, 0x0A, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
      {.text = "2001:db8::1",
       .bytes = {0x20, 0x01, 0x0D, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x01}},
      {.text = "1:2:3:4:5:6:7:8", .bytes = ipv6({1, 2, 3, 4, 5, 6, 7, 8})},
      {.text = "0123:4567:89ab:cdef:CDEF:AB89:7654:3210",
       .bytes = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF, 0xCD, 0xEF, 0xAB, 0x89, 0x76, 0x54,
                 0x32, 0x10}},
  });
}

TEST(NumericAddress, LeadingZerosInADottedQuadAreDecimal) {
  expectValid({
      {.text = "01.02.03.04", .family = 4, .bytes = ipv4(1, 2, 3, 4)},
      {.text = "001.002.003.004", .family = 4, .bytes = ipv4(1, 2, 3, 4)},
      {.text = "010.077.08.099", .family = 4, .bytes = ipv4(10, 77, 8, 99)},
      {.text = "000.00.0.255", .family = 4, .bytes = ipv4(0, 0, 0, 255)},
      {.text = "::010.020.030.040", .bytes = ipv6({0, 0, 0, 0, 0, 0, 0x0A14, 0x1E28})},
  });
  expectInvalid({"0001.2.3.4", "1.2.3.0004", "1.0000.3.4", "0x1.2.3.4"});
}

TEST(NumericAddress, DottedQuadPartsRangeFromZeroTo255) {
  for (std::size_t part = 0; part < 4; ++part) {
    for (int number = 0; number < 1000; ++number) {
      std::array<std::string, 4> parts{"1", "2", "3", "4"};
      parts[part] = std::to_string(number);
      const std::string text = parts[0] + '.' + parts[1] + '.' + parts[2] + '.' + parts[3];
      const NumericAddress address = parsed(text);
      ASSERT_EQ(address.valid, number <= 255) << text;
      ASSERT_EQ(address.bytes[part], number <= 255 ? number : 0) << text;
    }
  }
}

TEST(NumericAddress, RejectsMalformedDottedQuads) {
  expectInvalid({"256.1.1.1", "1.1.1.256", "1.2.3",      "1.2.3.4.",  "1.2.3.-4", "1.2.3.4.5",
                 "127.1",     "1",         "1.2",        ".1.2.3.4",  ".1.2.3",   "1..2.3",
                 "1.2.3.",    "1.2..3.4",  "...",        "....",      ".",        "+1.2.3.4",
                 "1.2.3.+4",  "-1.2.3.4",  "1.2.3.a",    "1.2.3.4a",  "a.2.3.4",  "1.2.0x3.4",
                 "1.2.3.4/8", "1,2,3,4",   "3232235786", "1.2.3.1000"});
}

TEST(NumericAddress, RejectsWhitespaceAndNul) {
  expectInvalid({" 1.2.3.4", "1.2.3.4 ", "1. 2.3.4", "1.2 .3.4", "\t1.2.3.4", "1.2.3.4\n", " ::1",
                 "::1 ", ": :1", "1: :2", "[ ::1]", "[::1 ]", " [::1]", "[::1] ", "::1 %eth0", " ",
                 "1.2.3.4\0"sv, "::1\0"sv});
}

TEST(NumericAddress, RejectsHostNames) {
  expectInvalid({"example.com", "localhost", "a.b.c.d", "1.2.3.example", "dead", "example.com:443",
                 "[example.com]", "cafe.beef"});
}

TEST(NumericAddress, ADoubleColonReplacesAtLeastOneGroup) {
  expectValid({
      {.text = "::", .bytes = {}},
      {.text = "::1", .bytes = ipv6({0, 0, 0, 0, 0, 0, 0, 1})},
      {.text = "1::", .bytes = ipv6({1})},
      {.text = "1::2", .bytes = ipv6({1, 0, 0, 0, 0, 0, 0, 2})},
      {.text = "1:2:3::4:5:6", .bytes = ipv6({1, 2, 3, 0, 0, 4, 5, 6})},
      {.text = "1:2:3:4:5:6:7::", .bytes = ipv6({1, 2, 3, 4, 5, 6, 7, 0})},
      {.text = "::1:2:3:4:5:6:7", .bytes = ipv6({0, 1, 2, 3, 4, 5, 6, 7})},
      {.text = "1:2:3::5:6:7:8", .bytes = ipv6({1, 2, 3, 0, 5, 6, 7, 8})},
      {.text = "1:2:3:4:5:6::8", .bytes = ipv6({1, 2, 3, 4, 5, 6, 0, 8})},
  });
  expectInvalid({"1:2:3:4:5:6:7:8::", "::1:2:3:4:5:6:7:8", "1:2:3:4::5:6:7:8", "1::2:3:4:5:6:7:8",
                 "1:2:3:4:5:6:7:8::9", "1:2:3:4:5:6:7:8:9::", "::1:2:3:4:5:6:7:8:9"});
}

TEST(NumericAddress, ExactlyEightGroupsWithoutADoubleColon) {
  expectInvalid({"1:2:3:4:5:6:7", "1:2:3:4:5:6:7:8:9", "1:2", "1:2:3:4:5:6:7:", ":1:2:3:4:5:6:7",
                 "1:2:3:4:5:6:7:8:", ":1:2:3:4:5:6:7:8"});
  std::string endless = "1";
  for (int i = 0; i < 100'000; ++i) endless += ":1";
  expectInvalid({endless, "::" + endless, endless + "::"});
}

TEST(NumericAddress, RejectsASecondDoubleColonAndStrayColons) {
  expectInvalid({":::", "::::", "1::2::3", "::1::", "1:::2", ":::1", "1:::", ":", ":1",
                 "1:", ":1::", "::1:", ":1::2", "1::2:"});
}

TEST(NumericAddress, AGroupHasOneToFourHexDigitsOfEitherCase) {
  expectValid({
      {.text = "0:00:000:0000:0001:0db8:aB:Cd", .bytes = ipv6({0, 0, 0, 0, 1, 0x0DB8, 0xAB, 0xCD})},
  });
  expectInvalid({"::12345", "::00000", "12345::", "::1g", "::g", "::0x1", "::+1", "::-1", "::1h:2",
                 "1:2:3:4:5:6:7:fffff"});
  for (int byte = 0; byte < kByteValues; ++byte) {
    Bytes bytes{};
    const std::string digit(1, static_cast<char>(byte));
    const bool isHexDigit = "0123456789abcdefABCDEF"sv.find(digit) != std::string_view::npos;
    EXPECT_EQ(parseIpv6Text("::" + digit, bytes), isHexDigit) << byte;
    EXPECT_EQ(parseIpv6Text("1:2:3:4:5:6:7:0" + digit, bytes), isHexDigit) << byte;
  }
}

TEST(NumericAddress, ADottedQuadMayEndAnIpv6Address) {
  expectValid({
      {.text = "::ffff:198.51.100.10", .bytes = ipv6({0, 0, 0, 0, 0, 0xFFFF, 0xC633, 0x640A})},
      {.text = "1:2:3:4:5:6:1.2.3.4", .bytes = ipv6({1, 2, 3, 4, 5, 6, 0x0102, 0x0304})},
      {.text = "::1.2.3.4", .bytes = ipv6({0, 0, 0, 0, 0, 0, 0x0102, 0x0304})},
      {.text = "1::1.2.3.4", .bytes = ipv6({1, 0, 0, 0, 0, 0, 0x0102, 0x0304})},
      {.text = "1:2:3:4:5::1.2.3.4", .bytes = ipv6({1, 2, 3, 4, 5, 0, 0x0102, 0x0304})},
      {.text = "::1:2:3:4:5:1.2.3.4", .bytes = ipv6({0, 1, 2, 3, 4, 5, 0x0102, 0x0304})},
  });
  expectInvalid({"1.2.3.4::", "1.2.3.4::1", "1:1.2.3.4::", "1.2.3.4::1.2.3.4", "::1.2.3.4:1",
                 "::1.2.3.4:", "1.2.3.4:1:2:3:4:5:6", "1:2:3:4:5:6:7:1.2.3.4", "1:2:3:4:5:1.2.3.4",
                 "1:2:3:4:5:6::1.2.3.4", "::1.2.3", "::1.2.3.4.5", "::1.2.3.256", "::ffff:1.2.3.",
                 "::.1.2.3", "::a.2.3.4", "::1.", "1.2.3.4:80", ":1.2.3.4"});
}

TEST(NumericAddress, DropsOnePairOfBracketsForEitherFamily) {
  constexpr Bytes documentation = ipv6({0x2001, 0xDB8, 0, 0, 0, 0, 0, 1});
  expectValid({
      {.text = "[2001:db8::1]", .bytes = documentation},
      {.text = "[198.51.100.10]", .family = 4, .bytes = ipv4(198, 51, 100, 10)},
      {.text = "[::]", .bytes = {}},
  });
  expectInvalid({"[2001:db8::1", "2001:db8::1]", "[198.51.100.10", "198.51.100.10]", "[[::1]]",
                 "[[1.2.3.4]]", "[::1]]", "[[::1]", "(::1)", "{::1}", "[::1]:443", "]::1["});
  expectInvalid({"[", "]", "[]", "][", "[[", "]]", "[[]]", "[]::1"});
}

TEST(NumericAddress, DropsTheZoneFromTheFirstPercentSign) {
  constexpr Bytes one = ipv6({0, 0, 0, 0, 0, 0, 0, 1});
  expectValid({
      {.text = "2001:db8::1%eth0", .bytes = ipv6({0x2001, 0xDB8, 0, 0, 0, 0, 0, 1})},
      {.text = "::1%", .bytes = one},
      {.text = "::1%%", .bytes = one},
      {.text = "::1%a%b", .bytes = one},
      {.text = "::1% any thing :: 1.2.3.4 ", .bytes = one},
      {.text = "1.2.3.4%eth0", .family = 4, .bytes = ipv4(1, 2, 3, 4)},
      {.text = "1.2.3.4%", .family = 4, .bytes = ipv4(1, 2, 3, 4)},
      {.text = "::1%\0"sv, .bytes = one},
  });
}

TEST(NumericAddress, RejectsABareZoneAndEmptyText) {
  expectInvalid({"", "%eth0", "%", "%%", "%::1", "%1.2.3.4", "[]", "[%x]", "[%]", "[%::1]",
                 "1.2.3%.4", "1:%:2"});
}

TEST(NumericAddress, DropsBracketsBeforeTheZone) {
  constexpr Bytes one = ipv6({0, 0, 0, 0, 0, 0, 0, 1});
  expectValid({
      {.text = "[::1%eth0]", .bytes = one},
      {.text = "[1.2.3.4%eth0]", .family = 4, .bytes = ipv4(1, 2, 3, 4)},
      {.text = "[::1%]", .bytes = one},
      {.text = "[::1%]]", .bytes = one},
      {.text = "::1%]", .bytes = one},
  });
  expectInvalid({"[::1]%eth0", "[1.2.3.4]%eth0", "[::1]%]", "[::1]%", "[::1%eth0", "%[::1]"});
}

TEST(NumericAddress, DropsTheZoneBeforeAColonDecidesTheFamily) {
  expectValid({
      {.text = "1.2.3.4%a:b", .family = 4, .bytes = ipv4(1, 2, 3, 4)},
      {.text = "[1.2.3.4%::1]", .family = 4, .bytes = ipv4(1, 2, 3, 4)},
  });
  expectInvalid({"1%::1", "1:2%1.2.3.4"});
}

TEST(NumericAddress, APrefixIsValidOnlyIfItIsAnAddress) {
  struct Row {
    std::string_view text;
    std::vector<std::size_t> validLengths;
  };
  const std::vector<Row> rows = {
      {.text = "198.51.100.10", .validLengths = {12}},
      {.text = "1.2.3.255", .validLengths = {7, 8}},
      {.text = "2001:db8::1", .validLengths = {10}},
      {.text = "::ffff:198.51.100.10", .validLengths = {2, 3, 4, 5, 6, 8, 9, 10, 19}},
      {.text = "1:2:3:4:5:6:7:89ab", .validLengths = {15, 16, 17}},
      {.text = "1:2:3:4:5:6:1.2.3.45", .validLengths = {19}},
      {.text = "1:2:3:4:5:6:7::", .validLengths = {}},
      {.text = "[2001:db8::1]", .validLengths = {}},
      {.text = "[1.2.3.4%e]", .validLengths = {}},
      {.text = "::1%eth0", .validLengths = {2, 3, 4, 5, 6, 7}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_TRUE(parsed(row.text).valid);
    std::vector<std::size_t> validLengths;
    forEveryCut(row.text, [&validLengths](std::string_view cut) {
      if (parseNumericAddress(cut).valid) validLengths.push_back(cut.size());
    });
    EXPECT_EQ(validLengths, row.validLengths);
  }
}

TEST(ParseIpv4Text, WritesFourBytesOnSuccessAndNoneOnFailure) {
  std::array<std::uint8_t, 6> bytes{};
  bytes.fill(kUntouched);
  const auto out = std::span<std::uint8_t, 6>(bytes).subspan<1, 4>();
  for (const std::string_view text : {"", "1.2.3", "1.2.3.4.5", "1.2.3.256", "1.2.3.", "1.2.3.x",
                                      "[1.2.3.4]", "1.2.3.4%a", "::1", "::1.2.3.4"}) {
    EXPECT_FALSE(parseIpv4Text(ExactText(text).view(), out)) << text;
    EXPECT_THAT(bytes, testing::Each(kUntouched)) << text;
  }
  EXPECT_TRUE(parseIpv4Text("1.2.3.4", out));
  EXPECT_THAT(bytes, ElementsAre(kUntouched, 1, 2, 3, 4, kUntouched));
  EXPECT_TRUE(parseIpv4Text("0.0.0.0", out));
  EXPECT_THAT(bytes, ElementsAre(kUntouched, 0, 0, 0, 0, kUntouched));
}

TEST(ParseIpv4Text, OnlyTheTenDigitsAreDigits) {
  for (int byte = 0; byte < kByteValues; ++byte) {
    std::array<std::uint8_t, 4> bytes{};
    const char character = static_cast<char>(byte);
    const bool isDigit = character >= '0' && character <= '9';
    EXPECT_EQ(parseIpv4Text(std::string("1.2.3.") + character, bytes), isDigit) << byte;
    EXPECT_EQ(parseIpv4Text(std::string("1") + character + ".2.3.4", bytes), isDigit) << byte;
  }
}

TEST(ParseIpv6Text, WritesSixteenBytesOnSuccessAndNoneOnFailure) {
  Bytes bytes{};
  bytes.fill(kUntouched);
  for (const std::string_view text :
       {"", "1", "1.2.3.4", ":::", "1::2::3", "1:2:3:4:5:6:7", "1:2:3:4:5:6:7:8:9",
        "1:2:3:4:5:6:7:8::", "1:2:3:4:5:6:7:g", "1:2:3:4:5:6:7:", "1::2:g", "::1.2.3.256",
        "1.2.3.4::", "[::1]", "::1%eth0"}) {
    EXPECT_FALSE(parseIpv6Text(ExactText(text).view(), bytes)) << text;
    EXPECT_THAT(bytes, testing::Each(kUntouched)) << text;
  }
  EXPECT_TRUE(parseIpv6Text("1::2", bytes));
  EXPECT_EQ(bytes, ipv6({1, 0, 0, 0, 0, 0, 0, 2}));
  EXPECT_TRUE(parseIpv6Text("::", bytes));
  EXPECT_EQ(bytes, Bytes{});
}

struct GroupsRow {
  std::string_view piece;
  bool mayEndWithIpv4 = false;
  std::vector<std::uint16_t> appended;
};

TEST(ParseHexGroups, AppendsToExistingGroups) {
  const std::vector<GroupsRow> rows = {
      {.piece = "", .appended = {}},
      {.piece = "", .mayEndWithIpv4 = true, .appended = {}},
      {.piece = "1", .appended = {1}},
      {.piece = "1", .mayEndWithIpv4 = true, .appended = {1}},
      {.piece = "0db8:FFFF:0", .appended = {0x0DB8, 0xFFFF, 0}},
      {.piece = "1.2.3.4", .mayEndWithIpv4 = true, .appended = {0x0102, 0x0304}},
      {.piece = "a:255.0.016.1", .mayEndWithIpv4 = true, .appended = {10, 0xFF00, 0x1001}},
      {.piece = "1:2:3:4:5:6", .appended = {1, 2, 3, 4, 5, 6}},
  };
  for (const GroupsRow& row : rows) {
    SCOPED_TRACE(row.piece);
    HexGroups fresh;
    EXPECT_TRUE(parseHexGroups(ExactText(row.piece).view(), row.mayEndWithIpv4, fresh));
    EXPECT_EQ(fresh.count, row.appended.size());
    EXPECT_THAT(keptGroups(fresh), ElementsAreArray(row.appended));

    std::vector<std::uint16_t> expected = {0xAAAA, 0xBBBB};
    HexGroups groups = groupsOf(expected);
    expected.insert(expected.end(), row.appended.begin(), row.appended.end());
    EXPECT_TRUE(parseHexGroups(ExactText(row.piece).view(), row.mayEndWithIpv4, groups));
    EXPECT_EQ(groups.count, expected.size());
    EXPECT_THAT(keptGroups(groups), ElementsAreArray(expected));
  }
}

TEST(ParseHexGroups, RejectsMisplacedColonsAndDottedQuads) {
  for (const std::string_view piece :
       {":", "::", ":1", "1:", "1::2", "12345", "1:12345", "g", "1:g", "1 ", "1.2.3.4:1",
        "1.2.3.4:1.2.3.4", "1:1.2.3.4:", "1.2.3", "1:1.2.3.256", "1.", "."}) {
    for (const bool mayEndWithIpv4 : {false, true}) {
      HexGroups groups;
      EXPECT_FALSE(parseHexGroups(ExactText(piece).view(), mayEndWithIpv4, groups)) << piece;
    }
  }
  for (const std::string_view piece : {"1.2.3.4", "1:1.2.3.4"}) {
    HexGroups groups;
    EXPECT_FALSE(parseHexGroups(piece, false, groups)) << piece;
    EXPECT_TRUE(parseHexGroups(piece, true, groups)) << piece;
  }
}

TEST(ParseHexGroups, CountsButDropsGroupsAfterTheEighth) {
  struct Row {
    std::string_view piece;
    std::size_t count;
    std::uint16_t eighth;
  };
  constexpr auto rows = std::to_array<Row>({
      {.piece = "9", .count = 8, .eighth = 9},
      {.piece = "9:a", .count = 9, .eighth = 9},
      {.piece = "9:a:b", .count = 10, .eighth = 9},
      {.piece = "1.2.3.4", .count = 9, .eighth = 0x0102},
      {.piece = "9:1.2.3.4", .count = 10, .eighth = 9},
  });
  for (const Row& row : rows) {
    SCOPED_TRACE(row.piece);
    HexGroups groups = groupsOf(std::array<std::uint16_t, 7>{1, 2, 3, 4, 5, 6, 7});
    EXPECT_TRUE(parseHexGroups(row.piece, true, groups));
    EXPECT_EQ(groups.count, row.count);
    EXPECT_THAT(groups.values, ElementsAre(1, 2, 3, 4, 5, 6, 7, row.eighth));
  }
}

TEST(SameNumericAddress, ComparesValuesNotTexts) {
  struct Row {
    std::string_view a;
    std::string_view b;
    bool same;
  };
  constexpr auto rows = std::to_array<Row>({
      {.a = "2001:db8::1", .b = "2001:0db8:0000::0001", .same = true},
      {.a = "2001:db8::1", .b = "2001:DB8:0:0:0:0:0:1", .same = true},
      {.a = "2001:db8:0:0:0:0:0:20", .b = "2001:DB8:0:0:0:0:0:20", .same = true},
      {.a = "2001:db8::1", .b = "[2001:db8::1]", .same = true},
      {.a = "2001:db8::1", .b = "2001:db8::1%eth0", .same = true},
      {.a = "fe80::1%eth0", .b = "[fe80::1%eth1]", .same = true},
      {.a = "::1.2.3.4", .b = "::102:304", .same = true},
      {.a = "1.2.3.4", .b = "[001.02.3.004%x]", .same = true},
      {.a = "2001:db8::1", .b = "2001:db8::2", .same = false},
      {.a = "2001:db8::1", .b = "2001:db8:1::", .same = false},
      {.a = "1.2.3.4", .b = "1.2.3.5", .same = false},
      {.a = "1.2.3.4", .b = "::ffff:1.2.3.4", .same = false},
      {.a = "1.2.3.4", .b = "::1.2.3.4", .same = false},
      {.a = "1.2.3.4", .b = "102:304::", .same = false},
      {.a = "0.0.0.0", .b = "::", .same = false},
      {.a = "1.2.3", .b = "1.2.3", .same = false},
      {.a = "", .b = "", .same = false},
      {.a = "0.0.0.0", .b = "", .same = false},
  });
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.a) + " and " + std::string(row.b));
    EXPECT_EQ(sameNumericAddress(parsed(row.a), parsed(row.b)), row.same);
    EXPECT_EQ(sameNumericAddress(parsed(row.b), parsed(row.a)), row.same);
  }
}

TEST(SameNumericAddress, AnInvalidAddressEqualsNothing) {
  const NumericAddress valid{.valid = true, .family = 4, .bytes = ipv4(1, 2, 3, 4)};
  NumericAddress invalid = valid;
  invalid.valid = false;
  EXPECT_TRUE(sameNumericAddress(valid, valid));
  EXPECT_FALSE(sameNumericAddress(valid, invalid));
  EXPECT_FALSE(sameNumericAddress(invalid, valid));
  EXPECT_FALSE(sameNumericAddress(invalid, invalid));
  EXPECT_FALSE(sameNumericAddress(NumericAddress{}, NumericAddress{}));
}

TEST(SameNumericAddress, ComparesFourBytesForIpv4AndSixteenForIpv6) {
  for (const std::uint32_t family : {4U, 6U}) {
    for (std::size_t i = 0; i < Bytes{}.size(); ++i) {
      const NumericAddress address{
          .valid = true, .family = family, .bytes = ipv6({1, 2, 3, 4, 5, 6, 7, 8})};
      NumericAddress other = address;
      EXPECT_TRUE(sameNumericAddress(address, other));
      other.bytes[i] ^= 0x80;
      EXPECT_EQ(sameNumericAddress(address, other), family == 4 && i >= 4) << family << " " << i;
      EXPECT_EQ(sameNumericAddress(other, address), family == 4 && i >= 4) << family << " " << i;
    }
  }
}

TEST(SameNumericAddress, EqualBytesOfDifferentFamiliesDiffer) {
  const NumericAddress four{.valid = true, .family = 4, .bytes = ipv4(1, 2, 3, 4)};
  const NumericAddress six{.valid = true, .family = 6, .bytes = ipv4(1, 2, 3, 4)};
  EXPECT_FALSE(sameNumericAddress(four, six));
  EXPECT_FALSE(sameNumericAddress(six, four));
}

}  // namespace
}  // namespace egress::test
