// Addresses as texts, held against the system's own inet_pton and inet_ntop.

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

// How often which difference was seen; a law that never met one has shown nothing of it.
struct Census {
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
    if (verdict.liberties.leadingZeros) ++leadingZeros;
    if (verdict.liberties.brackets) ++brackets;
    if (verdict.liberties.zone) ++zones;
  }

  void print() const {
    std::cout << texts << " texts, " << accepted << " accepted, " << differences
              << " read otherwise than by inet_pton: " << leadingZeros << " with leading zeros, "
              << brackets << " with brackets, " << zones << " with a zone\n";
  }
};

TEST(AddressLaws, EveryShortTextInEveryPlaceOfADottedQuadIsReadAsByTheSystem) {
  constexpr std::string_view kAlphabet = "012569a.:%[]-+ ";
  constexpr std::array<std::string_view, 4> kBefore = {"", "1.", "1.2.", "1.2.3."};
  constexpr std::array<std::string_view, 4> kAfter = {".2.3.4", ".3.4", ".4", ""};
  Census census;
  for (std::size_t place = 0; place < kBefore.size(); ++place) {
    std::string part;
    forEveryText(kAlphabet, 4, part, [&](const std::string& text) {
      const AddressVerdict verdict =
          judgeAddressText(joined({kBefore[place], text, kAfter[place]}));
      ASSERT_EQ(verdict.complaint, "");
      census.count(verdict);
    });
  }
  census.print();
  EXPECT_EQ(census.texts, 4 * (1 + 15 + 15 * 15 + 15 * 15 * 15 + 15 * 15 * 15 * 15));
  EXPECT_GT(census.leadingZeros, 0);
  EXPECT_GT(census.zones, 0);
}

TEST(AddressLaws, GeneratedTextsAreReadAsByTheSystem) {
  Census census;
  holdOnRandomBytes(2'000'000, 40, [&census](std::string_view bytes) {
    Choices choices(bytes);
    const AddressVerdict verdict = judgeAddressText(generateAddressText(choices));
    census.count(verdict);
    return verdict.complaint;
  });
  census.print();
  EXPECT_GT(census.accepted, census.texts / 10);
  EXPECT_LT(census.accepted, census.texts / 10 * 9);
  EXPECT_GT(census.leadingZeros, 0);
  EXPECT_GT(census.brackets, 0);
  EXPECT_GT(census.zones, 0);
}

TEST(AddressLaws, WhatTheSystemWritesIsReadBackAsTheSameBytes) {
  holdOnRandomBytes(200'000, 40, [](std::string_view bytes) {
    Choices choices(bytes);
    return judgeFormattedAddress(choices);
  });
}

TEST(AddressLaws, EqualityIsAnEquivalenceRelationOnValidAddresses) {
  holdOnRandomBytes(50'000, 40, [](std::string_view bytes) {
    Choices choices(bytes);
    return judgeEquality(choices);
  });
}

}  // namespace
}  // namespace egress::test
