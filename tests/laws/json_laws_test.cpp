// Compares the JSON reader with nlohmann/json: generated and mutated documents and all short texts.

#include "tests/laws/json_laws.h"

#include <cstddef>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "tests/laws/every_text.h"
#include "tests/laws/json_oracle.h"
#include "tests/laws/mutate.h"
#include "tests/laws/random_rounds.h"
#include "tests/support/joined.h"

namespace egress::test {
namespace {

using namespace std::string_view_literals;

// One of every token and escape.
constexpr std::string_view kDocument =
    "{ \"now\":[true,false , null,-10.50e+7,\n[],{}],\"\":\"\\ud83d\\uDE00\\\"\\u00aF\\t\" }";

// The bytes that mutations insert.
constexpr std::string_view kAlphabet = "[]{},:\"\\u019-+.eEtfn/ \n\f\0\x80"sv;

struct Counts {
  std::size_t texts = 0;
  std::size_t accepted = 0;
  std::size_t lenient = 0;  // accepted, but not strict JSON
  std::size_t tooDeep = 0;  // strict JSON, but rejected

  void count(const JsonVerdict& verdict) {
    ++texts;
    if (verdict.accepted) ++accepted;
    if (verdict.accepted && !verdict.strict) ++lenient;
    if (!verdict.accepted && verdict.strict) ++tooDeep;
  }

  void print() const {
    std::cout << texts << " texts, " << accepted << " accepted, " << lenient
              << " of them not strict JSON; " << tooDeep << " strict JSON but too deep\n";
  }
};

// If the oracle accepts or rejects too much, the laws show nothing.
TEST(JsonOracle, AcceptsTheExtensionsOfTheReader) {
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

TEST(JsonLaws, GeneratedDocumentsGiveTheirTrees) {
  Counts counts;
  checkOnRandomBytes(40'000, 120, [&counts](std::string_view bytes) {
    Choices choices(bytes);
    const GeneratedDocument document = generateDocument(choices);
    JsonVerdict verdict = checkJsonText(textOf(document));
    counts.count(verdict);
    if (!verdict.violation.empty()) return verdict.violation;
    return checkGeneratedDocument(document, choices);
  });
  counts.print();
  EXPECT_EQ(counts.accepted, counts.texts);
  EXPECT_GT(counts.lenient, 0);
  EXPECT_LT(counts.lenient, counts.accepted);
}

// One byte of each class of the grammar, and '/', which it uses only in escapes.
TEST(JsonLaws, EveryShortTextMatchesTheOracle) {
  Counts counts;
  std::string text;
  forEveryText("[]{},:\"\\01-.eu /", 5, text, [&counts](const std::string& candidate) {
    const JsonVerdict verdict = checkJsonText(candidate);
    ASSERT_EQ(verdict.violation, "");
    counts.count(verdict);
  });
  counts.print();
  EXPECT_EQ(counts.texts, 1 + 16 * (1 + 16 * (1 + 16 * (1 + 16 * (1 + 16)))));
  EXPECT_GT(counts.accepted, 0);
  EXPECT_GT(counts.lenient, 0);
}

TEST(JsonLaws, EveryUnicodeEscapeMatchesTheOracle) {
  Counts counts;
  for (const std::string_view start : {R"("\u)", R"("\uD83D)", R"("\uD83D\)", R"("\uD83D\u)",
                                       R"("\uD83D\uD)", R"("\uD83D\uDE0)", R"("\uDE00)"}) {
    std::string text(start);
    forEveryText("\"\\ucdDE08gx", 4, text, [&counts](const std::string& candidate) {
      for (const std::string_view end : {"", "\""}) {
        const JsonVerdict verdict = checkJsonText(joined({candidate, end}));
        ASSERT_EQ(verdict.violation, "");
        counts.count(verdict);
      }
    });
  }
  counts.print();
  EXPECT_GT(counts.accepted, 0);
  EXPECT_GT(counts.lenient, 0);
}

// Inserts each of the 256 bytes at every position, and replaces every byte by each of them. The
// document contains every kind of token and escape.
TEST(JsonLaws, EveryByteAtEveryPositionMatchesTheOracle) {
  Counts counts;
  for (std::size_t place = 0; place < kDocument.size(); ++place) {
    const std::string_view before = kDocument.substr(0, place);
    const std::string_view after = kDocument.substr(place);
    for (int number = 0; number < 256; ++number) {
      const char byte = static_cast<char>(number);
      for (const std::string_view rest : {after, after.substr(1)}) {
        const JsonVerdict verdict = checkJsonText(joined({before, {&byte, 1}, rest}));
        ASSERT_EQ(verdict.violation, "");
        counts.count(verdict);
      }
    }
  }
  counts.print();
  EXPECT_GT(counts.accepted, 0);
  EXPECT_GT(counts.lenient, 0);
}

TEST(JsonLaws, MutatedDocumentsMatchTheOracle) {
  Counts counts;
  checkOnRandomBytes(200'000, 100, [&](std::string_view bytes) {
    Choices choices(bytes);
    std::string text = textOf(generateDocument(choices));
    for (std::size_t i = choices.below(3) + 1; i > 0; --i) mutate(text, kAlphabet, choices);
    const JsonVerdict verdict = checkJsonText(text);
    counts.count(verdict);
    return verdict.violation;
  });
  counts.print();
  EXPECT_GT(counts.accepted, counts.texts / 20);
  EXPECT_LT(counts.accepted, counts.texts / 20 * 19);
}

// Nested arrays and objects around the depth limit.
TEST(JsonLaws, NestingIsRejectedBeyondTheDepthLimit) {
  Counts counts;
  checkOnRandomBytes(4'000, 40, [&counts](std::string_view bytes) {
    Choices choices(bytes);
    std::string text;
    std::string closing;
    for (std::size_t levels = 62 + choices.below(6); levels > 0; --levels) {
      const bool isArray = choices.flag();
      text += isArray ? "[" : R"({"a":)";
      closing = joined({isArray ? "]" : "}", closing});
    }
    for (const std::string_view inside : {"", "1", "[]", "{}", R"("\"[")"}) {
      const JsonVerdict verdict = checkJsonText(joined({text, inside, closing}));
      counts.count(verdict);
      if (!verdict.violation.empty()) return verdict.violation;
    }
    return Violation{};
  });
  counts.print();
  EXPECT_GT(counts.accepted, 0);
  EXPECT_GT(counts.tooDeep, 0);
}

TEST(FaultLaws, HoldForEveryShortText) {
  std::size_t texts = 0;
  for (const std::string_view bytes : {"[]{},:\"\\01-.eu /", "[{\"truefalsn:,0 "}) {
    std::string text;
    forEveryText(bytes, 4, text, [&texts](const std::string& candidate) {
      ASSERT_EQ(checkFault(candidate), "");
      ++texts;
    });
  }
  EXPECT_GT(texts, 100'000);
}

TEST(FaultLaws, HoldForEveryPrefixAndEveryInsertedByte) {
  for (std::size_t place = 0; place <= kDocument.size(); ++place) {
    const std::string_view before = kDocument.substr(0, place);
    ASSERT_EQ(checkFault(before), "");
    for (int number = 0; number < 256; ++number) {
      const char byte = static_cast<char>(number);
      ASSERT_EQ(checkFault(joined({before, {&byte, 1}, kDocument.substr(place)})), "");
    }
  }
}

TEST(FaultLaws, HoldForMutatedDocuments) {
  checkOnRandomBytes(20'000, 100, [&](std::string_view bytes) {
    Choices choices(bytes);
    std::string text = textOf(generateDocument(choices));
    for (std::size_t i = choices.below(3) + 1; i > 0; --i) mutate(text, kAlphabet, choices);
    return checkFault(text);
  });
}

TEST(FaultLaws, HoldAroundTheDepthLimit) {
  for (const std::string_view open : {"[", R"({"a":)"}) {
    for (std::size_t levels = 62; levels <= 66; ++levels) {
      std::string text;
      for (std::size_t i = 0; i < levels; ++i) text += open;
      for (const std::string_view inside :
           {"", " ", "1", "x", "[", "[]", "[1", "{", "{}", "{\"", "{1", "\"", "]", "}"}) {
        ASSERT_EQ(checkFault(joined({text, inside})), "");
      }
    }
  }
}

}  // namespace
}  // namespace egress::test
