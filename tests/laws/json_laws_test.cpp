// JSON documents: generated ones, every short text and changed ones, held against nlohmann/json.

#include "tests/laws/json_laws.h"

#include <cstddef>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "tests/laws/damage.h"
#include "tests/laws/every_text.h"
#include "tests/laws/json_oracle.h"
#include "tests/laws/random_rounds.h"
#include "tests/support/joined.h"

namespace egress::test {
namespace {

using namespace std::string_view_literals;

struct Census {
  std::size_t texts = 0;
  std::size_t accepted = 0;
  std::size_t lenient = 0;  // accepted, but not strict JSON
  std::size_t tooDeep = 0;  // strict JSON, but refused

  void count(const JsonVerdict& verdict) {
    ++texts;
    if (verdict.accepted) ++accepted;
    if (verdict.accepted && !verdict.strict) ++lenient;
    if (!verdict.accepted && verdict.strict) ++tooDeep;
  }

  void print() const {
    std::cout << texts << " texts, " << accepted << " accepted, " << lenient
              << " of them no strict JSON; " << tooDeep << " strict ones too deep\n";
  }
};

// The oracle is judged first: where it forgives or refuses too much, the laws show nothing.
TEST(JsonOracle, ForgivesExactlyWhatTheReaderForgives) {
  const std::string deepest = std::string(65, '[') + std::string(65, ']');
  const std::string deepScalar = joined({std::string(64, '['), "\"[\"", std::string(64, ']')});
  struct Row {
    std::string text;
    bool accepted = false;
    bool strict = false;
  };
  const std::vector<Row> rows = {
      {R"([1,-0.5e+7,"a",null])", true, true},
      {"007", true, false},
      {"-00.50e007", true, false},
      {"-0.50e007", true, true},
      {"1e400", true, false},
      {"1.", false, false},
      {"\"\t\x01\xFF\"", true, false},
      {R"("\ud83d\ude00")", true, true},
      {R"("\ud83d")", true, false},
      {R"("\uDE00")", true, false},
      {R"("\ud83d\uZZZZ")", false, false},
      {R"("\ud83")", false, false},
      {R"("\x")", false, false},
      {R"(\ud83d)", false, false},
      {"\"a", false, false},
      {"\xEF\xBB\xBF{}", false, false},
      {std::string("{}\0"sv), false, false},
      {"\x0C{}", false, false},
      {deepest, true, true},
      {joined({"[", deepest, "]"}), false, true},
      {deepScalar, true, true},
      {joined({"[", deepScalar, "]"}), false, true},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(oracleAccepts(row.text), row.accepted) << row.text;
    EXPECT_EQ(oracleTree(row.text).has_value(), row.strict) << row.text;
  }
}

TEST(JsonLaws, GeneratedDocumentsAreReadAsTheirTrees) {
  Census census;
  holdOnRandomBytes(40'000, 120, [&census](std::string_view bytes) {
    Choices choices(bytes);
    const GeneratedDocument document = generateDocument(choices);
    JsonVerdict verdict = judgeJsonText(textOf(document));
    census.count(verdict);
    if (!verdict.complaint.empty()) return verdict.complaint;
    return judgeGeneratedDocument(document, choices);
  });
  census.print();
  EXPECT_EQ(census.accepted, census.texts);
  EXPECT_GT(census.lenient, 0);
  EXPECT_LT(census.lenient, census.accepted);
}

// The bytes that the grammar knows, one of each sort, and one that it does not.
TEST(JsonLaws, EveryShortTextGetsTheVerdictOfNlohmannJson) {
  Census census;
  std::string text;
  forEveryText("[]{},:\"\\01-.eu /", 5, text, [&census](const std::string& candidate) {
    const JsonVerdict verdict = judgeJsonText(candidate);
    ASSERT_EQ(verdict.complaint, "");
    census.count(verdict);
  });
  census.print();
  EXPECT_EQ(census.texts, 1 + 16 * (1 + 16 * (1 + 16 * (1 + 16 * (1 + 16)))));
  EXPECT_GT(census.accepted, 0);
  EXPECT_GT(census.lenient, 0);
}

TEST(JsonLaws, EveryEndOfAnEscapeGetsTheVerdictOfNlohmannJson) {
  Census census;
  for (const std::string_view start : {R"("\u)", R"("\uD83D)", R"("\uD83D\)", R"("\uD83D\u)",
                                       R"("\uD83D\uD)", R"("\uD83D\uDE0)", R"("\uDE00)"}) {
    std::string text(start);
    forEveryText("\"\\ucdDE08gx", 4, text, [&census](const std::string& candidate) {
      for (const std::string_view end : {"", "\""}) {
        const JsonVerdict verdict = judgeJsonText(joined({candidate, end}));
        ASSERT_EQ(verdict.complaint, "");
        census.count(verdict);
      }
    });
  }
  census.print();
  EXPECT_GT(census.accepted, 0);
  EXPECT_GT(census.lenient, 0);
}

// A document with one of every token and escape, so that each of the 256 bytes meets each place.
TEST(JsonLaws, EveryByteInEveryPlaceGetsTheVerdictOfNlohmannJson) {
  constexpr std::string_view kDocument =
      "{ \"now\":[true,false , null,-10.50e+7,\n[],{}],\"\":\"\\ud83d\\uDE00\\\"\\u00aF\\t\" }";
  Census census;
  for (std::size_t place = 0; place < kDocument.size(); ++place) {
    const std::string_view before = kDocument.substr(0, place);
    const std::string_view behind = kDocument.substr(place);
    for (int number = 0; number < 256; ++number) {
      const char byte = static_cast<char>(number);
      for (const std::string_view rest : {behind, behind.substr(1)}) {
        const JsonVerdict verdict = judgeJsonText(joined({before, {&byte, 1}, rest}));
        ASSERT_EQ(verdict.complaint, "");
        census.count(verdict);
      }
    }
  }
  census.print();
  EXPECT_GT(census.accepted, 0);
  EXPECT_GT(census.lenient, 0);
}

TEST(JsonLaws, DamagedDocumentsGetTheVerdictOfNlohmannJson) {
  constexpr std::string_view kTelling = "[]{},:\"\\u019-+.eEtfn/ \n\f\0\x80"sv;
  Census census;
  holdOnRandomBytes(200'000, 100, [&](std::string_view bytes) {
    Choices choices(bytes);
    std::string text = textOf(generateDocument(choices));
    for (std::size_t i = choices.below(3) + 1; i > 0; --i) damage(text, kTelling, choices);
    const JsonVerdict verdict = judgeJsonText(text);
    census.count(verdict);
    return verdict.complaint;
  });
  census.print();
  EXPECT_GT(census.accepted, census.texts / 20);
  EXPECT_LT(census.accepted, census.texts / 20 * 19);
}

// Towers of arrays and objects in any mixture, around the depth limit.
TEST(JsonLaws, NestingIsRefusedExactlyBeyondTheDeepestLevel) {
  Census census;
  holdOnRandomBytes(4'000, 40, [&census](std::string_view bytes) {
    Choices choices(bytes);
    std::string text;
    std::string closing;
    for (std::size_t levels = 62 + choices.below(6); levels > 0; --levels) {
      const bool isArray = choices.flag();
      text += isArray ? "[" : R"({"a":)";
      closing = joined({isArray ? "]" : "}", closing});
    }
    for (const std::string_view inside : {"", "1", "[]", "{}", R"("\"[")"}) {
      const JsonVerdict verdict = judgeJsonText(joined({text, inside, closing}));
      census.count(verdict);
      if (!verdict.complaint.empty()) return verdict.complaint;
    }
    return Complaint{};
  });
  census.print();
  EXPECT_GT(census.accepted, 0);
  EXPECT_GT(census.tooDeep, 0);
}

TEST(FaultLaws, HoldForEveryShortText) {
  std::size_t texts = 0;
  for (const std::string_view bytes : {"[]{},:\"\\01-.eu /", "[{\"truefalsn:,0 "}) {
    std::string text;
    forEveryText(bytes, 4, text, [&texts](const std::string& candidate) {
      ASSERT_EQ(judgeFault(candidate), "");
      ++texts;
    });
  }
  EXPECT_GT(texts, 100'000);
}

TEST(FaultLaws, HoldForEveryByteAndEveryEndInEveryPlaceOfADocument) {
  constexpr std::string_view kDocument =
      "{ \"now\":[true,false , null,-10.50e+7,\n[],{}],\"\":\"\\ud83d\\uDE00\\\"\\u00aF\\t\" }";
  for (std::size_t place = 0; place <= kDocument.size(); ++place) {
    const std::string_view before = kDocument.substr(0, place);
    ASSERT_EQ(judgeFault(before), "");
    for (int number = 0; number < 256; ++number) {
      const char byte = static_cast<char>(number);
      ASSERT_EQ(judgeFault(joined({before, {&byte, 1}, kDocument.substr(place)})), "");
    }
  }
}

TEST(FaultLaws, HoldForDamagedDocuments) {
  constexpr std::string_view kTelling = "[]{},:\"\\u019-+.eEtfn/ \n\f\0\x80"sv;
  holdOnRandomBytes(20'000, 100, [&](std::string_view bytes) {
    Choices choices(bytes);
    std::string text = textOf(generateDocument(choices));
    for (std::size_t i = choices.below(3) + 1; i > 0; --i) damage(text, kTelling, choices);
    return judgeFault(text);
  });
}

TEST(FaultLaws, HoldAroundTheDeepestLevel) {
  for (const std::string_view open : {"[", R"({"a":)"}) {
    for (std::size_t levels = 62; levels <= 66; ++levels) {
      std::string text;
      for (std::size_t i = 0; i < levels; ++i) text += open;
      for (const std::string_view inside :
           {"", " ", "1", "x", "[", "[]", "[1", "{", "{}", "{\"", "{1", "\"", "]", "}"}) {
        ASSERT_EQ(judgeFault(joined({text, inside})), "");
      }
    }
  }
}

}  // namespace
}  // namespace egress::test
