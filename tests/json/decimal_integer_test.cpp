#include "egress/json/decimal_integer.h"

#include <array>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/exact_text.h"

namespace egress::test {
namespace {

constexpr std::int64_t kHighest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kLowest = std::numeric_limits<std::int64_t>::min();

struct Row {
  std::string_view text;
  std::optional<std::int64_t> value;
};

constexpr auto kRows = std::to_array<Row>({
    {.text = "0", .value = 0},
    {.text = "-0", .value = 0},
    {.text = "9", .value = 9},
    {.text = "10", .value = 10},
    {.text = "-10", .value = -10},
    {.text = "007", .value = 7},
    {.text = "-00443", .value = -443},
    {.text = "9223372036854775799", .value = kHighest - 8},
    {.text = "9223372036854775806", .value = kHighest - 1},
    {.text = "9223372036854775807", .value = kHighest},
    {.text = "9223372036854775808", .value = std::nullopt},
    {.text = "9223372036854775809", .value = std::nullopt},
    {.text = "9223372036854775810", .value = std::nullopt},
    {.text = "92233720368547758070", .value = std::nullopt},
    {.text = "-9223372036854775807", .value = kLowest + 1},
    {.text = "-9223372036854775808", .value = kLowest},
    {.text = "-9223372036854775809", .value = std::nullopt},
    {.text = "-9223372036854775810", .value = std::nullopt},
    {.text = "18446744073709552059", .value = std::nullopt},  // 443 modulo 2^64
    {.text = "", .value = std::nullopt},
    {.text = "-", .value = std::nullopt},
    {.text = "--1", .value = std::nullopt},
    {.text = "+1", .value = std::nullopt},
    {.text = " 1", .value = std::nullopt},
    {.text = "1 ", .value = std::nullopt},
    {.text = "1.0", .value = std::nullopt},
    {.text = "1/", .value = std::nullopt},  // the bytes before '0' and after '9'
    {.text = "1:", .value = std::nullopt},
    {.text = "0x1", .value = std::nullopt},
});

TEST(DecimalInteger, ReadsAnOptionalMinusAndDigitsWithin64Bits) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(parseDecimalInteger(ExactText(row.text).view()), row.value);
  }
}

TEST(DecimalInteger, AcceptsAnyNumberOfLeadingZeros) {
  const std::string zeros(1'000'000, '0');
  EXPECT_EQ(parseDecimalInteger(zeros), 0);
  EXPECT_EQ(parseDecimalInteger(zeros + "443"), 443);
  EXPECT_EQ(parseDecimalInteger("-" + zeros + "9223372036854775808"), kLowest);
  EXPECT_EQ(parseDecimalInteger(zeros + "9223372036854775808"), std::nullopt);
}

TEST(DecimalInteger, ReadsEveryPrefix) {
  std::int64_t expected = 0;
  forEveryCut("9223372036854775807", [&expected](std::string_view cut) {
    if (cut.empty()) return;
    expected = expected * 10 + (cut.back() - '0');
    EXPECT_EQ(parseDecimalInteger(cut), expected) << cut;
  });
}

}  // namespace
}  // namespace egress::test
