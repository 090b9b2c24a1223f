#include "egress_live/linux/proc_text.h"

#include <array>

#include <gtest/gtest.h>

namespace egress::live {
namespace {

using namespace std::string_view_literals;

struct NumberRow {
  std::string_view text;
  std::optional<std::uint32_t> number;
};

TEST(NumberIn, AcceptsOnlyDecimalDigits) {
  for (const NumberRow& row : std::to_array<NumberRow>({{"0", 0},
                                                        {"4294967295", 4294967295},
                                                        {"4294967296", std::nullopt},
                                                        {"", std::nullopt},
                                                        {".", std::nullopt},
                                                        {"self", std::nullopt},
                                                        {"1a", std::nullopt},
                                                        {"-1", std::nullopt},
                                                        {"+1", std::nullopt},
                                                        {" 1", std::nullopt},
                                                        {"1\0"sv, std::nullopt}})) {
    EXPECT_EQ(numberIn(row.text), row.number) << row.text;
  }
}

TEST(NameIn, OnlyTheLastNewlineIsNotOfTheName) {
  EXPECT_EQ(nameIn("engine\n"), "engine");
  EXPECT_EQ(nameIn("engine\n\n"), "engine\n");
  EXPECT_EQ(nameIn("engine\nx\n"), "engine\nx");
  EXPECT_EQ(nameIn("engine"), "engine");
  EXPECT_EQ(nameIn("\n"), "");
  EXPECT_EQ(nameIn(""), "");
}

TEST(RealUserIn, IsTheFirstNumberOfItsLine) {
  for (const NumberRow& row : std::to_array<NumberRow>({
           {"Name:\tengine\nUid:\t1000\t0\t0\t0\nGid:\t7\t7\t7\t7\n", 1000},
           {"Name:\tx\nUid:\t4294967294\t0", 4294967294},
           {"Name:\tx\\nUid:\t0\t\nUid:\t1000\t0\t0\t0\n", 1000},  // the name is "x\nUid:..."
           {"Name:\tUid:\t0\t0\nUid:\t1000\t0\t0\t0\n", 1000},
           {"Uid:\t1000\t0\t0\t0\n", std::nullopt},  // the first line is the name
           {"Name:\tx\nUid:\t\n", std::nullopt},
           {"Name:\tx\n", std::nullopt},
           {"", std::nullopt},
       })) {
    EXPECT_EQ(realUserIn(row.text), row.number) << row.text;
  }
}

TEST(ProgramIn, ADeletedFileKeepsItsName) {
  EXPECT_EQ(programIn("/usr/bin/engine"), "/usr/bin/engine");
  EXPECT_EQ(programIn("/usr/bin/engine (deleted)"), "/usr/bin/engine");
  EXPECT_EQ(programIn("/usr/bin/engine (deleted) (deleted)"), "/usr/bin/engine (deleted)");
  EXPECT_EQ(programIn(" (deleted)"), "");
  EXPECT_EQ(programIn(""), "");
}

TEST(FileNameIn, IsWhatFollowsTheLastSlash) {
  EXPECT_EQ(fileNameIn("/usr/bin/engine"), "engine");
  EXPECT_EQ(fileNameIn("engine"), "engine");
  EXPECT_EQ(fileNameIn("/"), "");
  EXPECT_EQ(fileNameIn(""), "");
}

TEST(SocketInodeIn, AcceptsNoOtherKindOfDescriptor) {
  for (const NumberRow& row : std::to_array<NumberRow>({{"socket:[12345]", 12345},
                                                        {"socket:[4294967295]", 4294967295},
                                                        {"socket:[4294967296]", std::nullopt},
                                                        {"socket:[]", std::nullopt},
                                                        {"socket:[1", std::nullopt},
                                                        {"socket:[", std::nullopt},
                                                        {"/tmp/socket:[1]", std::nullopt},
                                                        {"socket:[1] (deleted)", std::nullopt},
                                                        {"pipe:[1]", std::nullopt},
                                                        {"", std::nullopt}})) {
    EXPECT_EQ(socketInodeIn(row.text), row.number) << row.text;
  }
}

}  // namespace
}  // namespace egress::live
