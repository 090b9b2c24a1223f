#include "egress/core/egress_report.h"

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "egress/core/diagnose_egress.h"
#include "egress/selfcheck/fixtures.h"
#include "tests/support/exact_text.h"
#include "tests/support/report_builder.h"

namespace egress::test {
namespace {

constexpr std::string_view kBytesOfEveryKind{"a\0\xFF\"\\\n\xC3\xA4z", 9};

void expectScalar(const ReportScalar& scalar, ReportKind kind, bool boolValue,
                  std::int64_t intValue, std::string_view stringValue) {
  EXPECT_EQ(scalar.kind, kind);
  EXPECT_EQ(scalar.boolValue, boolValue);
  EXPECT_EQ(scalar.intValue, intValue);
  EXPECT_EQ(scalar.stringValue, stringValue);
}

// The integer value of a member, or -1.
std::int64_t integerAt(const EgressReport& report, std::string_view key) {
  const ReportMember* const member = findReportMember(report, ExactText(key).view());
  if (member == nullptr) return -1;
  const auto* const scalar = std::get_if<ReportScalar>(&member->value);
  return scalar == nullptr ? -1 : scalar->intValue;
}

TEST(ReportScalar, KindsHaveStableNumbers) {
  static_assert(std::is_same_v<std::underlying_type_t<ReportKind>, std::uint32_t>);
  EXPECT_EQ(static_cast<std::uint32_t>(ReportKind::Null), 0U);
  EXPECT_EQ(static_cast<std::uint32_t>(ReportKind::Boolean), 1U);
  EXPECT_EQ(static_cast<std::uint32_t>(ReportKind::Integer), 2U);
  EXPECT_EQ(static_cast<std::uint32_t>(ReportKind::String), 3U);
}

TEST(ReportScalar, TheDefaultIsNull) {
  expectScalar(ReportScalar{}, ReportKind::Null, false, 0, "");
}

TEST(ReportScalar, UnusedMembersAreZeroOrEmpty) {
  expectScalar(nullScalar(), ReportKind::Null, false, 0, "");
  expectScalar(booleanScalar(true), ReportKind::Boolean, true, 0, "");
  expectScalar(booleanScalar(false), ReportKind::Boolean, false, 0, "");
  expectScalar(integerScalar(7), ReportKind::Integer, false, 7, "");
  expectScalar(stringScalar("OK"), ReportKind::String, false, 0, "OK");
}

TEST(ReportScalar, IntegersKeepAll64Bits) {
  for (const std::int64_t value :
       {std::int64_t{0}, std::int64_t{-1}, std::int64_t{2147483648}, std::int64_t{4294967295},
        std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()}) {
    expectScalar(integerScalar(value), ReportKind::Integer, false, value, "");
  }
}

TEST(ReportScalar, StringsKeepEveryByteAndAreCopied) {
  expectScalar(stringScalar(""), ReportKind::String, false, 0, "");
  expectScalar(stringScalar(ExactText(kBytesOfEveryKind).view()), ReportKind::String, false, 0,
               kBytesOfEveryKind);
  forEveryCut(kBytesOfEveryKind,
              [](std::string_view cut) { EXPECT_EQ(stringScalar(cut).stringValue, cut); });
}

TEST(ReportScalar, DiffersIfAnyMemberDiffers) {
  const ReportScalar scalar = integerScalar(7);
  ReportScalar otherKind = scalar;
  otherKind.kind = ReportKind::Null;
  ReportScalar otherBoolean = scalar;
  otherBoolean.boolValue = true;
  ReportScalar otherInteger = scalar;
  otherInteger.intValue = 8;
  ReportScalar otherString = scalar;
  otherString.stringValue = "7";
  EXPECT_EQ(scalar, integerScalar(7));
  for (const ReportScalar& other : {otherKind, otherBoolean, otherInteger, otherString}) {
    EXPECT_NE(scalar, other);
  }
}

TEST(ReportMember, DiffersIfKeyOrValueDiffers) {
  const ReportMember member{.key = "a", .value = integerScalar(7)};
  EXPECT_EQ(member, (ReportMember{.key = "a", .value = integerScalar(7)}));
  EXPECT_NE(member, (ReportMember{.key = "b", .value = integerScalar(7)}));
  EXPECT_NE(member, (ReportMember{.key = "a", .value = integerScalar(8)}));
  EXPECT_NE(member, (ReportMember{.key = "a", .value = std::vector<ReportRow>{}}));
}

TEST(ReportScalar, ValuesOfDifferentKindsDiffer) {
  const std::vector<ReportScalar> scalars = {
      nullScalar(),       booleanScalar(false), booleanScalar(true), integerScalar(0),
      integerScalar(1),   stringScalar(""),     stringScalar("0"),   stringScalar("null"),
      stringScalar("OK"), stringScalar("ok")};
  for (const ReportScalar& a : scalars) {
    for (const ReportScalar& b : scalars) {
      EXPECT_EQ(a == b, &a == &b);
    }
  }
}

TEST(EgressReport, TheDefaultHasNoMembers) {
  const EgressReport report;
  EXPECT_TRUE(report.members.empty());
  EXPECT_EQ(findReportMember(report, ""), nullptr);
  EXPECT_EQ(findReportMember(report, "configStatus"), nullptr);
}

TEST(EgressReport, FindsTheFirstMemberWithAKey) {
  EgressReport report;
  insertMember(report, "key", nullScalar());
  insertMember(report, "key", integerScalar(3));
  const ReportMember* const found = findReportMember(report, "key");
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(std::get<ReportScalar>(found->value), nullScalar());
}

TEST(EgressReport, FindsKeysAtEveryPosition) {
  EgressReport report;
  insertMember(report, "first", integerScalar(1));
  insertMember(report, "middle", integerScalar(2));
  insertMember(report, "last", integerScalar(3));
  EXPECT_EQ(integerAt(report, "first"), 1);
  EXPECT_EQ(integerAt(report, "middle"), 2);
  EXPECT_EQ(integerAt(report, "last"), 3);
}

TEST(EgressReport, KeysAreComparedByteForByte) {
  const std::string withZero("key\0tail", 8);
  EgressReport report;
  insertMember(report, "key", integerScalar(1));
  insertMember(report, withZero, integerScalar(2));
  insertMember(report, "", integerScalar(3));
  EXPECT_EQ(integerAt(report, "key"), 1);
  EXPECT_EQ(integerAt(report, withZero), 2);
  EXPECT_EQ(integerAt(report, ""), 3);
  const std::vector<std::string> misses = {"Key",  "KEY",    "ke",      "key ",
                                           " key", "keykey", "key\xFF", std::string("key\0", 4)};
  for (const std::string& miss : misses) {
    EXPECT_EQ(findReportMember(report, ExactText(miss).view()), nullptr) << miss;
  }
}

TEST(EgressReport, DoesNotFindATruncatedKey) {
  EgressReport report;
  insertMember(report, "selectedInterfaceOrdinal", integerScalar(1));
  forEveryCut("selectedInterfaceOrdinal", [&report](std::string_view cut) {
    EXPECT_EQ(findReportMember(report, cut), nullptr) << cut;
  });
}

TEST(EgressReport, RowsAndPairsKeepOrderAndDuplicates) {
  const std::vector<ReportRow> rows = {
      {{"z", integerScalar(1)}, {"a", nullScalar()}, {"z", stringScalar("again")}},
      {},
      {{"b", booleanScalar(true)}}};
  EgressReport report;
  insertMember(report, "rows", rows);
  const ReportMember* const member = findReportMember(report, "rows");
  ASSERT_NE(member, nullptr);
  ASSERT_TRUE(std::holds_alternative<std::vector<ReportRow>>(member->value));
  EXPECT_EQ(std::get<std::vector<ReportRow>>(member->value), rows);
}

TEST(EgressReport, AnEmptyArrayIsNeitherNullNorAbsent) {
  EgressReport withArray;
  insertMember(withArray, "key", std::vector<ReportRow>{});
  EgressReport withNull;
  insertMember(withNull, "key", nullScalar());
  EXPECT_NE(findReportMember(withArray, "key"), nullptr);
  EXPECT_FALSE(withArray == withNull);
  EXPECT_FALSE(withArray == EgressReport{});
}

TEST(EgressReport, EqualityComparesMembersInOrder) {
  const ReportRow rowA = {{"a", integerScalar(1)}, {"b", integerScalar(2)}};
  const ReportRow rowB = {{"b", integerScalar(2)}, {"a", integerScalar(1)}};
  EgressReport report;
  insertMember(report, "x", integerScalar(1));
  insertMember(report, "rows", std::vector<ReportRow>{rowA, rowB});
  const EgressReport copy = report;
  EXPECT_TRUE(copy == report);

  EgressReport otherOrder = report;
  std::swap(otherOrder.members[0], otherOrder.members[1]);
  EXPECT_FALSE(otherOrder == report);
  EgressReport otherKey = report;
  otherKey.members[0].key = "X";
  EXPECT_FALSE(otherKey == report);
  EgressReport otherValue = report;
  otherValue.members[0].value = integerScalar(2);
  EXPECT_FALSE(otherValue == report);
  EgressReport otherRowOrder = report;
  otherRowOrder.members[1].value = std::vector<ReportRow>{rowB, rowA};
  EXPECT_FALSE(otherRowOrder == report);
  EgressReport oneMore = report;
  insertMember(oneMore, "y", nullScalar());
  EXPECT_FALSE(oneMore == report);
}

TEST(EgressReport, DiagnosisSetsOnlyTheMemberOfEachScalarsKind) {
  const auto isClean = [](const ReportScalar& scalar) {
    switch (scalar.kind) {
      case ReportKind::Null: return scalar == nullScalar();
      case ReportKind::Boolean: return scalar == booleanScalar(scalar.boolValue);
      case ReportKind::Integer: return scalar == integerScalar(scalar.intValue);
      case ReportKind::String: break;
    }
    return scalar == stringScalar(scalar.stringValue);
  };
  DiagnosisInput input = makeDefaultInput(true);
  input.routes.rows.push_back({.family = 4, .interfaceIndex = 99, .routeMetric = 5});
  input.sockets.rows = {makeSocketSource("10.0.0.7", 51000, "198.51.100.10", 443)};
  for (const ReportMember& member : diagnoseEgress(input).members) {
    SCOPED_TRACE(member.key);
    if (const auto* scalar = std::get_if<ReportScalar>(&member.value)) {
      EXPECT_TRUE(isClean(*scalar));
      continue;
    }
    for (const ReportRow& row : std::get<std::vector<ReportRow>>(member.value)) {
      for (const auto& [key, scalar] : row) EXPECT_TRUE(isClean(scalar)) << key;
    }
  }
}

}  // namespace
}  // namespace egress::test
