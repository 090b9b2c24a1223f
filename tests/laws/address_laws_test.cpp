// Compares address parsing with inet_pton and inet_ntop.

#include "tests/laws/address_laws.h"

#include <array>
#include <cstddef>
#include <iostream>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/laws/every_text.h"
#include "tests/laws/random_rounds.h"
#include "tests/support/joined.h"

namespace egress::test {
namespace {

// Counts the differences, to show that the tests cover each kind.
struct Counts {
  std::size_t texts = 0;
  std::size_t accepted = 0;
  std::size_t differences = 0;
  std::size_t leadingZeros = 0;
  std::size_t brackets = 0;
  std::size_t zones = 0;

  void count(const AddressVerdict& verdict) {
    ++texts;
    if (verdict.accepted) ++accepted;
    if (verdict.systemAgrees) return;
    ++differences;
    if (verdict.extensions.leadingZeros) ++leadingZeros;
    if (verdict.extensions.brackets) ++brackets;
    if (verdict.extensions.zone) ++zones;
  }

  void print() const {
    std::cout << texts << " texts, " << accepted << " accepted, " << differences
              << " different from inet_pton: " << leadingZeros << " with leading zeros, "
              << brackets << " with brackets, " << zones << " with a zone\n";
  }
};

TEST(AddressLaws, EveryShortPartOfADottedQuadMatchesInetPton) {
  constexpr std::string_view kAlphabet = "012569a.:%[]-+ ";
  constexpr std::array<std::string_view, 4> kBefore = {"", "1.", "1.2.", "1.2.3."};
  constexpr std::array<std::string_view, 4> kAfter = {".2.3.4", ".3.4", ".4", ""};
  Counts counts;
  for (std::size_t place = 0; place < kBefore.size(); ++place) {
    std::string part;
    forEveryText(kAlphabet, 4, part, [&](const std::string& text) {
      const AddressVerdict verdict =
          checkAddressText(joined({kBefore[place], text, kAfter[place]}));
      ASSERT_EQ(verdict.violation, "");
      counts.count(verdict);
    });
  }
  counts.print();
  EXPECT_EQ(counts.texts, 4 * (1 + 15 + 15 * 15 + 15 * 15 * 15 + 15 * 15 * 15 * 15));
  EXPECT_GT(counts.leadingZeros, 0);
  EXPECT_GT(counts.zones, 0);
}

TEST(AddressLaws, GeneratedTextsMatchInetPton) {
  Counts counts;
  checkOnRandomBytes(2'000'000, 40, [&counts](std::string_view bytes) {
    Choices choices(bytes);
    const AddressVerdict verdict = checkAddressText(generateAddressText(choices));
    counts.count(verdict);
    return verdict.violation;
  });
  counts.print();
  EXPECT_GT(counts.accepted, counts.texts / 10);
  EXPECT_LT(counts.accepted, counts.texts / 10 * 9);
  EXPECT_GT(counts.leadingZeros, 0);
  EXPECT_GT(counts.brackets, 0);
  EXPECT_GT(counts.zones, 0);
}

TEST(AddressLaws, ReadsTheOutputOfInetNtop) {
  checkOnRandomBytes(200'000, 40, [](std::string_view bytes) {
    Choices choices(bytes);
    return checkFormattedAddress(choices);
  });
}

TEST(AddressLaws, EqualityIsAnEquivalenceRelationOnValidAddresses) {
  checkOnRandomBytes(50'000, 40, [](std::string_view bytes) {
    Choices choices(bytes);
    return checkEquality(choices);
  });
}

}  // namespace
}  // namespace egress::test
