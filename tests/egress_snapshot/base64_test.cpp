#include "egress_snapshot/base64.h"

#include <array>

#include <gtest/gtest.h>

#include "tests/support/exact_text.h"

namespace egress::snapshot {
namespace {

using namespace std::string_view_literals;
using egress::test::ExactText;

struct Row {
  std::string_view bytes;
  std::string_view text;
};

// The test vectors of RFC 4648, section 10, then bytes that are not text.
constexpr auto kRows = std::to_array<Row>({
    {.bytes = "", .text = ""},
    {.bytes = "f", .text = "Zg=="},
    {.bytes = "fo", .text = "Zm8="},
    {.bytes = "foo", .text = "Zm9v"},
    {.bytes = "foob", .text = "Zm9vYg=="},
    {.bytes = "fooba", .text = "Zm9vYmE="},
    {.bytes = "foobar", .text = "Zm9vYmFy"},
    {.bytes = "\0"sv, .text = "AA=="},
    {.bytes = "\0\0\0"sv, .text = "AAAA"},
    {.bytes = "\xFF", .text = "/w=="},
    {.bytes = "\xFB\xEF\xBE", .text = "++++"},
    {.bytes = "\xFF\xFF\xFF", .text = "////"},
    // The digits from A to / in order.
    {.bytes = "\x00\x10\x83\x10\x51\x87\x20\x92\x8B\x30\xD3\x8F\x41\x14\x93\x51"
              "\x55\x97\x61\x96\x9B\x71\xD7\x9F\x82\x18\xA3\x92\x59\xA7\xA2\x9A"
              "\xAB\xB2\xDB\xAF\xC3\x1C\xB3\xD3\x5D\xB7\xE3\x9E\xBB\xF3\xDF\xBF"sv,
     .text = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"},
});

TEST(Base64, WritesAndReadsTheRows) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(base64Of(ExactText(row.bytes).view()), row.text);
    EXPECT_EQ(bytesOfBase64(ExactText(row.text).view()), std::string(row.bytes));
  }
}

TEST(Base64, RefusesEveryOtherText) {
  constexpr auto kRefused = std::to_array<std::string_view>({
      "Z",         // six bits
      "Zg",        // no padding
      "Zg=",       // too little padding
      "Zg===",     // too much padding
      "Zm8",       // no padding
      "Zm8==",     // too much padding
      "Zm9v=",     // padding without need
      "Zm9v====",  //
      "=",         // nothing but padding
      "====",      //
      "Zg==Zg==",  // padding in the middle
      "Z=g=",      //
      "=Zg=",      // padding first
      "Zh==",      // leftover bits that are not 0: 33 is g + 1
      "Zv==",      //
      "Zm9=",      //
      "Zm-v",      // digits of the alphabet for URLs
      "Zm_v",      //
      "Zm9v\n",    // line ends and blanks
      "Zm9v ",     //
      " Zm9v",     //
      "Zm\n9v",    //
      "Zm9\0"sv,   // a zero byte
      "Zm9\xC3",   // not ASCII
      "Zm.v",      //
      "Zm9v#",     //
  });
  for (const std::string_view text : kRefused) {
    EXPECT_EQ(bytesOfBase64(ExactText(text).view()), std::nullopt) << text;
  }
}

TEST(Base64, ATextThatIsCutIsRefusedExceptAfterAWholeGroup) {
  egress::test::forEveryCut("Zm9vYmFyYg==", [](std::string_view cut) {
    EXPECT_EQ(bytesOfBase64(cut).has_value(), cut.size() % 4 == 0) << cut;
  });
}

}  // namespace
}  // namespace egress::snapshot
