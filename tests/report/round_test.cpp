// What a child of a program that watches sends to it.

#include "apps/report/round.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace egress::report {
namespace {

Round example() {
  Round round;
  round.outcome = Outcome::CANNOT_LOOK;
  round.key = std::string("a\0b", 3);
  round.head = "wan0";
  round.line = ": one";
  round.notes = "asked: one\nname: two\n";
  round.texts = {"", "={}", "="};
  return round;
}

// In an allocation of exactly their size.
std::optional<Round> unpackedExactly(const std::string& bytes, std::size_t textCount) {
  const std::vector<char> copy(bytes.begin(), bytes.end());
  return unpacked({copy.data(), copy.size()}, textCount);
}

TEST(Round, APackedRoundIsUnpacked) {
  const Round round = example();
  const std::optional<Round> found = unpackedExactly(packed(round), 3);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->outcome, round.outcome);
  EXPECT_EQ(found->key, round.key);
  EXPECT_EQ(found->head, round.head);
  EXPECT_EQ(found->line, round.line);
  EXPECT_EQ(found->notes, round.notes);
  EXPECT_EQ(found->errors, "");
  EXPECT_EQ(found->texts, round.texts);
}

TEST(Round, BytesThatAreCutOffAreNoRound) {
  const std::string bytes = packed(example());
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    EXPECT_FALSE(unpackedExactly(bytes.substr(0, size), 3)) << size;
  }
}

TEST(Round, MoreBytesAreNoRound) {
  EXPECT_FALSE(unpackedExactly(packed(example()) + '\0', 3));
}

TEST(Round, AnotherNumberOfTextsIsNoRound) {
  for (const std::size_t count : {std::size_t{0}, std::size_t{2}, std::size_t{4}}) {
    EXPECT_FALSE(unpackedExactly(packed(example()), count)) << count;
  }
}

TEST(Round, AnUnknownOutcomeIsNoRound) {
  for (const char outcome : {'\x04', '\x7f', '\x80', '\xff'}) {
    std::string bytes = packed(example());
    bytes.front() = outcome;
    EXPECT_FALSE(unpackedExactly(bytes, 3)) << static_cast<int>(outcome);
  }
}

TEST(Round, ALengthBeyondTheBytesIsNoRound) {
  for (const std::size_t position : {std::size_t{1}, std::size_t{8}}) {
    std::string bytes = packed(example());
    bytes[position] = '\xff';  // the lowest or the highest byte of a length, in some byte order
    EXPECT_FALSE(unpackedExactly(bytes, 3)) << position;
  }
}

}  // namespace
}  // namespace egress::report
